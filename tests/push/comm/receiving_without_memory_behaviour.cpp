#include <functional>
#include <optional>
#include <string>

#include "_base/FailingAllocation.h"
#include "push/comm/BusTest.h"
#include "push/comm/receiving.h"
#include "support/sanitizer.h"

namespace {

using cloud::push::command_info;
using cloud::push::event_info;
using support::BusFields;

void count(void* context) {
  ++*static_cast<int*>(context);
}

void on_event(const event_info&, void* context) {
  count(context);
}

void on_command(const command_info&, void* context) {
  count(context);
}

template <class Action>
int on_action(Action& request, Action& response, void* context) {
  count(context);
  response.source = request.source;
  response.dest = request.dest;
  return 0;
}

BusFields message(const std::string& method) {
  // Longer than what a string keeps within itself.
  const std::string text(100, 'x');
  return {{"module", "push"},
          {"method", method},
          {"name", text},
          {"params", text},
          {"id", text},
          {"status", text},
          {"source_app_id", text},
          {"source_token", text},
          {"source_device_id", text},
          {"dest_app_id", text},
          {"dest_device_id", text},
          {"topic", 1}};
}

class ReceivingWithoutMemory : public BusTest {
 protected:
  /// Lets each allocation of the callback fail once. What the bus is given back then is nothing or
  /// all of it, never an exception; and afterwards all goes on. Returns how many there were.
  long survives(const std::string& channel, const BusFields& fields) {
    const std::optional<BusFields> usual = bus.deliver(channel, fields);
    EXPECT_EQ(calls, 1);
    bool met = true;
    long index = -1;
    bus.surround_callbacks([&](const std::function<void()>& callback) {
      met = failing_allocation::met_by(index, [&] { EXPECT_NO_THROW(callback()); });
    });
    while (met && !HasFailure()) {
      ++index;
      calls = 0;
      const std::optional<BusFields> reply = bus.deliver(channel, fields);
      EXPECT_TRUE(!reply || reply == usual) << "allocation " << index;
      EXPECT_LE(calls, 1) << "allocation " << index;
      EXPECT_EQ(bus.messages_alive(), 0u) << "allocation " << index;
    }
    EXPECT_EQ(calls, 1);
    return index;
  }

  int calls = 0;
};

TEST_F(ReceivingWithoutMemory, LosesAnEvent) {
  const auto handle = cloud::comm::start_receiving_events(on_event, &calls);
  EXPECT_GT(survives("connect.events", message("on_push_event")), 0);
}

TEST_F(ReceivingWithoutMemory, LosesACommand) {
  const auto handle = cloud::comm::start_receiving_events(on_command, &calls);
  EXPECT_GT(survives("connect.events", message("on_push_command")), 0);
}

TEST_F(ReceivingWithoutMemory, LeavesAnActionWithoutAReply) {
  if (support::runs_under("asan")) GTEST_SKIP() << support::variant_trouble;
  {
    const auto handle =
        cloud::comm::start_receiving_actions(on_action<cloud::push_register>, &calls);
    EXPECT_GT(survives("connect.actions", message("push_register")), 0);
    bus.surround_callbacks({});
    calls = 0;
  }
  {
    const auto handle =
        cloud::comm::start_receiving_actions(on_action<cloud::push_unregister>, &calls);
    EXPECT_GT(survives("connect.actions", message("push_unregister")), 0);
    bus.surround_callbacks({});
    calls = 0;
  }
  const auto handle =
      cloud::comm::start_receiving_actions(on_action<cloud::push_command_done>, &calls);
  EXPECT_GT(survives("connect.actions", message("push_command_done")), 0);
}

TEST_F(ReceivingWithoutMemory, KeepsWhatItsReceiversThrowFromTheBus) {
  const auto handle = cloud::comm::start_receiving_management_events(
      [](void* context) {
        count(context);
        throw std::bad_alloc();
      },
      &calls);
  EXPECT_NO_THROW(bus.deliver("connect.events", message("on_push_server_up")));
  EXPECT_EQ(calls, 1);
}

}  // namespace
