#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::PushInbox;
using Lines = std::vector<std::string>;

class PushClientDelivery : public support::PushClientTest {
 protected:
  PushClientDelivery() { server_comes(); }

  void deliver(const BusFields& fields) { bus.deliver(events, fields); }

  /// Delivered whatever is on its way: each is handed out under the lock under which it is stored.
  void deliver_command(const std::string& id, const std::string& app_id) {
    const std::size_t before = pending().size();
    deliver(command(id, app_id));
    ASSERT_TRUE(has_pending(before + 1));
  }

  /// Registers and waits for the replay, so that what comes afterwards is delivery alone. The
  /// worker takes one after the other, hence a command that nobody else sees is done behind it.
  void want_commands(const char* app_id, PushInbox& whose) {
    register_commands(app_id, whose);
    const std::size_t before = pending().size();
    deliver_command("settling", "nobody");
    complete("settling");
    ASSERT_TRUE(has_pending(before));
    whose.clear();
  }

  PushInbox inbox;
  PushInbox other;
};

// Events.

TEST_F(PushClientDelivery, GivesAnEventToItsApplication) {
  register_events("app", inbox);
  register_events("other", other);
  deliver(event("hello", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(inbox.lines(), Lines{event_line("hello", "app")});
  EXPECT_TRUE(other.lines().empty());
}

TEST_F(PushClientDelivery, GivesAnEventOfAnotherProcessToNobody) {
  register_events("app", inbox);
  register_commands("app", other);
  for (int i = 0; i < 20; ++i) deliver(event("foreign", "elsewhere"));
  deliver(event("foreign", ""));
  deliver(event("foreign", "ap"));
  deliver(event("foreign", "app2"));
  deliver(event("foreign", "App"));
  deliver(event("mine", "app"));
  ASSERT_TRUE(inbox.gets(1));
  client.reset();
  EXPECT_EQ(inbox.lines(), Lines{event_line("mine", "app")});
  EXPECT_TRUE(other.lines().empty());
}

TEST_F(PushClientDelivery, GivesAnEventToAllOfItsCallbacksInTheirOrder) {
  std::mutex mutex;
  Lines order;
  PushInbox inboxes[3];
  for (int i = 0; i < 3; ++i) {
    inboxes[i].set_hook([&, i] {
      const std::lock_guard lock(mutex);
      order.push_back(std::to_string(i));
    });
    register_events("app", inboxes[i]);
  }
  deliver(event("hello", "app"));
  ASSERT_TRUE(inboxes[2].gets(1));
  client.reset();
  EXPECT_EQ(order, (Lines{"0", "1", "2"}));
}

TEST_F(PushClientDelivery, GivesAnEventOfTheDefaultApplicationToWhoeverLeftItEmpty) {
  register_events("", inbox);
  deliver(event("hello", "Desktop"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientDelivery, GivesNothingAfterTheEndOfTheRegistration) {
  register_events("app", inbox);
  register_events("app", other);
  unregister_events("app", inbox);
  deliver(event("hello", "app"));
  ASSERT_TRUE(other.gets(1));
  EXPECT_TRUE(inbox.lines().empty());
}

TEST_F(PushClientDelivery, GivesNothingWhileTheServerIsAway) {
  register_events("app", inbox);
  register_commands("app", inbox);
  server_goes();
  deliver(event("hello", "app"));
  deliver(command("id", "app"));
  server_comes();
  deliver(event("again", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(inbox.lines(), Lines{event_line("again", "app")});
  EXPECT_TRUE(pending().empty());
}

TEST_F(PushClientDelivery, PassesOverMessagesOfOtherKinds) {
  register_events("app", inbox);
  BusFields fields = event("hello", "app");
  fields[0] = {"module", "connect_requests"};
  deliver(fields);
  fields = event("hello", "app");
  fields[1] = {"method", "on_push_something"};
  deliver(fields);
  deliver(command("id", "app"));
  deliver(event("mine", "app"));
  ASSERT_TRUE(inbox.gets(1));
  client.reset();
  EXPECT_EQ(inbox.lines(), Lines{event_line("mine", "app")});
}

TEST_F(PushClientDelivery, LosesWhatThePoolRefuses) {
  register_events("app", inbox);
  product.seam.fail_call(platform::Call::submit, 8);
  deliver(event("lost", "app"));
  deliver(event("mine", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(inbox.lines(), Lines{event_line("mine", "app")});
}

// Commands.

TEST_F(PushClientDelivery, GivesACommandToItsApplicationAndKeepsIt) {
  want_commands("app", inbox);
  want_commands("other", other);
  deliver_command("id", "app");
  EXPECT_EQ(inbox.lines(), Lines{command_line("id", "app")});
  EXPECT_TRUE(other.lines().empty());
  EXPECT_EQ(pending(), Lines{command_line("id", "app")});
}

TEST_F(PushClientDelivery, GivesARepeatedCommandAgainButKeepsItOnce) {
  want_commands("app", inbox);
  deliver_command("id", "app");
  deliver(command("id", "app"));
  ASSERT_TRUE(inbox.gets(2));
  EXPECT_EQ(pending().size(), 1U);
}

TEST_F(PushClientDelivery, TellsKeptCommandsApartByTheirIdentifierAlone) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  BusFields same_id = command("id", "elsewhere");
  same_id[2] = {"name", "lock"};
  deliver(same_id);
  deliver_command("id2", "app");
  EXPECT_EQ(pending(), (Lines{command_line("id", "app"), command_line("id2", "app")}));
}

TEST_F(PushClientDelivery, KeepsCommandsOfOtherProcessesForWhoeverComes) {
  want_commands("app", inbox);
  deliver_command("theirs", "elsewhere");
  EXPECT_TRUE(inbox.lines().empty());
  register_commands("late", other);
  ASSERT_TRUE(other.gets(1));
  EXPECT_EQ(other.lines(), Lines{command_line("theirs", "elsewhere")});
  EXPECT_TRUE(inbox.lines().empty()) << "it was there before";
}

TEST_F(PushClientDelivery, ReplaysAllKeptCommandsInOrderToANewCallback) {
  want_commands("app", inbox);
  deliver_command("1", "app");
  deliver_command("2", "elsewhere");
  deliver_command("3", "app");
  inbox.clear();
  register_commands("app", other);
  ASSERT_TRUE(other.gets(3));
  EXPECT_EQ(other.lines(), (Lines{command_line("1", "app"), command_line("2", "elsewhere"),
                                  command_line("3", "app")}));
  EXPECT_TRUE(inbox.lines().empty());
}

TEST_F(PushClientDelivery, ReplaysWhileTheServerIsAway) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  server_goes();
  register_commands("late", other);
  EXPECT_TRUE(other.gets(1));
}

TEST_F(PushClientDelivery, ReplaysToACallbackThatComesAgain) {
  want_commands("app", inbox);
  deliver_command("id", "app");
  register_commands("app", inbox);
  EXPECT_TRUE(inbox.gets(2));
}

TEST_F(PushClientDelivery, ReplaysNothingToACallbackThatHasLeft) {
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

TEST_F(PushClientDelivery, ReplaysHereAndNowOnRequestWhateverTheSource) {
  register_commands("app", inbox);
  deliver_command("1", "app");
  deliver_command("2", "elsewhere");
  client->send_offline_commands(app("nobody"), &PushInbox::on_command, &other);
  EXPECT_EQ(other.lines(), (Lines{command_line("1", "app"), command_line("2", "elsewhere")}));
}

// Completion.

TEST_F(PushClientDelivery, TellsTheServerOfACompletion) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  bus.forget_sent();
  complete("id", R"({"ok":true})");
  ASSERT_TRUE(has_pending(0));
  const support::SentMessage sent = bus.last_sent();
  EXPECT_EQ(sent.channel, actions);
  EXPECT_FALSE(sent.waited);
  EXPECT_EQ(sent.fields, (BusFields{{"module", "push"},
                                    {"method", "push_command_done"},
                                    {"source_app_id", "app"},
                                    {"source_device_id", "dev"},
                                    {"source_token", "tok"},
                                    {"dest_app_id", "dest app"},
                                    {"dest_device_id", "dest dev"},
                                    {"id", "id"},
                                    {"status", R"({"ok":true})"}}));
}

TEST_F(PushClientDelivery, RemovesOneCompletedCommandAndKeepsTheOrderOfTheRest) {
  register_commands("app", inbox);
  for (const char* id : {"1", "2", "3", "4"}) deliver_command(id, "app");
  complete("2");
  ASSERT_TRUE(has_pending(3));
  EXPECT_EQ(pending(),
            (Lines{command_line("1", "app"), command_line("3", "app"), command_line("4", "app")}));
  complete("4");
  ASSERT_TRUE(has_pending(2));
  complete("1");
  ASSERT_TRUE(has_pending(1));
  EXPECT_EQ(pending(), Lines{command_line("3", "app")});
}

TEST_F(PushClientDelivery, DoesNotTellTheServerOfACommandItDoesNotKnow) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  deliver_command("last", "app");
  bus.forget_sent();
  complete("unknown");
  complete("i");
  complete("id");
  complete("id");
  complete("last");  // the worker's last: what came before is over then
  ASSERT_TRUE(has_pending(0));
  const auto sent = bus.sent("push_command_done");
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].text("id"), "id");
  EXPECT_EQ(sent[1].text("id"), "last");
}

TEST_F(PushClientDelivery, CompletesWhicheverApplicationItWasFor) {
  register_commands("app", inbox);
  deliver_command("theirs", "elsewhere");
  complete("theirs");
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushClientDelivery, LosesACompletionWhileTheServerIsAwayButNotTheMemoryOfIt) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  server_goes();
  bus.forget_sent();
  complete("id");
  ASSERT_TRUE(has_pending(0));
  EXPECT_EQ(bus.sent("push_command_done").size(), 1U) << "sent, though nobody is there";
  server_comes();
  EXPECT_EQ(bus.sent("push_command_done").size(), 1U);
}

TEST_F(PushClientDelivery, ForgetsACompletedCommandEvenIfNoMessageCanBeMade) {
  register_commands("app", inbox);
  deliver_command("id", "app");
  bus.refuse_messages();
  complete("id");
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushClientDelivery, KeepsACommandAnewThatComesAfterItsCompletion) {
  want_commands("app", inbox);
  deliver_command("id", "app");
  complete("id");
  ASSERT_TRUE(has_pending(0));
  deliver_command("id", "app");
  EXPECT_EQ(inbox.size(), 2U);
}

TEST_F(PushClientDelivery, DoesCompletionsAndReplaysInTheOrderOfTheirComing) {
  register_commands("app", inbox);
  deliver_command("1", "app");
  deliver_command("2", "app");
  complete("1");
  register_commands("late", other);
  ASSERT_TRUE(other.gets(1));
  EXPECT_EQ(other.lines(), Lines{command_line("2", "app")});
}

}  // namespace
