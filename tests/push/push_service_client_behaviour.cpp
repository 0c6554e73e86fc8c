#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/PushClientTest.h"

namespace {

using support::PushInbox;
using Lines = std::vector<std::string>;

class PushServiceClient : public support::PushClientTest {
 protected:
  PushServiceClient() { server_comes(); }

  /// Delivered whatever is on its way: each is handed out under the lock under which it is stored.
  void deliver_command(const std::string& id, const std::string& app_id) {
    const std::size_t before = pending().size();
    bus.deliver(events, command(id, app_id));
    ASSERT_TRUE(has_pending(before + 1));
  }

  PushInbox inbox;
  PushInbox other;
};

TEST_F(PushServiceClient, IsFoundAsAnObserver) {
  ibus_observer* const observer = &*client;
  EXPECT_EQ(client->QueryInterface(IID_ibus_observer), observer);
  EXPECT_EQ(client->QueryInterface(IID_IZvBaseInterface), observer);
  EXPECT_EQ(client->QueryInterface(IID{}), nullptr);
}

TEST_F(PushServiceClient, PassesOverListenersWithoutAName) {
  register_events("app", inbox);
  bus.forget_sent();
  client->on_new_listener(nullptr, nullptr, nullptr);
  EXPECT_TRUE(bus.sent().empty());
  client->on_listener_removed(nullptr, nullptr, nullptr);
  EXPECT_EQ(bus.subscriptions_alive(events), 2U);
}

TEST_F(PushServiceClient, WorksWithoutAProductToo) {
  product.probe->set_string(44, L"");
  register_events("", inbox);
  bus.deliver(events, event("hello", ""));
  EXPECT_TRUE(inbox.gets(1));
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "");
}

TEST_F(PushServiceClient, LosesWhatThePoolRefuses) {
  register_events("app", inbox);
  product.seam.fail_call(platform::Call::submit, 8);
  bus.deliver(events, event("lost", "app"));
  bus.deliver(events, event("mine", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(inbox.lines(), Lines{event_line("mine", "app")});
}

TEST_F(PushServiceClient, ReplaysNothingToACallbackThatHasLeft) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  // The worker is now before and now behind the leaving; often enough it is behind.
  for (int round = 0; round < 500; ++round) {
    auto brief = std::make_unique<PushInbox>();
    register_commands("app", *brief);
    unregister_commands("app", *brief);
    const std::size_t size = brief->size();
    register_commands("app", other);
    ASSERT_TRUE(other.gets(1));  // which the worker does after the brief one's turn
    ASSERT_EQ(brief->size(), size) << "round " << round;
    unregister_commands("app", other);
    other.clear();
  }
}

TEST_F(PushServiceClient, ForgetsACompletedCommandEvenIfNoMessageCanBeMade) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  bus.refuse_messages();
  complete("id");
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushServiceClient, DoesCompletionsAndReplaysInTheOrderOfTheirComing) {
  register_commands("app", inbox);
  deliver_command("1", "app");
  deliver_command("2", "app");
  complete("1");
  register_commands("late", other);
  ASSERT_TRUE(other.gets(1));
  EXPECT_EQ(other.lines(), Lines{command_line("2", "app")});
}

}  // namespace
