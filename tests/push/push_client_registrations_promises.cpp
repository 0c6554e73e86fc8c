// What applications ask of a client, and what goes out to the server.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::PushInbox;
using Lines = std::vector<std::string>;

constexpr const wchar_t* app_is_new = L"new app_id app needs to be sent to server";
constexpr const wchar_t* for_events =
    L"cloud::push::push_service_client::register_push_events_callback";
constexpr const wchar_t* for_commands =
    L"cloud::push::push_service_client::register_push_commands_callback";

class PushClientRegistrations : public support::PushClientTest {
 protected:
  PushInbox inbox;
};

TEST_F(PushClientRegistrations, FirstOneAnnouncesThePushClient) {
  bus.forget_calls();
  register_events("app", inbox);
  EXPECT_EQ(deeds(bus.calls()), (Lines{"Subscribe connect.events", "SetCallback connect.events",
                                       "AddListener connect.events push_client"}));
}

TEST_F(PushClientRegistrations, FirstOneForCommandsDoesSoToo) {
  bus.forget_calls();
  register_commands("app", inbox);
  EXPECT_EQ(deeds(bus.calls()), (Lines{"Subscribe connect.events", "SetCallback connect.events",
                                       "AddListener connect.events push_client"}));
}

TEST_F(PushClientRegistrations, PushClientIsAnnouncedOnce) {
  register_events("app", inbox);
  bus.forget_calls();
  register_commands("app", inbox);
  register_events("other", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_EQ(bus.listeners(), Lines{"connect.events push_client"});
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
}

TEST_F(PushClientRegistrations, ManagementThatFailedIsNotTriedAgain) {
  bus.refuse_channel(events);
  register_events("app", inbox);
  EXPECT_LOGGED(log, 4, L"cloud::comm::start_receiving_management_events",
                L"could not get channel");
  bus.refuse_channel(events, false);
  register_events("other", inbox);
  register_commands("app", inbox);
  EXPECT_EQ(bus.count("AddListener connect.events push_client"), 0U);
}

TEST_F(PushClientRegistrations, OtherOperationsAnnounceNothing) {
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  complete("id");
  pending();
  server_comes();
  server_goes();
  EXPECT_EQ(bus.calls(), Lines{"AddObserver"});
}

TEST_F(PushClientRegistrations, StayHereWhileTheServerIsAway) {
  register_events("app", inbox);
  register_events("", inbox);
  register_commands("app", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
}

TEST_F(PushClientRegistrations, NewApplicationIsToldEvenWhileTheServerIsAway) {
  for (int i = 0; i != 2; ++i) register_events("app", inbox);
  EXPECT_EQ(log.count(16, for_events, app_is_new), 1U);
  for (int i = 0; i != 2; ++i) register_commands("app", inbox);
  EXPECT_EQ(log.count(16, for_commands, app_is_new), 1U);
  EXPECT_EQ(log.texts().size(), 2U) << "once for each, when it is new";
}

TEST_F(PushClientRegistrations, DefaultApplicationIsNeverToldAsNewWhenItIsMeantByAnEmptyName) {
  register_events("", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(log.lines(16).empty());
}

TEST_F(PushClientRegistrations, ForEventsSubscribeBeforeTheDefaultApplicationIsSent) {
  server_comes();
  forget();
  register_events("app", inbox);
  EXPECT_EQ(deeds(bus.calls()),
            (Lines{"Subscribe connect.events", "SetCallback connect.events",
                   "AddListener connect.events push_client", "Subscribe connect.events",
                   "SetCallback connect.events", "SendAndWait connect.actions 5000",
                   "SendAndWait connect.actions 5000"}));
  const auto sent = bus.sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].channel, actions);
  EXPECT_EQ(sent[0].fields, registration("Desktop", 0));
  EXPECT_EQ(sent[1].channel, actions);
  EXPECT_EQ(sent[1].fields, registration("app", 0));
  EXPECT_EQ(log.count(16, L"cloud::push::push_service_client::initialize_event_handler",
                      L"registered to push events server"),
            1U);
  EXPECT_EQ(times_said(log, 16, L"registered to push commands server"), 0U);
}

TEST_F(PushClientRegistrations, ForCommandsDoTheSameOnTheirOwn) {
  server_comes();
  register_events("app", inbox);
  forget();
  register_commands("app", inbox);
  EXPECT_EQ(deeds(bus.calls()),
            (Lines{"Subscribe connect.events", "SetCallback connect.events",
                   "SendAndWait connect.actions 5000", "SendAndWait connect.actions 5000"}));
  const auto sent = bus.sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].fields, registration("Desktop", 1));
  EXPECT_EQ(sent[1].fields, registration("app", 1));
  EXPECT_EQ(log.count(16, L"cloud::push::push_service_client::initialize_command_handler",
                      L"registered to push commands server"),
            1U);
  EXPECT_EQ(times_said(log, 16, L"registered to push events server"), 0U);
}

TEST_F(PushClientRegistrations, SecondApplicationIsSentWithoutAnotherSubscription) {
  server_comes();
  register_events("app", inbox);
  forget();
  register_events("other", inbox);
  EXPECT_EQ(deeds(bus.calls()), Lines{"SendAndWait connect.actions 5000"});
  EXPECT_EQ(bus.last_sent().fields, registration("other", 0));
  EXPECT_EQ(times_said(log, 16, L"registered to push events server"), 0U);
}

TEST_F(PushClientRegistrations, SecondCallbackOfAKnownApplicationSendsNoRegistration) {
  server_comes();
  PushInbox second;
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_sent();
  register_events("app", second);
  register_commands("app", second);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientRegistrations, EmptyNameSendsTheDefaultApplicationOnce) {
  server_comes();
  register_events("", inbox);
  EXPECT_EQ(registrations(), Lines{"0 Desktop"});
  register_commands("", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "1 Desktop"}));
}

TEST_F(PushClientRegistrations, EmptyNameSendsNothingOnceTheServerIsSubscribedTo) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_sent();
  register_events("", inbox);
  register_commands("", inbox);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientRegistrations, DefaultApplicationByItsNameIsNewLikeAnyOther) {
  server_comes();
  register_events("Desktop", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 Desktop"}));
  EXPECT_EQ(times_said(log, 16, L"new app_id Desktop needs to be sent to server"), 1U);
}

TEST_F(PushClientRegistrations, EmptyNameMakesTheDefaultApplicationKnown) {
  server_comes();
  register_events("", inbox);
  forget();
  register_events("Desktop", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines(16).empty());
}

TEST_F(PushClientRegistrations, RefusedDefaultLeavesNoSubscriptionAndSendsTheApplicationAnyway) {
  bus.answer_err(5);
  server_comes();
  register_events("app", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);  // the management's
  EXPECT_EQ(times_said(log, 16, L"registered to push events server"), 0U);
}

TEST_F(PushClientRegistrations, TimedOutDefaultLeavesNoSubscription) {
  bus.answer({258, {}});
  server_comes();
  register_commands("app", inbox);
  EXPECT_EQ(registrations(), (Lines{"1 Desktop", "1 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_EQ(times_said(log, 16, L"registered to push commands server"), 0U);
}

TEST_F(PushClientRegistrations, NextOneOfAnyApplicationTriesASubscriptionThatFailed) {
  bus.answer_err(5);
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_EQ(times_said(log, 16, L"registered to push commands server"), 0U);
  bus.answer_err(0);
  forget();
  register_events("app", inbox);
  register_commands("", inbox);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "1 Desktop"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientRegistrations, CallbacksOfAFailedRegistrationStay) {
  bus.answer_err(5);
  server_comes();
  register_events("app", inbox);
  bus.answer_err(0);
  client->refresh_listeners();
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientRegistrations, NothingOfTheSourceButTheApplicationGoesOutNorAnyDestination) {
  server_comes();
  const cloud::push::event_callback callback = &PushInbox::on_event;
  client->register_push_events_callback(callback, &inbox, {"app", "my device", "my token"},
                                        {"their device", "their app"});
  const auto sent = bus.sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].fields, registration("Desktop", 0));
  EXPECT_EQ(sent[1].fields, registration("app", 0));
}

TEST_F(PushClientRegistrations, FindTheProductsNameAnewEachTime) {
  product.probe->set_string(44, L"Renamed");
  server_comes();
  register_events("", inbox);
  EXPECT_EQ(registrations(), Lines{"0 Renamed"});
  bus.deliver(events, event("news", "Renamed"));
  EXPECT_TRUE(inbox.gets(1));
}

}  // namespace
