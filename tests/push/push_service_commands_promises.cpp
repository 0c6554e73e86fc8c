// How a command that was pushed reaches those who want it, and is kept.

#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "support/PushServiceTest.h"
#include "support/only.h"

namespace {

using nlohmann::json;
using support::command_push;
using support::event_push;
using support::only;
using support::PushReceiver;
using support::SeenCommand;

class PushCommands : public support::PushServiceTest {
 protected:
  PushCommands() {
    take_probe_away();
    want_events("app", receiver);
    want_commands("app", receiver);
    log.clear();
  }

  PushReceiver receiver;
};

TEST_F(PushCommands, ArriveWithEveryField) {
  push(R"({"app_fields": {"connect_target": {"app_id": "app", "device_id": "there"},
           "event": "command", "timestamp": 1700000000123,
           "event_params": {"command": "wipe", "command_id": "17",
                            "command_params": {"a": [1, null], "t": "\u00e9"}, "x": 1}}})");
  const SeenCommand command = only(receiver.commands());
  EXPECT_EQ(command.app_id, "app");
  EXPECT_EQ(command.name, "wipe");
  EXPECT_EQ(command.id, "17");
  EXPECT_EQ(command.timestamp, 1700000000123);
  EXPECT_EQ(json::parse(command.params), json::parse(R"({"a": [1, null], "t": "é"})"));
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(PushCommands, AreKeptWithEveryField) {
  push(command_push("app", "wipe", "17", {{"a", 1}}, 1700000000123));
  PushReceiver reader;
  replay("app", reader);
  const SeenCommand command = only(reader.commands());
  EXPECT_EQ(command.app_id, "app");
  EXPECT_EQ(command.name, "wipe");
  EXPECT_EQ(command.id, "17");
  EXPECT_EQ(command.timestamp, 1700000000123) << "all 64 bits";
  EXPECT_EQ(json::parse(command.params), (json{{"a", 1}}));
}

TEST_F(PushCommands, AreLoggedWithTheirTextAndTheirApplication) {
  const std::string text = command_push("app", "wipe", "17");
  push(text);
  EXPECT_TRUE(said(16, L"response: " + std::wstring(text.begin(), text.end())));
  EXPECT_TRUE(said(16, L"destination app: app"));
  EXPECT_EQ(log.lines(16).size(), 2u);
}

TEST_F(PushCommands, ReachAllCallbacksOfTheApplicationInTheOrderOfTheirComing) {
  PushReceiver second;
  Names order;
  receiver.when_command = [&](const SeenCommand&) { order.push_back("first"); };
  second.when_command = [&](const SeenCommand&) { order.push_back("second"); };
  want_commands("app", second);
  push(command_push("app", "do", "1"));
  EXPECT_EQ(order, (Names{"first", "second"}));
}

TEST_F(PushCommands, RunTheCallbacksOnTheThreadOfThePush) {
  std::thread::id thread;
  receiver.when_command = [&](const SeenCommand&) { thread = std::this_thread::get_id(); };
  push(command_push("app", "do", "1"));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(PushCommands, PushedTwiceAreKeptOnceAndDeliveredTwice) {
  push(command_push("app", "do", "1"));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.command_names(), (Names{"do 1", "do 1"}));
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushCommands, PushedTwiceAreKeptAsTheyCameFirst) {
  push(command_push("app", "do", "1", {{"n", 1}}, 10));
  push(command_push("app", "do", "1", {{"n", 2}}, 20));
  EXPECT_EQ(receiver.commands().at(1).timestamp, 20) << "delivered as it came";
  PushReceiver reader;
  replay("app", reader);
  ASSERT_EQ(reader.commands().size(), 1u);
  EXPECT_EQ(reader.commands()[0].timestamp, 10);
  EXPECT_EQ(json::parse(reader.commands()[0].params), (json{{"n", 1}}));
}

TEST_F(PushCommands, OfOneIdentifierAndTwoNamesAreTwo) {
  push(command_push("app", "do", "1"));
  push(command_push("app", "undo", "1"));
  EXPECT_EQ(kept("app"), (Names{"do 1", "undo 1"}));
}

TEST_F(PushCommands, OfOneNameAndTwoIdentifiersAreTwo) {
  push(command_push("app", "do", "1"));
  push(command_push("app", "do", "2"));
  EXPECT_EQ(kept("app"), (Names{"do 1", "do 2"}));
}

TEST_F(PushCommands, OfTwoApplicationsAreKeptApart) {
  push(command_push("app", "do", "1"));
  push(command_push("app2", "do", "1"));
  EXPECT_EQ(kept("app"), Names{"do 1"});
  EXPECT_EQ(kept("app2"), Names{"do 1"});
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushCommands, AreKeptInTheOrderOfTheirComing) {
  for (const char* id : {"9", "1", "5", "1", "3"}) push(command_push("app", "do", id));
  EXPECT_EQ(kept("app"), (Names{"do 9", "do 1", "do 5", "do 3"}));
}

TEST_F(PushCommands, WithoutAnIdentifierAreDeliveredAndNotKept) {
  push(command_push("app", "do", ""));
  push(R"({"app_fields": {"connect_target": {"app_id": "app"}, "event": "command",
           "event_params": {"command": "do"}}})");
  EXPECT_EQ(receiver.command_names(), (Names{"do ", "do "}));
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(PushCommands, WithoutANameAreKeptAllTheSame) {
  push(command_push("app", "", "1"));
  EXPECT_EQ(receiver.command_names(), Names{" 1"});
  EXPECT_EQ(kept("app"), Names{" 1"});
}

TEST_F(PushCommands, WithoutACallbackAreKept) {
  push(command_push("nobody", "do", "1"));
  EXPECT_EQ(kept("nobody"), Names{"do 1"});
}

TEST_F(PushCommands, WithoutATargetAreKeptUnderTheEmptyApplicationAndReachNobody) {
  push(R"({"app_fields": {"event": "command", "event_params":
           {"command": "do", "command_id": "1", "command_params": {}}}})");
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_EQ(kept(""), Names{"do 1"}) << "whose name no default takes";
  EXPECT_TRUE(kept("Desktop").empty());
}

TEST_F(PushCommands, AreKeptBeforeAnyCallbackSeesThem) {
  Names seen;
  receiver.when_command = [&](const SeenCommand&) { seen = kept("app"); };
  push(command_push("app", "do", "1"));
  EXPECT_EQ(seen, Names{"do 1"});
}

TEST_F(PushCommands, MayBeCompletedByTheirCallbackAtOnce) {
  receiver.when_command = [&](const SeenCommand& command) { done("app", command.id.c_str()); };
  push(command_push("app", "do", "1"));
  EXPECT_TRUE(kept("app").empty());
  ASSERT_EQ(requests.count(), 1u);
  EXPECT_EQ(requests.requests()[0].method, "complete");
}

TEST_F(PushCommands, CompletedByOneCallbackStillReachTheNext) {
  PushReceiver second;
  want_commands("app", second);
  receiver.when_command = [&](const SeenCommand& command) { done("app", command.id.c_str()); };
  push(command_push("app", "do", "1"));
  EXPECT_EQ(second.command_names(), Names{"do 1"});
}

TEST_F(PushCommands, ThatAreKeptAreHandedOutInOrderWithALineEach) {
  push(command_push("app", "do", "1"));
  push(command_push("app", "undo", "2"));
  log.clear();
  EXPECT_EQ(kept("app"), (Names{"do 1", "undo 2"}));
  const auto lines = log.lines(16);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].text, L"name: do app_id: app app");
  EXPECT_EQ(lines[1].text, L"name: undo app_id: app app");
}

TEST_F(PushCommands, ThatAreKeptAreHandedOutAsOftenAsAskedFor) {
  push(command_push("app", "do", "1"));
  EXPECT_EQ(kept("app"), Names{"do 1"});
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushCommands, ThatAreKeptNeedNoIdentityToBeHandedOut) {
  push(command_push("app", "do", "1"));
  service->refresh_push_listeners({});
  log.clear();
  EXPECT_EQ(kept("app"), Names{"do 1"});
  EXPECT_EQ(times_said(4, L"No auth data"), 0u);
}

TEST_F(PushCommands, ThatAreKeptAreHandedOutThroughTheInterface) {
  push(command_push("app", "do", "1"));
  IPushService& face = *service;
  PushReceiver reader;
  const cloud::push::command_callback callback = &PushReceiver::on_command;
  face.send_offline_commands(support::push_source("app", "any", "one"), callback, &reader);
  EXPECT_EQ(reader.command_names(), Names{"do 1"});
}

TEST_F(PushCommands, AreKeptWithoutALimit) {
  constexpr std::size_t many = 3000;
  for (std::size_t i = 0; i < many; ++i) push(command_push("app", "do", std::to_string(i)));
  EXPECT_EQ(kept("app").size(), many);
}

TEST_F(PushCommands, LiveInMemoryOnly) {
  push(command_push("app", "do", "1"));
  renew();
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(PushCommands, AreNothingToTheCloudUntilDone) {
  push(command_push("app", "do", "1"));
  EXPECT_EQ(requests.count(), 0u);
}

}  // namespace
