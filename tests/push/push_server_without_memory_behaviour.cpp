#include <string>

#include "_base/FailingAllocation.h"
#include "push/PushServiceServerTest.h"
#include "support/sanitizer.h"

namespace {

class PushServerWithoutMemory : public PushServiceServerTest {
 protected:
  /// Lets each allocation of the listener for registrations fail once.
  template <class Check>
  void register_without_memory(std::int32_t topic, const std::string& operation, Check check) {
    bool met = true;
    for (long index = 0; met && !HasFailure(); ++index) {
      SCOPED_TRACE("allocation " + std::to_string(index));
      // A name of its own, which no earlier failure has to do with.
      const std::string app_id = "an application with a name that is long " + std::to_string(index);
      service.forget_calls();
      bus.surround_callbacks([&](const std::function<void()>& callback) {
        met = failing_allocation::met_by(index, [&] { EXPECT_NO_THROW(callback()); });
      });
      BusFields fields = action("push_register", app_id);
      fields.emplace_back("topic", topic);
      bus.deliver("connect.actions", fields);
      bus.surround_callbacks({});
      EXPECT_EQ(bus.messages_alive(), 0u);
      check(app_id, service.count(operation) != 0);
    }
  }
};

TEST_F(PushServerWithoutMemory, CountsNoRegistrationThatTheServiceDoesNotHave) {
  start();
  for (const std::int32_t topic : {cloud::push_topic::events, cloud::push_topic::commands}) {
    const std::string operation = topic == cloud::push_topic::events
                                      ? "register_push_events_callback"
                                      : "register_push_commands_callback";
    register_without_memory(topic, operation, [&](const std::string& app_id, bool is_registered) {
      // Whatever came of the first, after the second the service has it.
      EXPECT_EQ(ask_register(app_id, topic), 0);
      EXPECT_TRUE(is_registered || service.count(operation) == 1);
    });
  }
}

TEST_F(PushServerWithoutMemory, LosesANewClient) {
  if (support::runs_under("asan")) GTEST_SKIP() << support::variant_trouble;
  start();
  bool met = true;
  for (long index = 0; met && !HasFailure(); ++index) {
    bus.forget_sent();
    met = failing_allocation::met_by(index, [&] {
      EXPECT_NO_THROW(server->on_new_listener(nullptr, "connect.events", "push_client"));
    });
    EXPECT_EQ(bus.messages_alive(), 0u) << "allocation " << index;
  }
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 1u);
}

}  // namespace
