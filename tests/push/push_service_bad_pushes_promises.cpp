// Pushes that aren't as they should be.

#include <gtest/gtest.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

#include "support/PushServiceTest.h"

namespace {

using nlohmann::json;
using support::command_push;
using support::event_push;
using support::PushReceiver;

class BadPushes : public support::PushServiceTest {
 protected:
  BadPushes() {
    take_probe_away();
    want_events("app", receiver);
    want_commands("app", receiver);
    want_events("", receiver);
    log.clear();
  }
  /// The push text with `app_fields.<key>` replaced, or taken out without a value.
  static std::string with(std::string text, const std::string& key, const std::string& value) {
    json root = json::parse(text);
    if (value.empty()) {
      root["app_fields"].erase(key);
    } else {
      root["app_fields"][key] = json::parse(value);
    }
    return root.dump();
  }
  static std::string with_parameter(std::string text, const std::string& key,
                                    const std::string& value) {
    json root = json::parse(text);
    json& parameters = root["app_fields"]["event_params"];
    if (value.empty()) {
      parameters.erase(key);
    } else {
      parameters[key] = json::parse(value);
    }
    return root.dump();
  }
  /// Nobody hears of it, nothing is kept, no failure is logged, and the next one arrives.
  void expect_dropped(const std::string& text) {
    SCOPED_TRACE(text.substr(0, 200));
    receiver.forget();
    log.clear();
    push(text);
    EXPECT_TRUE(receiver.events().empty());
    EXPECT_TRUE(receiver.commands().empty());
    EXPECT_TRUE(log.nothing_logged(4));
    EXPECT_TRUE(kept("app").empty());
    EXPECT_TRUE(kept("").empty());
    expect_alive();
  }
  void expect_alive() {
    receiver.forget();
    push(event_push("app", "alive"));
    EXPECT_EQ(receiver.event_names(), Names{"alive"});
    receiver.forget();
  }

  const std::string event = event_push("app", "news", {{"a", 1}});
  const std::string command = command_push("app", "do", "1");
  const Names not_objects{"null", "true", "5", "1.5", "\"text\"", "[]", "[{}]"};
  const Names not_texts{"null", "true", "5", "1.5", "{}", "[\"app\"]"};
  PushReceiver receiver;
};

TEST_F(BadPushes, WithoutAContextOrAResponseOrATextAreNothing) {
  std::string text = event;
  const cirrel_response response{nullptr, text.data(), text.size()};
  const cirrel_response without_text{nullptr, nullptr, text.size()};
  push_service::push_event(&response, nullptr);
  push_service::push_event(nullptr, &*service);
  push_service::push_event(&without_text, &*service);
  push_service::push_event(nullptr, nullptr);
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(log.lines().empty());
  expect_alive();
}

TEST_F(BadPushes, AreLoggedAsTheyCameEvenIfTheyDoNotParse) {
  push("not json");
  EXPECT_EQ(times_said(16, L"response: not json"), 1u);
  EXPECT_EQ(log.lines(16).size(), 1u) << "and there it ends";
}

TEST_F(BadPushes, ThatDoNotParseAreDropped) {
  for (const char* text :
       {"", " ", "{", "}", "{]", "nonsense", "{'app_fields': {}}", "{\"a\":}",
        "{\"app_fields\": {\"event\": \"x\", \"event_params\": {}}", "\xef\xbb\xbf"}) {
    expect_dropped(text);
  }
  expect_dropped(event + "x");
  expect_dropped(event + event);
}

TEST_F(BadPushes, WhoseRootIsNoObjectAreDropped) {
  for (const std::string& root : not_objects) expect_dropped(root);
  expect_dropped("[" + event + "]");
}

TEST_F(BadPushes, WithoutFieldsAreDropped) {
  expect_dropped("{}");
  expect_dropped(R"({"event": "news", "event_params": {}})");
  expect_dropped(R"({"App_fields": {"event": "news", "event_params": {}}})");
  EXPECT_EQ(times_said(16, L"destination app: "), 0u);
}

TEST_F(BadPushes, WhoseFieldsAreNoObjectAreDropped) {
  for (const std::string& fields : not_objects) expect_dropped("{\"app_fields\": " + fields + "}");
}

TEST_F(BadPushes, WithoutEventParametersAreDroppedAfterTheirApplicationWasSaid) {
  push(with(event, "event_params", ""));
  EXPECT_TRUE(said(16, L"destination app: app"));
  expect_dropped(with(event, "event_params", ""));
  expect_dropped(with(command, "event_params", ""));
}

TEST_F(BadPushes, WhoseTargetIsNoObjectAreForNoApplication) {
  for (const std::string& target : not_objects) {
    receiver.forget();
    log.clear();
    push(with(event, "connect_target", target));
    EXPECT_TRUE(said(16, L"destination app: ")) << target;
    ASSERT_LE(receiver.events().size(), 1u);
    for (const auto& each : receiver.events()) EXPECT_EQ(each.app_id, "") << target;
  }
  expect_alive();
}

TEST_F(BadPushes, WhoseTargetNamesNoTextAreForNoApplication) {
  for (const std::string& value : not_texts) {
    log.clear();
    push(with(event, "connect_target", "{\"app_id\": " + value + "}"));
    EXPECT_TRUE(said(16, L"destination app: ")) << value;
  }
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(BadPushes, WhoseTargetDeviceIsNoTextArriveWithoutADevice) {
  for (const std::string& value : not_texts) {
    receiver.forget();
    push(with(event, "connect_target", "{\"app_id\": \"app\", \"device_id\": " + value + "}"));
    ASSERT_EQ(receiver.event_names(), Names{"news"}) << value;
    EXPECT_EQ(receiver.events()[0].device_id, "") << value;
  }
}

TEST_F(BadPushes, WithoutAnEventNameAreEventsWithoutAName) {
  push(with(event, "event", ""));
  for (const std::string& value : not_texts) push(with(event, "event", value));
  EXPECT_EQ(receiver.event_names(), Names(7, ""));
  receiver.forget();
  push(with(command, "event", ""));
  EXPECT_EQ(receiver.event_names(), Names{""}) << "which isn't a command's";
  EXPECT_TRUE(kept("app").empty());
}

TEST_F(BadPushes, WithoutATimestampArriveWithNone) {
  push(with(event, "timestamp", ""));
  push(with(command, "timestamp", ""));
  for (const char* value : {"\"5\"", "null", "{}", "[5]", "true"}) {
    push(with(event, "timestamp", value));
  }
  ASSERT_EQ(receiver.events().size(), 6u);
  for (const auto& each : receiver.events()) EXPECT_EQ(each.timestamp, 0);
  ASSERT_EQ(receiver.commands().size(), 1u);
  EXPECT_EQ(receiver.commands()[0].timestamp, 0);
}

TEST_F(BadPushes, WhoseTimestampNoIntegerHoldsAreDropped) {
  const std::string text =
      R"({"app_fields": {"connect_target": {"app_id": "app"}, "event": "news",
          "event_params": {}, "timestamp": 99999999999999999999}})";
  expect_dropped(text);
}

TEST_F(BadPushes, WhoseCommandIdentifierIsNoTextAreDeliveredAndNotKept) {
  for (const std::string& value : not_texts) {
    receiver.forget();
    push(with_parameter(command, "command_id", value));
    EXPECT_EQ(receiver.command_names(), Names{"do "}) << value;
    EXPECT_TRUE(kept("app").empty()) << value;
  }
}

TEST_F(BadPushes, WhoseCommandNameIsNoTextAreKeptWithoutAName) {
  push(with_parameter(command, "command", ""));
  for (const std::string& value : not_texts) push(with_parameter(command, "command", value));
  EXPECT_EQ(receiver.command_names(), Names(7, " 1"));
  EXPECT_EQ(kept("app"), Names{" 1"});
}

TEST_F(BadPushes, WithoutCommandParametersAreDeliveredWithAnEmptyText) {
  push(with_parameter(command, "command_params", ""));
  ASSERT_EQ(receiver.command_names(), Names{"do 1"});
  EXPECT_EQ(receiver.commands()[0].params, "");
}

TEST_F(BadPushes, WhoseCommandParametersAreNoObjectAreDeliveredAllTheSame) {
  for (const std::string& value : not_objects) {
    receiver.forget();
    push(with_parameter(command, "command_params", value));
    EXPECT_EQ(receiver.command_names(), Names{"do 1"}) << value;
  }
}

TEST_F(BadPushes, WhoseEventParametersAreNoObjectHarmNobody) {
  for (const std::string& value : not_objects) {
    push(with(event, "event_params", value));
    push(with(command, "event_params", value));
  }
  EXPECT_TRUE(kept("app").empty());
  expect_alive();
}

TEST_F(BadPushes, EndWhereTheirSizeSaysAndNotAtATerminator) {
  std::string ended = event;
  ended.push_back('\0');
  ended += "and more";
  push(ended, event.size());
  EXPECT_EQ(receiver.event_names(), Names{"news"}) << "what lies beyond the size doesn't count";
  receiver.forget();
  push(ended, ended.size());
  EXPECT_TRUE(receiver.events().empty()) << "what lies within it does";
  expect_alive();
}

TEST_F(BadPushes, CutShortAtAnyByteAreDropped) {
  for (std::size_t size = 0; size < event.size(); ++size) push(event, size);
  EXPECT_TRUE(receiver.events().empty());
  for (std::size_t size = 0; size < command.size(); ++size) push(command, size);
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_TRUE(kept("app").empty());
  expect_alive();
}

TEST_F(BadPushes, OfSizeZeroAreDroppedWhateverTheTextIs) {
  push(event, 0);
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(said(16, L"response: "));
}

TEST_F(BadPushes, ThatAreNoUtf8AreDropped) {
  for (const char* bytes : {"\xff", "\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf8\x88\x80\x80\x80"}) {
    receiver.forget();
    push(R"({"app_fields": {"connect_target": {"app_id": "app"}, "event": ")" + std::string(bytes) +
         R"(", "event_params": {}}})");
    EXPECT_TRUE(receiver.events().empty());
  }
  expect_alive();
}

TEST_F(BadPushes, NestedDeeplyHarmNobody) {
  for (const std::size_t depth : {100u, 2000u, 100'000u}) {
    push(R"({"app_fields": {"connect_target": {"app_id": "app"}, "event": "deep", "event_params":
            {"a": )" +
         std::string(depth, '[') + std::string(depth, ']') + "}}}");
  }
  EXPECT_FALSE(receiver.events().empty()) << "100 levels are fine";
  expect_alive();
}

TEST_F(BadPushes, WithHugeFieldsArrive) {
  const std::string huge(1'000'000, 'h');
  want_commands(huge.c_str(), receiver);
  push(command_push(huge, huge, huge));
  ASSERT_EQ(receiver.commands().size(), 1u);
  EXPECT_EQ(receiver.commands()[0].app_id, huge);
  EXPECT_EQ(receiver.commands()[0].name, huge);
  EXPECT_EQ(receiver.commands()[0].id, huge);
  EXPECT_EQ(kept(huge.c_str()).size(), 1u);
}

TEST_F(BadPushes, WithUnknownFieldsBesideArrive) {
  push(with(with(event, "more", "[1]"), "Event", "\"command\""));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

}  // namespace
