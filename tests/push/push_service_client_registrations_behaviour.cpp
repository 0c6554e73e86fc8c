#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::PushInbox;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

class PushClientRegistrations : public support::PushClientTest {
 protected:
  PushInbox inbox;
  PushInbox other;
};

BusFields register_fields(const char* app_id, int topic) {
  return {{"module", "push"},        {"method", "push_register"},
          {"source_app_id", app_id}, {"source_device_id", ""},
          {"source_token", ""},      {"dest_app_id", ""},
          {"dest_device_id", ""},    {"topic", topic}};
}

BusFields unregister_fields(const char* app_id, int topic) {
  return {{"module", "push"},
          {"method", "push_unregister"},
          {"source_app_id", app_id},
          {"source_device_id", "dev"},
          {"source_token", "tok"},
          {"dest_app_id", "dest app"},
          {"dest_device_id", "dest dev"},
          {"topic", topic}};
}

TEST_F(PushClientRegistrations, StartListeningForTheServerBeforeAnythingElse) {
  bus.forget_calls();
  register_events("app", inbox);
  EXPECT_EQ(bus.calls(),
            (Calls{"GetChannel connect.events", "Subscribe connect.events",
                   "SetCallback connect.events", "AddListener connect.events push_client"}));
  bus.forget_calls();
  register_commands("app", inbox);
  EXPECT_TRUE(bus.calls().empty()) << "once for the object";
}

TEST_F(PushClientRegistrations, OfCommandsStartListeningForTheServerAsWell) {
  register_commands("app", inbox);
  EXPECT_EQ(bus.listeners(), Lines{"connect.events push_client"});
}

TEST_F(PushClientRegistrations, SendNothingWhileTheServerIsAway) {
  register_events("app", inbox);
  register_events("", inbox);
  register_commands("app", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(bus.subscriptions_alive(events), 1U) << "the one for the server's coming";
}

TEST_F(PushClientRegistrations, OfANewApplicationAreLogged) {
  register_events("app", inbox);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::register_push_events_callback",
                L"new app_id app needs to be sent to server");
  register_commands("app", inbox);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::register_push_commands_callback",
                L"new app_id app needs to be sent to server");
  log.clear();
  register_events("app", other);
  register_commands("app", other);
  register_events("", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(log.texts().empty()) << "known ones aren't";
}

TEST_F(PushClientRegistrations, SubscribeThenRegisterTheDefaultThenTheNewApplication) {
  server_comes();
  register_events("first", inbox);
  bus.forget_calls();
  unregister_events("first", inbox);
  server_goes();
  server_comes();
  bus.forget_calls();
  bus.forget_sent();
  register_events("app", inbox);
  EXPECT_EQ(bus.calls(),
            (Calls{"GetChannel connect.actions", "CreateMessage", "GetChannel connect.events",
                   "Subscribe connect.events", "SetCallback connect.events",
                   "SendAndWait connect.actions 5000", "GetChannel connect.actions",
                   "CreateMessage", "SendAndWait connect.actions 5000"}));
  const auto sent = bus.sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].fields, register_fields("Desktop", 0));
  EXPECT_EQ(sent[1].fields, register_fields("app", 0));
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::initialize_event_handler",
                L"registered to push events server");
}

TEST_F(PushClientRegistrations, OfCommandsGoOutWithTheirOwnTopic) {
  server_comes();
  register_commands("app", inbox);
  const auto sent = bus.sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].fields, register_fields("Desktop", 1));
  EXPECT_EQ(sent[1].fields, register_fields("app", 1));
  EXPECT_TRUE(sent[0].waited && sent[1].waited);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::initialize_command_handler",
                L"registered to push commands server");
}

TEST_F(PushClientRegistrations, OfASecondCallbackSendNothing) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_sent();
  register_events("app", other);
  register_commands("app", other);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientRegistrations, OfEventsAndOfCommandsAreApart) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
}

TEST_F(PushClientRegistrations, UnderAnEmptyIdentifierSendTheDefaultWithTheSubscriptionAlone) {
  server_comes();
  register_events("", inbox);
  register_commands("", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "1 Desktop"}));
  bus.forget_sent();
  register_events("", other);
  register_commands("", other);
  EXPECT_TRUE(bus.sent().empty()) << "the handles are there";
}

TEST_F(PushClientRegistrations, UnderTheDefaultsOwnNameCountAsNew) {
  server_comes();
  register_events("Desktop", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 Desktop"}));
}

TEST_F(PushClientRegistrations, KeepTheirCallbackIfTheServerRefuses) {
  server_comes();
  bus.answer_err(31);
  register_events("app", inbox);
  register_commands("app", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_EQ(log.count(16, L"cloud::push::push_service_client::initialize_event_handler",
                      L"registered to push events server"),
            0U);
  EXPECT_EQ(log.count(16, L"cloud::push::push_service_client::initialize_command_handler",
                      L"registered to push commands server"),
            0U);

  bus.answer_err(0);
  bus.forget_sent();
  client->refresh_listeners();
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
  bus.deliver(events, event("hello", "app"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientRegistrations, SurviveAnAnswerThatNeverComes) {
  server_comes();
  bus.answer({258, std::nullopt});
  register_events("app", inbox);
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  bus.forget_sent();
  bus.answer_err(0);
  register_events("other", other);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 other"})) << "the next one tries again";
}

TEST_F(PushClientRegistrations, TakeNothingButTheApplicationFromTheSource) {
  server_comes();
  client->register_push_events_callback(&PushInbox::on_event, &inbox,
                                        {"app", "my device", "my token"}, {"d", "a"});
  for (const auto& message : bus.sent("push_register")) {
    EXPECT_EQ(message.text("source_device_id") + message.text("source_token"), "");
    EXPECT_EQ(message.text("dest_app_id") + message.text("dest_device_id"), "");
  }
}

TEST_F(PushClientRegistrations, WorkWithoutAProductToo) {
  product.probe->set_string(44, L"");
  server_comes();
  register_events("", inbox);
  bus.deliver(events, event("hello", ""));
  EXPECT_TRUE(inbox.gets(1));
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "");
}

TEST_F(PushClientRegistrations, TwiceOfTheSameCallbackFireTwice) {
  server_comes();
  register_events("app", inbox);
  register_events("app", inbox);
  register_commands("app", other);
  register_commands("app", other);
  bus.deliver(events, event("hello", "app"));
  bus.deliver(events, command("id", "app"));
  EXPECT_TRUE(inbox.gets(2));
  EXPECT_TRUE(other.gets(2));
  EXPECT_EQ(inbox.lines(), (Lines{event_line("hello", "app"), event_line("hello", "app")}));
}

// Ends of registrations.

TEST_F(PushClientRegistrations, EndOfTheLastCallbackTellsTheServer) {
  register_events("app", inbox);
  register_events("app", other);
  unregister_events("app", inbox);
  EXPECT_TRUE(bus.sent().empty()) << "one is left";
  unregister_events("app", other);
  EXPECT_EQ(bus.last_sent().fields, unregister_fields("app", 0));
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_EQ(bus.last_sent().channel, actions);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::unregister_push_events_callback",
                L"unregistered from push events for app_id app");
}

TEST_F(PushClientRegistrations, EndOfTheLastCommandCallbackTellsTheServer) {
  register_commands("app", inbox);
  register_commands("app", other);
  unregister_commands("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
  unregister_commands("app", other);
  EXPECT_EQ(bus.last_sent().fields, unregister_fields("app", 1));
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::unregister_push_commands_callback",
                L"unregistered from push commands for app_id app");
}

TEST_F(PushClientRegistrations, EndForAllEqualCallbacksAtOnce) {
  register_events("app", inbox);
  register_events("app", inbox);
  unregister_events("app", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U);
  log.clear();
  unregister_events("app", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U) << "there is nothing left to end";
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushClientRegistrations, EndOnlyForTheSameCallbackAndContext) {
  server_comes();
  register_events("app", inbox);
  unregister_events("app", other);
  client->unregister_push_events_callback([](const auto&, void*) {}, &inbox, app("app"), {});
  unregister_commands("app", inbox);
  unregister_events("unknown", inbox);
  EXPECT_TRUE(bus.sent("push_unregister").empty());
  bus.deliver(events, event("hello", "app"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientRegistrations, ThatComeAgainAreNewAgain) {
  server_comes();
  register_events("app", inbox);
  unregister_events("app", inbox);
  bus.forget_sent();
  register_events("app", inbox);
  EXPECT_EQ(registrations(), Lines{"0 app"});
}

TEST_F(PushClientRegistrations, LeaveTheSubscriptionsWhenTheTablesRunEmpty) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientRegistrations, EndedUnderAnEmptyIdentifierLeaveTheEntryOfTheDefault) {
  register_events("", inbox);
  unregister_events("", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U);
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "Desktop");
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::unregister_push_events_callback",
                L"unregistered from push events for app_id Desktop");
  // The entry is there: under its own name it isn't new, and it ends once more.
  log.clear();
  register_events("Desktop", inbox);
  EXPECT_TRUE(log.texts().empty());
  unregister_events("", inbox);
  unregister_events("", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 3U);
  // By its own name it goes.
  unregister_events("Desktop", inbox);
  unregister_events("Desktop", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 4U);
}

TEST_F(PushClientRegistrations, OfCommandsEndedUnderAnEmptyIdentifierLeaveTheEntryToo) {
  register_commands("", inbox);
  unregister_commands("", inbox);
  EXPECT_EQ(bus.last_sent().text("source_app_id"), "Desktop");
  log.clear();
  register_commands("Desktop", inbox);
  EXPECT_TRUE(log.texts().empty());
  unregister_commands("Desktop", inbox);
  register_commands("Desktop", inbox);
  EXPECT_EQ(log.texts().back(), L"new app_id Desktop needs to be sent to server");
}

TEST_F(PushClientRegistrations, EndByTheWayOfTheBusEvenWhileTheServerIsAway) {
  server_comes();
  register_events("app", inbox);
  server_goes();
  unregister_events("app", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U);
}

}  // namespace
