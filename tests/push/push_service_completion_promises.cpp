// A command is done: it goes, and the cloud hears of it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/PushServiceTest.h"

namespace {

using nlohmann::json;
using support::command_push;
using support::push_source;
using support::PushReceiver;
using support::ResolvedRequest;

class PushCompletion : public support::PushServiceTest {
 protected:
  PushCompletion() { take_probe_away(); }

  /// Commands of "app", each with its name and its identifier.
  void arrive(const std::vector<std::pair<const char*, const char*>>& commands) {
    for (const auto& [name, id] : commands) push(command_push("app", name, id));
  }
};

TEST_F(PushCompletion, TellsTheCloudOfTheCommandAndItsOutcome) {
  push(command_push("app", "do", "17"));
  service->set_command_done("17", "succ\xc3\xa9s \"1\"", push_source("app", "d", "t"),
                            cloud::connect_destination{"far", "away"});
  ASSERT_EQ(requests.count(), 1u);
  const ResolvedRequest request = requests.requests()[0];
  expect_commands_request(request, "complete");
  EXPECT_EQ(json::parse(request.message),
            (json{{"command_id", "17"}, {"command_status", "succ\xc3\xa9s \"1\""}}));
}

TEST_F(PushCompletion, RunsOnTheCallersThread) {
  push(command_push("app", "do", "1"));
  done("app", "1");
  ASSERT_EQ(requests.count(), 1u);
  EXPECT_EQ(requests.requests()[0].thread, std::this_thread::get_id());
}

TEST_F(PushCompletion, NeedsNoNetworkToBeReady) {
  push(command_push("app", "do", "1"));
  done("app", "1");
  EXPECT_EQ(requests.count(), 1u);
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 0u);
}

TEST_F(PushCompletion, TakesTheCommandAwayBeforeTheCloudHasAnswered) {
  Names meanwhile{"something"};
  requests.while_resolving([&](const ResolvedRequest&) { meanwhile = kept("app"); });
  push(command_push("app", "do", "1"));
  done("app", "1");
  EXPECT_TRUE(meanwhile.empty());
  requests.while_resolving({});
}

TEST_F(PushCompletion, TakesTheOneCommandOfManyWhereverItStands) {
  for (const char* id : {"1", "2", "3", "4"}) push(command_push("app", "do", id));
  done("app", "3");
  EXPECT_EQ(kept("app"), (Names{"do 1", "do 2", "do 4"}));
  done("app", "1");
  EXPECT_EQ(kept("app"), (Names{"do 2", "do 4"}));
  done("app", "4");
  EXPECT_EQ(kept("app"), Names{"do 2"});
  done("app", "2");
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(requests.count(), 4u);
}

TEST_F(PushCompletion, LeavesTheCommandsOfOtherApplicationsAlone) {
  push(command_push("app", "do", "1"));
  push(command_push("app2", "do", "1"));
  done("app", "1");
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(kept("app2"), Names{"do 1"});
}

TEST_F(PushCompletion, OfAFailedRequestSaysSoAndDoesNotBringTheCommandBack) {
  push(command_push("app", "do", "1"));
  requests.answer_next({{1, 5}, "", 0});
  done("app", "1");
  EXPECT_EQ(times_said(4, L"Could not resolve complete  request, err: 5 type: 1"), 1u);
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(requests.count(), 1u) << "no second try";
  done("app", "1");
  EXPECT_EQ(requests.count(), 1u);
}

TEST_F(PushCompletion, RefusedByTheServerSaysSoAndDoesNotBringTheCommandBack) {
  push(command_push("app", "do", "1"));
  requests.answer_next({{0, 0}, "", 404});
  done("app", "1");
  EXPECT_EQ(times_said(4, L"Could not resolve complete  request, connect err: 404"), 1u);
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(PushCompletion, DoesNotReadTheReply) {
  push(command_push("app", "do", "1"));
  requests.answer_next(R"([{"command": "x", "command_id": "9"}])");
  log.clear();
  done("app", "1");
  EXPECT_TRUE(kept("app").empty());
  for (const auto& line : log.lines()) {
    EXPECT_FALSE(line.text.starts_with(L"result: ")) << line;
    EXPECT_FALSE(line.text.starts_with(L"offline cmd: ")) << line;
  }
}

TEST_F(PushCompletion, WithNothingKeptAtAllSaysSoAndSendsNothing) {
  done("app", "1");
  EXPECT_EQ(times_said(16, L"no offline cmd"), 1u);
  EXPECT_EQ(requests.count(), 0u);
}

TEST_F(PushCompletion, OfAnApplicationWithoutAListSaysSoAndSendsNothing) {
  push(command_push("app", "do", "1"));
  done("app2", "1");
  EXPECT_EQ(times_said(16, L"not found cmds for app_id "), 1u);
  EXPECT_EQ(times_said(16, L"no offline cmd"), 0u);
  EXPECT_EQ(requests.count(), 0u);
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushCompletion, OfAnIdentifierThatTheListLacksSendsNothing) {
  push(command_push("app", "do", "1"));
  log.clear();
  done("app", "2");
  done("app", "");
  done("app", "11");
  EXPECT_EQ(requests.count(), 0u);
  EXPECT_TRUE(log.lines(16).empty());
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushCompletion, FindsTheEmptiedListStillThere) {
  push(command_push("app", "do", "1"));
  done("app", "1");
  log.clear();
  done("app", "1");
  EXPECT_EQ(times_said(16, L"no offline cmd"), 0u);
  EXPECT_EQ(times_said(16, L"not found cmds for app_id "), 0u);
  done("app2", "1");
  EXPECT_EQ(times_said(16, L"not found cmds for app_id "), 1u);
  EXPECT_EQ(requests.count(), 1u);
}

TEST_F(PushCompletion, FindsTheListThatAReplayMade) {
  EXPECT_TRUE(kept("app").empty());
  done("app", "1");
  EXPECT_TRUE(log.lines(16).empty()) << "it is there, and empty";
  done("app2", "1");
  EXPECT_EQ(times_said(16, L"not found cmds for app_id "), 1u);
}

TEST_F(PushCompletion, OfACommandWithoutAnIdentifierFindsNothingKept) {
  push(command_push("app", "do", ""));
  done("app", "");
  EXPECT_EQ(requests.count(), 0u);
}

TEST_F(PushCompletion, WithoutAnApplicationIsOfTheProductsDefault) {
  push(command_push("Desktop", "do", "1"));
  done("", "1");
  EXPECT_TRUE(kept("Desktop").empty());
  EXPECT_EQ(requests.count(), 1u);
}

TEST_F(PushCompletion, WithoutAKnownUserSaysSoAndKeepsTheCommand) {
  push(command_push("app", "do", "1"));
  service->refresh_push_listeners({});
  log.clear();
  done("app", "1");
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
  EXPECT_EQ(requests.count(), 0u);
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

TEST_F(PushCompletion, WithAWholeIdentityOfTheCallerNeedsNobodyKnown) {
  push(command_push("app", "do", "1"));
  service->refresh_push_listeners({});
  service->set_command_done("1", "ok", push_source("app", "d", "t"), {});
  EXPECT_EQ(requests.count(), 1u);
}

TEST_F(PushCompletion, GoesByTheSenderAndNotByTheDestination) {
  push(command_push("app", "do", "1"));
  push(command_push("away", "do", "1"));
  service->set_command_done("1", "ok", push_source("app"), cloud::connect_destination{"", "away"});
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(kept("away"), Names{"do 1"});
}

TEST_F(PushCompletion, WithoutAnOutcomeTellsAnEmptyOne) {
  push(command_push("app", "do", "1"));
  done("app", "1", "");
  ASSERT_EQ(requests.count(), 1u);
  EXPECT_EQ(json::parse(requests.requests()[0].message),
            (json{{"command_id", "1"}, {"command_status", ""}}));
}

TEST_F(PushCompletion, OfTwoCommandsOfOneIdentifierSideBySideTakesOne) {
  arrive({{"a", "1"}, {"b", "1"}});
  done("app", "1");
  EXPECT_EQ(kept("app"), Names{"b 1"});
  done("app", "1");
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(requests.count(), 2u);
}

TEST_F(PushCompletion, OfTwoCommandsOfOneIdentifierLeavesTheShiftedRemainder) {
  arrive({{"a", "1"}, {"b", "1"}, {"c", "2"}, {"d", "3"}});
  done("app", "1");
  // c and d moved to the front, one of the two freed places was unlinked, and the last one kept its
  // copy of d.
  EXPECT_EQ(kept("app"), (Names{"c 2", "d 3", "d 3"}));
}

TEST_F(PushCompletion, OfTwoCommandsOfOneIdentifierApartLeavesAStaleCopy) {
  push(command_push("app", "w", "8", {{"n", 8}}, 8));
  arrive({{"a", "1"}, {"x", "2"}, {"b", "1"}});
  push(command_push("app", "y", "3", {{"n", 3}}, 3));
  done("app", "1");
  PushReceiver reader;
  replay("app", reader);
  EXPECT_EQ(reader.command_names(), (Names{"w 8", "x 2", "y 3", "y 3"}));
  for (std::size_t i = 2; i < reader.commands().size(); ++i) {
    EXPECT_EQ(reader.commands()[i].timestamp, 3) << "a whole copy";
    EXPECT_EQ(json::parse(reader.commands()[i].params), (json{{"n", 3}}));
    EXPECT_EQ(reader.commands()[i].app_id, "app");
  }
}

TEST_F(PushCompletion, OfTwoCommandsOfOneIdentifierAtTheEndLeavesTheLastOfThem) {
  arrive({{"x", "2"}, {"a", "1"}, {"b", "1"}});
  done("app", "1");
  EXPECT_EQ(kept("app"), (Names{"x 2", "b 1"}));
}

TEST_F(PushCompletion, OfTheFirstAndTheLastOfOneIdentifierLeavesTheLastOfThem) {
  arrive({{"a", "1"}, {"x", "2"}, {"b", "1"}});
  done("app", "1");
  EXPECT_EQ(kept("app"), (Names{"x 2", "b 1"}));
}

TEST_F(PushCompletion, OfThreeCommandsOfOneIdentifierUnlinksOnePlaceOnly) {
  arrive({{"a", "1"}, {"b", "1"}, {"c", "1"}, {"x", "2"}});
  done("app", "1");
  EXPECT_EQ(kept("app"), (Names{"x 2", "c 1", "x 2"}));
}

TEST_F(PushCompletion, OfAStaleCopyIsToldToTheCloudAgain) {
  arrive({{"a", "1"}, {"b", "1"}, {"c", "2"}});
  done("app", "1");
  EXPECT_EQ(kept("app"), (Names{"c 2", "c 2"}));
  done("app", "2");
  EXPECT_EQ(kept("app"), Names{"c 2"});
  done("app", "2");
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(requests.count(), 3u);
}

}  // namespace
