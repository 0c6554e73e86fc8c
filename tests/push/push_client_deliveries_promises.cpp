// What a client makes of the events and commands on the bus.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "support/HoldUp.h"
#include "support/PushClientTest.h"

// Not in a namespace of its own: that is where the functions are brought to light.
struct EventDelivery {
  friend auto exposed(EventDelivery);
};
struct CommandDelivery {
  friend auto exposed(CommandDelivery);
};
template struct Exposed<EventDelivery, &cloud::push::push_service_client::on_event>;
template struct Exposed<CommandDelivery, &cloud::push::push_service_client::on_command>;

namespace {

using support::HoldUp;
using support::PushInbox;
using waiting::Attempt;
using Lines = std::vector<std::string>;

class PushClientDeliveries : public support::PushClientTest {
 protected:
  static cloud::push::event_info event_for(const char* app_id) {
    return {"news", "{}", app_id, "device", 7};
  }
  static cloud::push::command_info command_for(const char* app_id, const char* id) {
    return {app_id, "wipe", id, "{}", 7};
  }
  std::uint32_t take(const cloud::push::event_info& event) {
    return ((*client).*exposed(EventDelivery{}))(event);
  }
  std::uint32_t take(const cloud::push::command_info& command) {
    return ((*client).*exposed(CommandDelivery{}))(command);
  }

  /// Registers and waits for the replay, so that what comes afterwards is delivery alone. Leaves a
  /// stranger's command in the list.
  void settle(const char* app_id, PushInbox& whose) {
    take(command_for("stranger", "old"));
    whose.clear();
    register_commands(app_id, whose);
    ASSERT_TRUE(whose.gets(pending().size()));
    whose.clear();
  }

  PushInbox inbox;
  PushInbox other;
};

TEST_F(PushClientDeliveries, EventReachesItsApplicationWithAllItsFields) {
  server_comes();
  register_events("app", inbox);
  register_events("other", other);
  bus.deliver(events, event("news", "app"));
  ASSERT_TRUE(inbox.gets(1));
  client.reset();
  EXPECT_EQ(inbox.lines(), Lines{event_line("news", "app")});
  EXPECT_EQ(other.size(), 0U);
}

TEST_F(PushClientDeliveries, CommandReachesItsApplicationWithAllItsFields) {
  server_comes();
  register_commands("app", inbox);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(inbox.lines().front(), command_line("id", "app"));
}

TEST_F(PushClientDeliveries, EventOfAnotherProcessGives1168AndReachesNobody) {
  register_events("app", inbox);
  EXPECT_EQ(take(event_for("stranger")), 1168U);
  EXPECT_EQ(inbox.size(), 0U);
  EXPECT_EQ(take(event_for("app")), 0U);
  EXPECT_EQ(inbox.size(), 1U);
}

TEST_F(PushClientDeliveries, CommandOfAnotherProcessGives1168AndIsKept) {
  settle("app", inbox);
  settle("other", other);
  EXPECT_EQ(take(command_for("stranger", "1")), 1168U);
  EXPECT_EQ(inbox.size(), 0U);
  EXPECT_EQ(take(command_for("app", "2")), 0U);
  EXPECT_EQ(inbox.lines(), Lines{"wipe (2) for app at 7: {}"});
  EXPECT_EQ(other.size(), 0U);
  EXPECT_EQ(pending(), (Lines{"wipe (old) for stranger at 7: {}", "wipe (1) for stranger at 7: {}",
                              "wipe (2) for app at 7: {}"}));
}

TEST_F(PushClientDeliveries, EmptyEntryOfTheDefaultApplicationStillCountsAsKnown) {
  register_events("", inbox);
  unregister_events("", inbox);
  EXPECT_EQ(take(event_for("Desktop")), 0U);
  EXPECT_EQ(inbox.size(), 0U);
}

TEST_F(PushClientDeliveries, EventOfAnotherProcessOnTheBusReachesNobody) {
  server_comes();
  register_events("app", inbox);
  for (const char* const app_id : {"stranger", "", "ap", "app2", "App"}) {
    bus.deliver(events, event("theirs", app_id));
  }
  bus.deliver(events, event("ours", "app"));
  ASSERT_TRUE(inbox.gets(1));
  client.reset();
  EXPECT_EQ(inbox.lines(), Lines{event_line("ours", "app")});
}

TEST_F(PushClientDeliveries, EmptyDestinationIsNobodysNotTheDefaults) {
  register_events("", inbox);
  EXPECT_EQ(take(event_for("")), 1168U);
  EXPECT_EQ(take(event_for("Desktop")), 0U);
}

TEST_F(PushClientDeliveries, CallbackRegisteredTwiceFiresTwice) {
  server_comes();
  register_events("app", inbox);
  register_events("app", inbox);
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(2));
  EXPECT_EQ(inbox.lines(), (Lines{event_line("news", "app"), event_line("news", "app")}));
}

TEST_F(PushClientDeliveries, CommandCallbackRegisteredTwiceFiresTwice) {
  settle("app", inbox);
  settle("app", inbox);
  EXPECT_EQ(take(command_for("app", "id")), 0U);
  EXPECT_EQ(inbox.size(), 2U);
}

TEST_F(PushClientDeliveries, CallbacksAreCalledInTheOrderOfTheirRegistration) {
  Lines order;
  other.set_hook([&] { order.push_back("other"); });
  inbox.set_hook([&] { order.push_back("inbox"); });
  register_events("app", other);
  register_events("app", inbox);
  register_events("app", other);
  EXPECT_EQ(take(event_for("app")), 0U);
  EXPECT_EQ(order, (Lines{"other", "inbox", "other"}));
}

TEST_F(PushClientDeliveries, MessagesOfOtherKindsReachNobody) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  for (const char* const module : {"pus", "push2", "", "connect_requests"}) {
    auto stray = event("stray", "app");
    stray[0] = {"module", module};
    bus.deliver(events, stray);
  }
  auto stray = command("stray", "app");
  stray[1] = {"method", "on_push_nothing"};
  bus.deliver(events, stray);
  bus.deliver(events, {{"method", "on_push_event"}, {"destination_app_id", "app"}});
  bus.deliver(events, event("news", "app"));
  ASSERT_TRUE(inbox.gets(1));
  client.reset();
  EXPECT_EQ(inbox.lines(), Lines{event_line("news", "app")});
}

TEST_F(PushClientDeliveries, RepeatedCommandIsKeptOnceAndDeliveredAgain) {
  settle("app", inbox);
  EXPECT_EQ(take(command_for("app", "id")), 0U);
  EXPECT_EQ(take(command_for("app", "id")), 0U);
  EXPECT_EQ(inbox.size(), 2U);
  EXPECT_EQ(pending(), (Lines{"wipe (old) for stranger at 7: {}", "wipe (id) for app at 7: {}"}));
}

TEST_F(PushClientDeliveries, CommandsAreTheSameByTheirIdAloneAndTheFirstIsKept) {
  register_commands("app", inbox);
  EXPECT_EQ(take(command_for("stranger", "id")), 1168U);
  EXPECT_EQ(take(command_for("app", "id")), 0U);
  EXPECT_EQ(take(cloud::push::command_info{"app", "lock", "id", "{}", 8}), 0U);
  EXPECT_EQ(pending(), Lines{"wipe (id) for stranger at 7: {}"});
}

TEST_F(PushClientDeliveries, PendingCommandsKeepTheOrderOfTheirArrival) {
  for (const char* const id : {"c", "a", "b"}) take(command_for("stranger", id));
  EXPECT_EQ(pending(), (Lines{"wipe (c) for stranger at 7: {}", "wipe (a) for stranger at 7: {}",
                              "wipe (b) for stranger at 7: {}"}));
}

TEST_F(PushClientDeliveries, EveryCommandOnTheBusIsKeptWhoeverItIsFor) {
  server_comes();
  register_commands("app", inbox);
  bus.deliver(events, command("theirs", "stranger"));
  EXPECT_TRUE(has_pending(1));
  EXPECT_EQ(pending(), Lines{command_line("theirs", "stranger")});
}

TEST_F(PushClientDeliveries, NewCommandCallbackGetsAnotherProcessesCommands) {
  server_comes();
  register_commands("app", inbox);
  bus.deliver(events, command("theirs", "stranger"));
  ASSERT_TRUE(has_pending(1));
  register_commands("third", other);
  ASSERT_TRUE(other.gets(1));
  EXPECT_EQ(other.lines(), Lines{command_line("theirs", "stranger")});
}

TEST_F(PushClientDeliveries, OnlyTheNewCallbackGetsTheReplay) {
  register_commands("app", inbox);
  take(command_for("stranger", "id"));
  // In its turn behind the first one's own replay.
  register_commands("app", other);
  ASSERT_TRUE(other.gets(1));
  const std::size_t before = inbox.size();
  EXPECT_LE(before, 1U);
  register_commands("third", other);
  ASSERT_TRUE(other.gets(2));
  EXPECT_EQ(inbox.size(), before);
}

TEST_F(PushClientDeliveries, SecondRegistrationOfTheSameCallbackReplaysAgain) {
  take(command_for("app", "id"));
  register_commands("app", inbox);
  ASSERT_TRUE(inbox.gets(1));
  register_commands("app", inbox);
  EXPECT_TRUE(inbox.gets(2));
}

TEST_F(PushClientDeliveries, EventRegistrationReplaysNothing) {
  take(command_for("app", "id"));
  register_events("app", inbox);
  register_commands("app", other);
  ASSERT_TRUE(other.gets(1));
  EXPECT_EQ(inbox.size(), 0U);
}

TEST_F(PushClientDeliveries, OfflineCommandsComeOnTheCallersThreadForAnySource) {
  take(command_for("one", "1"));
  take(command_for("two", "2"));
  const cloud::push::command_callback callback = &PushInbox::on_command;
  client->send_offline_commands(app("nobody"), callback, &inbox);
  EXPECT_EQ(inbox.lines(), (Lines{"wipe (1) for one at 7: {}", "wipe (2) for two at 7: {}"}));
}

TEST_F(PushClientDeliveries, BusNeverWaitsForAnApplication) {
  server_comes();
  const HoldUp hold;
  inbox.set_hook([=] { hold.stop_here(); });
  register_events("app", inbox);
  register_commands("app", inbox);
  const Attempt delivery([this] {
    for (int i = 0; i != 3; ++i) {
      bus.deliver(events, event("news", "app"));
      bus.deliver(events, command("id", "app"));
    }
  });
  EXPECT_TRUE(hold.is_reached());
  EXPECT_TRUE(delivery.ends());
  hold.let_go();
  EXPECT_TRUE(inbox.gets(6));
}

TEST_F(PushClientDeliveries, SlowCommandsDontHoldUpEvents) {
  server_comes();
  const HoldUp hold;
  other.set_hook([=] { hold.stop_here(); });
  register_commands("app", other);
  register_events("app", inbox);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(hold.is_reached());
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(1));
  hold.let_go();
}

}  // namespace
