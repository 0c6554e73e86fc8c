// How a client's applications complete commands.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "support/HoldUp.h"
#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::HoldUp;
using support::PushInbox;
using waiting::Attempt;
using Lines = std::vector<std::string>;

class PushClientCompletions : public support::PushClientTest {
 protected:
  PushClientCompletions() {
    server_comes();
    register_commands("app", inbox);
    bus.forget_sent();
  }
  void arrive(const char* id, const char* app_id = "app") {
    const std::size_t before = pending().size();
    bus.deliver(events, command(id, app_id));
    ASSERT_TRUE(has_pending(before + 1));
  }
  bool has_sent(std::size_t count) {
    return waiting::until([&] { return bus.sent("push_command_done").size() >= count; });
  }
  Lines completed() const {
    Lines lines;
    for (const auto& message : bus.sent("push_command_done")) lines.push_back(message.text("id"));
    return lines;
  }

  PushInbox inbox;
};

TEST_F(PushClientCompletions, GoToTheServerWithTheirAddressesIdAndStatus) {
  arrive("id");
  complete("id", "it's done");
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(bus.last_sent().channel, actions);
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_EQ(bus.last_sent().fields, (BusFields{{"module", "push"},
                                               {"method", "push_command_done"},
                                               {"source_app_id", "app"},
                                               {"source_device_id", "dev"},
                                               {"source_token", "tok"},
                                               {"dest_app_id", "dest app"},
                                               {"dest_device_id", "dest dev"},
                                               {"id", "id"},
                                               {"status", "it's done"}}));
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushClientCompletions, EmptySourceGoesOutAsTheDefaultApplication) {
  arrive("id");
  client->set_command_done("id", "", {}, {});
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "Desktop");
  EXPECT_EQ(bus.last_sent().text("status"), "");
}

TEST_F(PushClientCompletions, CommandThatNobodyKnowsIsNotToldToTheServer) {
  arrive("known");
  complete("unknown");
  complete("know");
  complete("known");
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(completed(), Lines{"known"});
}

TEST_F(PushClientCompletions, SecondTimeNothingHappens) {
  arrive("id");
  arrive("last");
  complete("id");
  complete("id");
  complete("last");
  ASSERT_TRUE(has_sent(2));
  EXPECT_EQ(completed(), (Lines{"id", "last"}));
}

TEST_F(PushClientCompletions, OthersKeepTheirOrder) {
  arrive("a");
  arrive("b");
  arrive("c");
  arrive("d");
  complete("b");
  EXPECT_TRUE(has_pending(3));
  EXPECT_EQ(pending(),
            (Lines{command_line("a", "app"), command_line("c", "app"), command_line("d", "app")}));
  complete("d");
  EXPECT_TRUE(has_pending(2));
  EXPECT_EQ(pending(), (Lines{command_line("a", "app"), command_line("c", "app")}));
  complete("a");
  EXPECT_TRUE(has_pending(1));
  EXPECT_EQ(pending(), Lines{command_line("c", "app")});
}

TEST_F(PushClientCompletions, AnyApplicationMayCompleteAnothersCommand) {
  arrive("theirs", "stranger");
  complete("theirs");
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "app");
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushClientCompletions, GoOneAfterTheOtherInTheirOrder) {
  for (const char* const id : {"1", "2", "3", "4"}) arrive(id);
  for (const char* const id : {"3", "1", "4", "2"}) complete(id);
  ASSERT_TRUE(has_sent(4));
  EXPECT_EQ(completed(), (Lines{"3", "1", "4", "2"}));
}

TEST_F(PushClientCompletions, CommandThatComesAgainAfterwardsIsKeptAgain) {
  arrive("id");
  complete("id");
  ASSERT_TRUE(has_pending(0));
  arrive("id");
  EXPECT_EQ(pending(), Lines{command_line("id", "app")});
}

TEST_F(PushClientCompletions, WhileTheServerIsAwayTheRecordGoesAndTheMessageIsSentAllTheSame) {
  arrive("id");
  server_goes();
  complete("id");
  EXPECT_TRUE(has_pending(0));
  EXPECT_TRUE(has_sent(1));
  bus.forget_sent();
  server_comes();
  EXPECT_TRUE(bus.sent("push_command_done").empty()) << "it is lost for good";
}

TEST_F(PushClientCompletions, WithoutAChannelTheRecordGoesToo) {
  arrive("id");
  bus.refuse_channel(actions);
  complete("id");
  EXPECT_TRUE(has_pending(0));
  EXPECT_TRUE(completed().empty());
}

TEST_F(PushClientCompletions, CallerNeverWaitsForTheBus) {
  arrive("1");
  arrive("2");
  const HoldUp hold;
  bus.set_hook([=](const std::string& call) {
    if (call != "Send connect.actions") return;
    hold.stop_here();
  });
  complete("1");
  ASSERT_TRUE(hold.is_reached());
  const Attempt second([this] { complete("2"); });
  EXPECT_TRUE(second.ends());
  hold.let_go();
  EXPECT_TRUE(has_sent(2));
  bus.set_hook(nullptr);
}

TEST_F(PushClientCompletions, MessageIsSentWithTheCommandsHeld) {
  arrive("id");
  const HoldUp hold;
  bus.set_hook([=](const std::string& call) {
    if (call != "Send connect.actions") return;
    hold.stop_here();
  });
  complete("id");
  ASSERT_TRUE(hold.is_reached());
  std::size_t seen = 99;
  const Attempt asking([this, &seen] { seen = pending().size(); });
  const Attempt events_are_free([this] { unregister_events("app", inbox); });
  EXPECT_TRUE(events_are_free.ends());
  EXPECT_TRUE(asking.stays_blocked());
  hold.let_go();
  ASSERT_TRUE(asking.ends());
  EXPECT_EQ(seen, 0U);
  bus.set_hook(nullptr);
}

TEST_F(PushClientCompletions, CommandMayBeCompletedInItsOwnCallback) {
  inbox.set_hook([this] { complete("id"); });
  bus.deliver(events, command("id", "app"));
  EXPECT_TRUE(has_sent(1));
  EXPECT_TRUE(has_pending(0));
  client.reset();
}

TEST_F(PushClientCompletions, ArgumentsMayBeGoneAfterTheCall) {
  arrive("id");
  {
    zv::StringT<char> id("id");
    zv::StringT<char> status("well done");
    client->set_command_done(id, status, {"app", "dev", "tok"}, {"dest dev", "dest app"});
    id = "other";
    status = "other";
  }
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(bus.last_sent().text("id"), "id");
  EXPECT_EQ(bus.last_sent().text("status"), "well done");
}

TEST_F(PushClientCompletions, ReplayAndCompletionTakeTurns) {
  arrive("1");
  arrive("2");
  PushInbox slow;
  const HoldUp hold;
  slow.set_hook([=] { hold.stop_here(); });
  register_commands("late", slow);
  ASSERT_TRUE(hold.is_reached());
  complete("1");
  hold.let_go();
  ASSERT_TRUE(has_sent(1));
  EXPECT_EQ(slow.lines(), (Lines{command_line("1", "app"), command_line("2", "app")}));
  client.reset();
}

}  // namespace
