// How an event that was pushed reaches those who want it.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "support/PushServiceTest.h"
#include "support/only.h"

namespace {

using nlohmann::json;
using support::event_push;
using support::only;
using support::PushReceiver;
using support::SeenEvent;

class PushEvents : public support::PushServiceTest {
 protected:
  PushEvents() {
    take_probe_away();
    want_events("app", receiver);
    want_commands("app", receiver);
    log.clear();
  }

  PushReceiver receiver;
};

TEST_F(PushEvents, ArriveWithEveryField) {
  push(R"({"app_fields": {"connect_target": {"app_id": "app", "device_id": "there"},
           "event": "news", "timestamp": 1700000000123,
           "event_params": {"a": [1, {"b": null}], "t": "\u00e9\"x"}}, "more": 1})");
  const SeenEvent event = only(receiver.events());
  EXPECT_EQ(event.name, "news");
  EXPECT_EQ(event.app_id, "app");
  EXPECT_EQ(event.device_id, "there");
  EXPECT_EQ(event.timestamp, 1700000000123);
  EXPECT_EQ(json::parse(event.params), json::parse(R"({"a": [1, {"b": null}], "t": "é\"x"})"));
  EXPECT_EQ(event.params.find('\n'), std::string::npos);
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushEvents, AreLoggedWithTheirTextAndTheirApplication) {
  const std::string text = event_push("app", "news");
  push(text);
  EXPECT_TRUE(said(16, L"response: " + std::wstring(text.begin(), text.end())));
  EXPECT_TRUE(said(16, L"destination app: app"));
  EXPECT_TRUE(log.nothing_logged(4));
  const auto lines = log.lines(16);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[0].text.starts_with(L"response: "));
}

TEST_F(PushEvents, KeepAll64BitsOfTheTimestamp) {
  for (const std::int64_t stamp :
       {std::int64_t{2147483648}, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0}}) {
    receiver.forget();
    push(event_push("app", "news", json::object(), stamp));
    EXPECT_EQ(only(receiver.events()).timestamp, stamp);
  }
}

TEST_F(PushEvents, AreWhateverIsNotCommandToTheLetter) {
  const Names names{"Command", "COMMAND", "commands", "comman", " command", "command ", "cOmmand"};
  for (const std::string& name : names) {
    push(event_push("app", name, {{"command", "do"}, {"command_id", "1"}}));
  }
  EXPECT_EQ(receiver.event_names(), names);
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_TRUE(kept("app").empty());
  EXPECT_EQ(json::parse(receiver.events().at(0).params),
            (json{{"command", "do"}, {"command_id", "1"}}))
      << "all of it is the event's own";
}

TEST_F(PushEvents, ReachAllCallbacksOfTheApplicationInTheOrderOfTheirComing) {
  PushReceiver second;
  PushReceiver third;
  Names order;
  receiver.when_event = [&](const SeenEvent&) { order.push_back("first"); };
  second.when_event = [&](const SeenEvent&) { order.push_back("second"); };
  third.when_event = [&](const SeenEvent&) { order.push_back("third"); };
  want_events("app", second);
  want_events("app", third);
  want_events("app", receiver);  // already there, so it keeps its place
  push(event_push("app", "news"));
  EXPECT_EQ(order, (Names{"first", "second", "third"}));
}

TEST_F(PushEvents, RunTheCallbacksOnTheThreadOfThePush) {
  std::thread::id thread;
  receiver.when_event = [&](const SeenEvent&) { thread = std::this_thread::get_id(); };
  push(event_push("app", "news"));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(PushEvents, ForOtherApplicationsReachNobody) {
  push(event_push("elsewhere", "news"));
  push(event_push("", "news"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(said(16, L"destination app: elsewhere"));
  EXPECT_TRUE(said(16, L"destination app: "));
}

TEST_F(PushEvents, AreNotKept) {
  push(event_push("late", "news"));
  PushReceiver late;
  want_events("late", late);
  want_commands("late", late);
  EXPECT_TRUE(late.events().empty());
  EXPECT_TRUE(kept("late").empty());
}

TEST_F(PushEvents, ArriveAsOftenAsTheyArePushed) {
  push(event_push("app", "news"));
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), (Names{"news", "news"}));
}

TEST_F(PushEvents, DoNotCareForTheDeviceTheyAreFor) {
  push(R"({"app_fields": {"connect_target": {"app_id": "app", "device_id": "not this one"},
           "event": "news", "event_params": {}}})");
  EXPECT_EQ(only(receiver.events()).device_id, "not this one");
}

TEST_F(PushEvents, WithoutATargetReachNobody) {
  push(R"({"app_fields": {"event": "news", "timestamp": 1, "event_params": {}}})");
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(said(16, L"destination app: "));
}

TEST_F(PushEvents, WithEmptyParametersArriveWithAnEmptyObject) {
  push(event_push("app", "news"));
  EXPECT_EQ(json::parse(only(receiver.events()).params), json::object());
}

TEST_F(PushEvents, CarryTextsInUtf8) {
  push(event_push("app", "n\xc3\xa9ws", {{"k", "\xe4\xb8\xad"}}));
  EXPECT_EQ(only(receiver.events()).name, "n\xc3\xa9ws");
  EXPECT_EQ(json::parse(only(receiver.events()).params), (json{{"k", "\xe4\xb8\xad"}}));
}

TEST_F(PushEvents, CarryLongTexts) {
  const std::string name(100'000, 'n');
  const std::string value(1'000'000, 'v');
  push(event_push("app", name, {{"k", value}}));
  EXPECT_EQ(only(receiver.events()).name, name);
  EXPECT_EQ(json::parse(only(receiver.events()).params), (json{{"k", value}}));
}

TEST_F(PushEvents, AreNothingToTheCloud) {
  const auto before = client.calls().size();
  push(event_push("app", "news"));
  EXPECT_EQ(client.calls().size(), before);
  EXPECT_EQ(requests.count(), 0u);
}

}  // namespace
