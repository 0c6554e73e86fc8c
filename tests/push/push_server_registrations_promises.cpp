// What clients get from the server for what they ask, and what the push service hears of it.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "push/PushServiceServerTest.h"

namespace {

using support::BusFields;

constexpr const wchar_t* registering = L"push register";
constexpr const wchar_t* unregistering = L"push unregister";

class PushServerRegistrations : public PushServiceServerTest {
 protected:
  PushServerRegistrations() { start(); }

  static BusFields reply_to(const char* method, const char* app_id, int err) {
    BusFields fields = action(method, app_id);
    fields.insert(fields.begin(), {{"module", "connect_requests"}, {"err", err}});
    return fields;
  }
  /// Every write of the reply, in order.
  BusFields answer_to(const char* method, const char* app_id, BusFields more) {
    BusFields fields = action(method, app_id);
    fields.insert(fields.end(), more.begin(), more.end());
    return bus.deliver("connect.actions", fields).value_or(BusFields{});
  }
  static cloud::push::command_info stored(const char* id) {
    return {"app", "wipe", id, R"({"b":2})", std::int64_t{1} << 40};
  }
};

TEST_F(PushServerRegistrations, FirstForEventsGoesToTheService) {
  EXPECT_EQ(ask_register("app", 0), 0);
  expect_call(only_call(), "register_push_events_callback", "app");
  EXPECT_NE(only_call().event_callback, nullptr);
  EXPECT_LOGGED(log, 16, registering, L"topic: 0 registered: 1");
  EXPECT_TRUE(log.traced(registering));
}

TEST_F(PushServerRegistrations, FirstForCommandsGoesToTheService) {
  EXPECT_EQ(ask_register("app", 1), 0);
  expect_call(only_call(), "register_push_commands_callback", "app");
  EXPECT_NE(only_call().command_callback, nullptr);
  EXPECT_EQ(log.count(16, registering, L"topic: 1 registered: 1"), 1U);
}

TEST_F(PushServerRegistrations, ReplyEchoesTheAddressesAndNothingElse) {
  EXPECT_EQ(answer_to("push_register", "app", {{"topic", 0}}), reply_to("push_register", "app", 0));
  EXPECT_EQ(answer_to("push_unregister", "app", {{"topic", 0}}),
            reply_to("push_unregister", "app", 0));
  EXPECT_EQ(answer_to("push_command_done", "app", {{"id", "7"}, {"status", "ok"}}),
            reply_to("push_command_done", "app", 0));
  EXPECT_EQ(answer_to("push_register", "app", {{"topic", 5}}),
            reply_to("push_register", "app", 87));
  EXPECT_EQ(answer_to("push_register", "", {{"topic", 0}}), reply_to("push_register", "", 13));
  EXPECT_EQ(answer_to("push_unregister", "", {{"topic", 0}}), reply_to("push_unregister", "", 0));
}

TEST_F(PushServerRegistrations, MessagesOfOtherKindsGetNoReply) {
  BusFields stray = action("push_register", "app");
  stray[0] = {"module", "push2"};
  EXPECT_FALSE(bus.deliver("connect.actions", stray).has_value());
  EXPECT_FALSE(bus.deliver("connect.actions", action("push_nothing", "app")).has_value());
  EXPECT_FALSE(bus.deliver("connect.actions", {{"method", "push_register"}}).has_value());
  EXPECT_TRUE(service.calls().empty());
}

TEST_F(PushServerRegistrations, SecondForEventsIsOnlyCounted) {
  EXPECT_EQ(ask_register("app", 0), 0);
  service.forget_calls();
  service.set_result(5);
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(log.count(16, registering, L"topic: 0 registered: 2"), 1U);
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(log.count(16, registering, L"topic: 0 registered: 3"), 1U);
}

TEST_F(PushServerRegistrations, SecondForCommandsPublishesAllStoredCommandsAgain) {
  EXPECT_EQ(ask_register("app", 1), 0);
  service.forget_calls();
  bus.forget_sent();
  service.set_result(5);
  service.set_offline_commands({stored("1"), stored("2")});
  EXPECT_EQ(ask_register("app", 1), 0);
  const PushCall call = only_call();
  expect_sender(call, "send_offline_commands", "app");
  EXPECT_EQ(call.context, server.get());
  EXPECT_EQ(log.count(16, registering, L"topic: 1 registered: 2"), 1U);
  ASSERT_EQ(bus.sent().size(), 2U);
  EXPECT_EQ(bus.sent()[0].channel, "connect.events");
  EXPECT_EQ(bus.sent()[0].fields, (BusFields{{"module", "push"},
                                             {"method", "on_push_command"},
                                             {"name", "wipe"},
                                             {"timestamp", std::int64_t{1} << 40},
                                             {"id", "1"},
                                             {"params", R"({"b":2})"},
                                             {"destination_app_id", "app"}}));
  EXPECT_EQ(bus.sent()[1].text("id"), "2");
}

TEST_F(PushServerRegistrations, FirstForCommandsAsksForNoStoredOnes) {
  service.set_offline_commands({stored("1")});
  EXPECT_EQ(ask_register("app", 1), 0);
  EXPECT_EQ(service.count("send_offline_commands"), 0U);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushServerRegistrations, EveryFurtherClientCausesTheReplay) {
  for (int i = 0; i != 4; ++i) EXPECT_EQ(ask_register("app", 1), 0);
  EXPECT_EQ(operations(), (Calls{"register_push_commands_callback", "send_offline_commands",
                                 "send_offline_commands", "send_offline_commands"}));
}

TEST_F(PushServerRegistrations, ApplicationsAndTopicsAreCountedApart) {
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(ask_register("app", 1), 0);
  EXPECT_EQ(ask_register("ap", 0), 0);
  EXPECT_EQ(ask_register("app2", 0), 0);
  EXPECT_EQ(ask_register("App", 0), 0);
  EXPECT_EQ(service.calls().size(), 5U);
  EXPECT_EQ(log.count(16, registering, L"topic: 0 registered: 1"), 4U);
  EXPECT_EQ(log.count(16, registering, L"topic: 1 registered: 1"), 1U);
}

TEST_F(PushServerRegistrations, EmptyApplicationIsRefusedWith13) {
  EXPECT_EQ(ask_register("", 0), 13);
  EXPECT_EQ(ask_register("", 1), 13);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
  // Not even counted.
  EXPECT_EQ(ask_register("Product", 0), 0);
  EXPECT_EQ(service.calls().size(), 1U);
}

TEST_F(PushServerRegistrations, UnknownTopicIsRefusedWith87BeforeTheApplicationIsLookedAt) {
  for (const std::int32_t topic : {2, 3, -1, 100, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(ask_register("app", topic), 87) << topic;
    EXPECT_EQ(ask_register("", topic), 87) << topic;
  }
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerRegistrations, MissingTopicIsWhateverTheBusMakesOfIt) {
  EXPECT_EQ(ask("push_register", "app", {}), 0);
  EXPECT_EQ(only_call().operation, "register_push_events_callback");
  service.forget_calls();
  bus.set_absent_number(1);
  EXPECT_EQ(ask("push_register", "app", {}), 0);
  EXPECT_EQ(only_call().operation, "register_push_commands_callback");
  bus.set_absent_number(-1);
  EXPECT_EQ(ask("push_register", "app", {}), 87);
}

TEST_F(PushServerRegistrations, RefusalOfTheServiceIsAnsweredAndCountedBack) {
  for (const std::int32_t topic : {0, 1}) {
    service.set_result(1011);
    EXPECT_EQ(ask_register("app", topic), 1011);
    const std::wstring line = L"topic: " + std::to_wstring(topic) + L" registered: ";
    EXPECT_EQ(log.count(16, registering, line + L"1"), 1U);
    EXPECT_EQ(log.count(16, registering, line + L"0"), 1U);
    EXPECT_EQ(ask_register("app", topic), 1011) << "asked anew";
    service.set_result(0);
    EXPECT_EQ(ask_register("app", topic), 0);
    EXPECT_EQ(ask_register("app", topic), 0);
  }
  EXPECT_EQ(service.count("register_push_events_callback"), 3U);
  EXPECT_EQ(service.count("register_push_commands_callback"), 3U);
  EXPECT_EQ(service.count("send_offline_commands"), 1U);
  EXPECT_EQ(service.count("unregister_push_events_callback"), 0U);
  EXPECT_EQ(service.count("unregister_push_commands_callback"), 0U);
}

TEST_F(PushServerRegistrations, RefusedFirstLeavesNoEntryToUnregister) {
  service.set_result(31);
  EXPECT_EQ(ask_register("app", 0), 31);
  service.forget_calls();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
}

TEST_F(PushServerRegistrations, OnlyTheLastUnregistrationGoesToTheService) {
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(ask_register("app", 0), 0);
  const auto registered = service.calls().front().event_callback;
  service.forget_calls();
  log.clear();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(log.count(16, unregistering, L"topic: 0 registered: 1"), 1U);
  EXPECT_EQ(ask_unregister("app", 0), 0);
  expect_call(only_call(), "unregister_push_events_callback", "app");
  EXPECT_EQ(only_call().event_callback, registered);
  EXPECT_EQ(log.count(16, unregistering, L"topic: 0 registered: 0"), 1U);
  EXPECT_TRUE(log.traced(unregistering));
  service.forget_calls();
  log.clear();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty()) << "there is nothing left to count";
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerRegistrations, CommandsAreUnregisteredWithTheirOwnFunction) {
  EXPECT_EQ(ask_register("app", 1), 0);
  const auto registered = only_call().command_callback;
  service.forget_calls();
  EXPECT_EQ(ask_unregister("app", 1), 0);
  expect_call(only_call(), "unregister_push_commands_callback", "app");
  EXPECT_EQ(only_call().command_callback, registered);
}

TEST_F(PushServerRegistrations, ApplicationThatIsGoneIsFirstAgain) {
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(operations(), (Calls{"register_push_events_callback", "unregister_push_events_callback",
                                 "register_push_events_callback"}));
}

TEST_F(PushServerRegistrations, UnregisteringWhatNobodyRegisteredDoesNothing) {
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_EQ(ask_unregister("app", 1), 0);
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(ask_unregister("app", 1), 0);
  EXPECT_EQ(ask_unregister("other", 0), 0);
  EXPECT_EQ(operations(), Calls{"register_push_events_callback"});
  EXPECT_EQ(log.texts().size(), 1U);
}

TEST_F(PushServerRegistrations, UnregisteringAnUnknownTopicFindsNothing) {
  EXPECT_EQ(ask_register("app", 1), 0);
  service.forget_calls();
  log.clear();
  EXPECT_EQ(ask_unregister("app", 2), 0);
  EXPECT_EQ(ask_unregister("app", -1), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerRegistrations, UnregisteringAnEmptyApplicationWorksOnTheDefault) {
  EXPECT_EQ(ask_register("Product", 0), 0);
  service.forget_calls();
  EXPECT_EQ(ask_unregister("", 0), 0);
  expect_call(only_call(), "unregister_push_events_callback", "");
  service.forget_calls();
  EXPECT_EQ(ask_register("Product", 0), 0);
  EXPECT_EQ(only_call().operation, "register_push_events_callback") << "its entry was the one";
}

TEST_F(PushServerRegistrations, CompletionGoesToTheServiceWhoeverSendsIt) {
  EXPECT_EQ(ask("push_command_done", "app", {{"id", "7 a"}, {"status", "d\xc3\xb6ne"}}), 0);
  const PushCall call = only_call();
  expect_sender(call, "set_command_done", "app");
  EXPECT_EQ(call.id, "7 a");
  EXPECT_EQ(call.status, "d\xc3\xb6ne");
  EXPECT_EQ(call.dest_app_id, "other app");
  EXPECT_EQ(call.dest_device_id, "other device");
  EXPECT_TRUE(log.traced(L"push command done"));
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerRegistrations, CompletionWithoutIdAndStatusGoesThroughAsEmptyTexts) {
  EXPECT_EQ(ask("push_command_done", "", {}), 0);
  EXPECT_EQ(only_call().operation, "set_command_done");
  EXPECT_EQ(only_call().id, "");
  EXPECT_EQ(only_call().status, "");
  EXPECT_EQ(only_call().app_id, "");
}

TEST_F(PushServerRegistrations, MissingAddressesAreEmptyOnes) {
  const auto reply = bus.deliver("connect.actions",
                                 {{"module", "push"}, {"method", "push_register"}, {"topic", 0}});
  ASSERT_TRUE(reply.has_value());
  EXPECT_EQ(*reply, (BusFields{{"module", "connect_requests"},
                               {"err", 13},
                               {"module", "push"},
                               {"method", "push_register"},
                               {"source_app_id", ""},
                               {"source_device_id", ""},
                               {"source_token", ""},
                               {"dest_app_id", ""},
                               {"dest_device_id", ""}}));
}

}  // namespace
