// What the cloud lists of the commands that were missed.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "support/HeldListings.h"
#include "support/PushServiceTest.h"

namespace {

using nlohmann::json;
using support::command_push;
using support::HeldListings;
using support::push_source;
using support::PushReceiver;
using support::ResolvedRequest;
using support::SeenCommand;

class PushListing : public support::PushServiceTest {
 protected:
  PushListing() {
    take_probe_away();
    network_up();
    forget();
  }

  /// "app" wants commands; the listing for it gives `reply`. Waits until that has been dealt with.
  void list(const support::ScriptedReply& reply) {
    requests.answer_next(reply);
    ASSERT_EQ(want_commands("app", receiver), 0u);
    finish_listings();
  }
  void list(const std::string& reply) { list({{0, 0}, reply, 0}); }
  std::int64_t timestamp_listed(const std::string& value) {
    receiver.forget();
    leave_commands("app", receiver);
    done("app", "1");
    list(R"([{"command": "do", "command_id": "1", "timestamp": )" + value + "}]");
    const auto all = receiver.commands();
    EXPECT_EQ(all.size(), 1u) << value;
    return all.empty() ? -99 : all[0].timestamp;
  }

  PushReceiver receiver;
};

TEST_F(PushListing, IsAskedForByANewCommandsApplication) {
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(times_said(16, L"app_id: app"), 1u);
  ASSERT_TRUE(requests.wait_for(1));
  const ResolvedRequest request = requests.requests()[0];
  expect_commands_request(request, "list");
  EXPECT_EQ(request.message, "");
}

TEST_F(PushListing, DoesNotRunOnTheCallersThread) {
  EXPECT_EQ(want_commands("app", receiver), 0u);
  ASSERT_TRUE(requests.wait_for(1));
  EXPECT_NE(requests.requests()[0].thread, std::this_thread::get_id());
}

TEST_F(PushListing, DoesNotHoldTheCallerUp) {
  const HeldListings held(requests);
  EXPECT_EQ(want_commands("app", receiver), 0u);
  ASSERT_TRUE(requests.wait_for(1));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushListing, IsAskedForOncePerNewApplication) {
  PushReceiver other;
  want_commands("app", receiver);
  want_commands("app", receiver);
  want_commands("app", other);
  finish_listings();
  EXPECT_EQ(requests.count(), 2u) << "with the barrier's";
}

TEST_F(PushListing, IsAskedForAgainWhenTheLastCallbackLeftBefore) {
  want_commands("app", receiver);
  leave_commands("app", receiver);
  want_commands("app", receiver);
  EXPECT_EQ(times_said(16, L"app_id: app"), 2u);
}

TEST_F(PushListing, IsAskedForEvenIfTheCloudRefusesTheApplication) {
  const HeldListings held(requests);
  client.set_register_result(77);
  EXPECT_EQ(want_commands("app", receiver), 77u);
  EXPECT_EQ(times_said(16, L"app_id: app"), 1u);
  EXPECT_TRUE(requests.wait_for(1));
}

TEST_F(PushListing, IsAskedForByAnApplicationThatTheCloudKnowsForEvents) {
  want_events("app", receiver);
  want_commands("app", receiver);
  EXPECT_EQ(times_said(16, L"app_id: app"), 1u);
}

TEST_F(PushListing, IsNotAskedForByEvents) {
  want_events("app", receiver);
  finish_listings();
  EXPECT_EQ(requests.count(), 1u) << "the barrier's";
}

TEST_F(PushListing, OneAfterTheOther) {
  std::atomic<int> running = 0;
  std::atomic<bool> overlapped = false;
  requests.while_resolving([&](const ResolvedRequest&) {
    if (++running != 1) overlapped = true;
    std::this_thread::yield();
    --running;
  });
  for (int i = 0; i < 20; ++i) want_commands(("app" + std::to_string(i)).c_str(), receiver);
  finish_listings();
  EXPECT_EQ(requests.count(), 21u);
  service.reset();
  EXPECT_FALSE(overlapped);
}

TEST_F(PushListing, BeforeTheNetworkIsUpIsPostponedAndNotQueued) {
  renew();
  want_commands("app", receiver);
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 1u);
  EXPECT_EQ(times_said(16, L"app_id: app"), 0u);
  service.reset();
  EXPECT_EQ(requests.count(), 0u);
}

TEST_F(PushListing, DeliversAndKeepsEachCommandWithEveryField) {
  list(R"([{"timestamp": 77, "command_id": "17", "command": "wipe",
            "command_params": {"a": [1, null], "t": "\u00e9"}, "x": 1}])");
  ASSERT_EQ(receiver.commands().size(), 1u);
  const SeenCommand command = receiver.commands()[0];
  EXPECT_EQ(command.app_id, "app");
  EXPECT_EQ(command.name, "wipe");
  EXPECT_EQ(command.id, "17");
  EXPECT_EQ(command.timestamp, 77);
  EXPECT_EQ(json::parse(command.params), json::parse(R"({"a": [1, null], "t": "é"})"));
  EXPECT_EQ(kept("app"), Names{"wipe 17"});
}

TEST_F(PushListing, SaysWhatItGotAndWhatItDoesWithIt) {
  const std::string reply = R"([{"command":"do","command_id":"1"},{"command":"undo"}])";
  list(reply);
  EXPECT_EQ(times_said(16, L"result: " + std::wstring(reply.begin(), reply.end())), 1u);
  EXPECT_EQ(times_said(16, L"offline cmd: do for app_id: app app"), 1u);
  EXPECT_EQ(times_said(16, L"offline cmd: undo for app_id: app app"), 1u) << "kept or not";
  EXPECT_EQ(times_said(16, L"name: do app_id: app app"), 1u);
  EXPECT_EQ(times_said(16, L"name: undo app_id: app app"), 0u);
}

TEST_F(PushListing, KeepsTheOrder) {
  list(R"([{"command": "a", "command_id": "3"}, {"command": "b", "command_id": "1"},
           {"command": "c", "command_id": "2"}])");
  EXPECT_EQ(receiver.command_names(), (Names{"a 3", "b 1", "c 2"}));
}

TEST_F(PushListing, TakesAbsentFieldsForEmpty) {
  list(R"([{"command_id": "1"}])");
  ASSERT_EQ(receiver.commands().size(), 1u);
  const SeenCommand command = receiver.commands()[0];
  EXPECT_EQ(command.name, "");
  EXPECT_EQ(command.params, "");
  EXPECT_EQ(command.timestamp, 0);
}

TEST_F(PushListing, NeitherKeepsNorDeliversCommandsWithoutAnIdentifier) {
  list(R"([{"command": "do"}, {"command": "do", "command_id": ""}, {}])");
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(PushListing, SkipsWhatIsNoObjectAndGoesOn) {
  list(R"([1, {"command": "a", "command_id": "1"}, null, "x", [], [{"command_id": "9"}], true, 1.5,
           {"command": "b", "command_id": "2"}])");
  EXPECT_EQ(receiver.command_names(), (Names{"a 1", "b 2"}));
}

TEST_F(PushListing, TakesFieldsOfAnotherTypeForAbsent) {
  list(R"([{"command": 5, "command_id": "1", "timestamp": "12"},
           {"command": "do", "command_id": 2}, {"command": null, "command_id": "3"},
           {"command": {"a": 1}, "command_id": "4", "timestamp": null}])");
  EXPECT_EQ(receiver.command_names(), (Names{" 1", " 3", " 4"}));
  for (const SeenCommand& each : receiver.commands()) EXPECT_EQ(each.timestamp, 0);
}

TEST_F(PushListing, CutsTimestampsTo32Bits) {
  EXPECT_EQ(timestamp_listed("2147483647"), 2147483647);
  EXPECT_EQ(timestamp_listed("2147483648"), -2147483648LL);
  EXPECT_EQ(timestamp_listed("4294967295"), -1);
  EXPECT_EQ(timestamp_listed("4294967297"), 1);
  EXPECT_EQ(timestamp_listed("-1"), -1);
  EXPECT_EQ(timestamp_listed("-2147483649"), 2147483647);
  EXPECT_EQ(timestamp_listed("9223372036854775807"), -1);
  EXPECT_EQ(timestamp_listed("1700000000123"),
            static_cast<std::int32_t>(static_cast<std::uint32_t>(1700000000123)));
}

TEST_F(PushListing, DoesNotKeepAgainWhatWasPushedAndReplaysIt) {
  push(command_push("app", "do", "1", {{"n", 1}}, 5'000'000'000));
  list(R"([{"command": "do", "command_id": "1", "timestamp": 6}])");
  ASSERT_EQ(receiver.command_names(), Names{"do 1"});
  EXPECT_EQ(receiver.commands()[0].timestamp, 5'000'000'000) << "the one that was there";
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushListing, ReplaysWhatWasDeliveredBefore) {
  list("[]");
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
  leave_commands("app", receiver);
  list(R"([{"command": "undo", "command_id": "2"}])");
  EXPECT_EQ(receiver.command_names(), (Names{"do 1", "do 1", "undo 2"}));
}

TEST_F(PushListing, ThatIsEmptyStillReplaysWhatIsKept) {
  push(command_push("app", "do", "1"));
  list("[]");
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushListing, OfTwoNamesWithOneIdentifierKeepsBoth) {
  list(R"([{"command": "a", "command_id": "1"}, {"command": "b", "command_id": "1"},
           {"command": "a", "command_id": "1"}])");
  EXPECT_EQ(kept("app"), (Names{"a 1", "b 1"}));
}

TEST_F(PushListing, ReplaysToEveryCallbackOfTheApplicationInTheirOrder) {
  HeldListings held(requests);
  requests.answer_next(
      R"([{"command": "a", "command_id": "1"}, {"command": "b", "command_id": "2"}])");
  Names order;
  PushReceiver second;
  receiver.when_command = [&](const SeenCommand& c) { order.push_back("first " + c.name); };
  second.when_command = [&](const SeenCommand& c) { order.push_back("second " + c.name); };
  want_commands("app", receiver);
  want_commands("app", second);
  held.let_go();
  finish_listings();
  EXPECT_EQ(order, (Names{"first a", "first b", "second a", "second b"}));
}

TEST_F(PushListing, KeepsForAnApplicationThatLeftMeanwhile) {
  HeldListings held(requests);
  requests.answer_next(R"([{"command": "a", "command_id": "1"}])");
  want_commands("app", receiver);
  leave_commands("app", receiver);
  held.let_go();
  finish_listings();
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_EQ(kept("app"), Names{"a 1"});
}

TEST_F(PushListing, ThatIsNoArrayIsDroppedAndReplaysNothing) {
  push(command_push("app", "do", "1"));
  for (const char* reply :
       {R"({"command": "x", "command_id": "2"})", "", "null", "5", "\"[]\"", "[", "[]]",
        R"([{"command_id": "2", "timestamp": 99999999999999999999}])"}) {
    leave_commands("app", receiver);
    list(reply);
    EXPECT_TRUE(receiver.commands().empty()) << reply;
  }
  EXPECT_EQ(kept("app"), Names{"do 1"});
  EXPECT_TRUE(said(16, L"result: null")) << "it says what it got";
  EXPECT_TRUE(said(16, L"result: "));
}

TEST_F(PushListing, ThatIsNoUtf8IsDropped) {
  list("[{\"command\": \"\xff\xfe\", \"command_id\": \"1\"}]");
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(PushListing, ThatFailedSaysSoAndDoesNothing) {
  push(command_push("app", "do", "1"));
  list({{1, 232}, R"([{"command": "a", "command_id": "2"}])", 0});
  EXPECT_EQ(times_said(4, L"Could not resolve list  request, err: 232 type: 1"), 1u);
  EXPECT_EQ(times_said(4, L"Could not resolve list  request, connect err: 0"), 0u);
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushListing, ThatFailedInTheLibrarySaysItsNumberAndType) {
  list({{2, 4000000000}, "[]", 5});
  EXPECT_EQ(times_said(4, L"Could not resolve list  request, err: 4000000000 type: 2"), 1u);
  EXPECT_EQ(log.lines(4).size(), 1u) << "the reply isn't looked at then";
}

TEST_F(PushListing, ThatTheServerRefusedSaysSoAndDoesNothing) {
  push(command_push("app", "do", "1"));
  list({{0, 0}, R"([{"command": "a", "command_id": "2"}])", -32601});
  EXPECT_EQ(times_said(4, L"Could not resolve list  request, connect err: -32601"), 1u);
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushListing, GoesByTheCodeOfTheStatusAlone) {
  list({{2, 0}, R"([{"command": "a", "command_id": "2"}])", 0});
  EXPECT_EQ(receiver.command_names(), Names{"a 2"});
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(PushListing, ThatFailedIsNotRepeated) {
  list({{1, 31}, "", 0});
  EXPECT_EQ(requests.count(), 2u) << "with the barrier's";
}

TEST_F(PushListing, ThatFailedIsRepeatedByTheNextRefresh) {
  want_events("zz", receiver);
  requests.answer_next({{1, 31}, "", 0});
  requests.answer_next(R"([{"command": "a", "command_id": "2"}])");
  want_commands("zz", receiver);
  ASSERT_TRUE(requests.wait_for(1));
  service->refresh_push_listeners(push_source("", "device", "token"));
  finish_listings();
  EXPECT_EQ(receiver.command_names(), Names{"a 2"});
}

}  // namespace
