// Who gets into the tables of the push service, and in whose name.

#include <gtest/gtest.h>

#include <string>

#include "support/PushServiceTest.h"

namespace {

using support::command_push;
using support::event_push;
using support::push_source;
using support::PushReceiver;

class PushRegistrations : public support::PushServiceTest {
 protected:
  void know_nobody() {
    auth.result = 232;
    renew();
  }

  PushReceiver receiver;
  PushReceiver other;
};

TEST_F(PushRegistrations, AsksTheProviderOnceAndNeverAgain) {
  EXPECT_EQ(auth.asked, 1);
  want_events("app", receiver);
  want_commands("app", receiver);
  network_up();
  service->refresh_push_listeners(push_source("", "d", "t"));
  EXPECT_EQ(auth.asked, 1);
}

TEST_F(PushRegistrations, DoesNotAskTheProviderAgainWhenItKnewNobody) {
  know_nobody();
  const int asked = auth.asked;
  auth.result = 0;
  EXPECT_EQ(want_events("app", receiver), 13u);
  EXPECT_EQ(auth.asked, asked);
}

TEST_F(PushRegistrations, ServiceIsMadeWithoutAKnownUserAndSaysNothingOfIt) {
  service.reset();
  auth.result = 232;
  log.clear();
  service.emplace(client.table(), client.shared_instance(), &requests, &auth);
  EXPECT_EQ(times_said(4, L"No auth data"), 0u);
  EXPECT_EQ(client.calls().size(), 0u);
}

TEST_F(PushRegistrations, EventsWithoutAKnownUserAreInvalidData) {
  know_nobody();
  EXPECT_EQ(want_events("app", receiver), 13u);
  EXPECT_TRUE(said(4, L"No auth data"));
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
}

TEST_F(PushRegistrations, CommandsWithoutAKnownUserAreInvalidData) {
  know_nobody();
  EXPECT_EQ(want_commands("app", receiver), 13u);
  EXPECT_TRUE(said(4, L"No auth data"));
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
}

TEST_F(PushRegistrations, RefusedCallbackIsInNoTable) {
  know_nobody();
  EXPECT_EQ(want_events("app", receiver), 13u);
  EXPECT_EQ(want_commands("app", receiver), 13u);
  push(event_push("app", "news"));
  push(command_push("app", "do", "1"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(receiver.commands().empty());
  network_up();
  EXPECT_TRUE(told().empty());
}

TEST_F(PushRegistrations, KnownDeviceAloneIsNotEnough) {
  auth.known = {"device", ""};
  renew();
  EXPECT_EQ(want_events("app", receiver), 13u);
  EXPECT_EQ(want_commands("app", receiver), 13u);
}

TEST_F(PushRegistrations, KnownUserAloneIsNotEnough) {
  auth.known = {"", "token"};
  renew();
  EXPECT_EQ(want_events("app", receiver), 13u);
  EXPECT_EQ(want_commands("app", receiver), 13u);
}

TEST_F(PushRegistrations, CallerWhoNamesDeviceAndUserNeedsNobodyKnown) {
  know_nobody();
  EXPECT_EQ(want_events(push_source("app", "d", "t"), receiver), 0u);
  EXPECT_EQ(want_commands(push_source("app", "d", "t"), receiver), 0u);
  EXPECT_EQ(times_said(4, L"No auth data"), 0u);
}

TEST_F(PushRegistrations, HalfAnIdentityOfTheCallerIsNoneWhenNobodyIsKnown) {
  know_nobody();
  EXPECT_EQ(want_events(push_source("app", "d", ""), receiver), 13u);
  EXPECT_EQ(want_events(push_source("app", "", "t"), receiver), 13u);
}

TEST_F(PushRegistrations, HalfAnIdentityIsReplacedByTheWholeKnownOne) {
  take_probe_away();
  network_up();
  forget();
  EXPECT_EQ(want_events(push_source("with-device", "d", ""), receiver), 0u);
  EXPECT_EQ(want_events(push_source("with-token", "", "t"), receiver), 0u);
  ASSERT_EQ(told().size(), 2u);
  for (const auto& each : told()) {
    EXPECT_EQ(each.source_device_id, "device");
    EXPECT_EQ(each.source_user_token, "token");
  }
}

TEST_F(PushRegistrations, WholeIdentityOfTheCallerIsKept) {
  take_probe_away();
  network_up();
  forget();
  EXPECT_EQ(want_events(push_source("app", "d", "t"), receiver), 0u);
  ASSERT_EQ(told().size(), 1u);
  EXPECT_EQ(told()[0].source_device_id, "d");
  EXPECT_EQ(told()[0].source_user_token, "t");
  EXPECT_EQ(told()[0].source_app_id, "app");
}

TEST_F(PushRegistrations, EmptyApplicationIsTheProductsDefault) {
  EXPECT_EQ(want_events("", receiver), 0u);
  EXPECT_TRUE(said(16, L"Topic registered for Desktop"));
  push(event_push("Desktop", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  network_up();
  EXPECT_EQ(told_apps(), Names{"Desktop"});
  EXPECT_EQ(told().at(0).source_app_id, "Desktop");
}

TEST_F(PushRegistrations, EmptyApplicationOfAWholeIdentityIsTheProductsDefaultToo) {
  network_up();
  forget();
  EXPECT_EQ(want_events(push_source("", "d", "t"), receiver), 0u);
  ASSERT_EQ(told_apps(), Names{"Desktop"});
  EXPECT_EQ(told()[0].source_app_id, "Desktop");
  EXPECT_EQ(told()[0].source_device_id, "d");
  push(event_push("Desktop", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushRegistrations, ProductMayNameAnotherDefault) {
  product.probe->set_string(support::ProductInfoFolder::app_id, L"Tabl\u00e9t");
  EXPECT_EQ(want_commands("", receiver), 0u);
  push(command_push("Tabl\xc3\xa9t", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushRegistrations, NoApplicationAtAllIsInvalidData) {
  product.probe->set_string(support::ProductInfoFolder::app_id, L"");
  EXPECT_EQ(want_events("", receiver), 13u);
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
  EXPECT_EQ(want_commands("", receiver), 13u);
  EXPECT_EQ(want_commands(push_source("", "d", "t"), receiver), 13u) << "whoever sends";
  EXPECT_EQ(times_said(4, L"No auth data"), 3u);
}

TEST_F(PushRegistrations, ProductIsNotAskedForAnApplicationThatIsNamed) {
  const auto before = product.probe->steps().size();
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(product.probe->steps().size(), before);
}

TEST_F(PushRegistrations, FirstCallbackOfAnApplicationIsSaidToBeRegistered) {
  take_probe_away();
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 1u);
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 0u);
}

TEST_F(PushRegistrations, FurtherCallbackOfAnApplicationIsSaidToBeThereAlready) {
  take_probe_away();
  want_events("app", receiver);
  log.clear();
  EXPECT_EQ(want_events("app", other), 0u);
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 1u);
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 0u);
}

TEST_F(PushRegistrations, SameEventCallbackTwiceIsOneEntry) {
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_TRUE(said(16, L"Topic already registered for app"));
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  leave_events("app", receiver);
  push(event_push("app", "more"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushRegistrations, SameCommandCallbackTwiceIsOneEntry) {
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_TRUE(said(16, L"Topic already registered for app"));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushRegistrations, SameFunctionWithAnotherContextIsAnotherEntry) {
  want_events("app", receiver);
  want_events("app", other);
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(other.event_names(), Names{"news"});
}

TEST_F(PushRegistrations, SameContextWithAnotherFunctionIsAnotherEntry) {
  const cloud::push::event_callback second = [](const cloud::push::event_info&, void* context) {
    PushReceiver::on_event({"second", "", "", "", 0}, context);
  };
  want_events("app", receiver);
  EXPECT_EQ(service->register_push_events_callback(second, &receiver, push_source("app"), {}), 0u);
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), (Names{"news", "second"}));
}

TEST_F(PushRegistrations, LateCommandCallbackGetsWhatIsKeptWithinTheCall) {
  want_commands("app", other);
  push(command_push("app", "do", "1", {{"a", 1}}, 7));
  push(command_push("app", "do", "2"));
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(receiver.command_names(), (Names{"do 1", "do 2"}));
  EXPECT_EQ(receiver.commands().at(0).timestamp, 7);
  EXPECT_TRUE(said(16, L"Topic already registered for app"));
}

TEST_F(PushRegistrations, LateCommandCallbackIsNotReplayedToTheOthers) {
  want_commands("app", other);
  push(command_push("app", "do", "1"));
  want_commands("app", receiver);
  EXPECT_EQ(other.command_names(), Names{"do 1"});
}

TEST_F(PushRegistrations, KnownCommandCallbackGetsNothingAgain) {
  want_commands("app", other);
  push(command_push("app", "do", "1"));
  want_commands("app", receiver);
  receiver.forget();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushRegistrations, LateCommandCallbackGetsNothingOfOtherApplications) {
  want_commands("app", other);
  push(command_push("elsewhere", "do", "1"));
  want_commands("app", receiver);
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushRegistrations, LateCommandCallbackOfTheDefaultApplicationGetsWhatIsKeptForIt) {
  want_commands("", other);
  push(command_push("Desktop", "do", "1"));
  want_commands("", receiver);
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushRegistrations, FirstCommandCallbackOfAnApplicationWaitsForTheListing) {
  push(command_push("app", "do", "1"));
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushRegistrations, CommandsOfAnApplicationKnownForEventsAreSaidToBeRegistered) {
  take_probe_away();
  want_events("app", receiver);
  log.clear();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 1u);
}

TEST_F(PushRegistrations, CommandsOfAnApplicationThatTheCloudMustHearOfAreRegisteredWithoutAWord) {
  take_probe_away();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 0u);
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 0u);
}

TEST_F(PushRegistrations, EventsDoNotGoToCommandCallbacksNorCommandsToEventCallbacks) {
  want_events("app", receiver);
  want_commands("app", other);
  push(event_push("app", "news"));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(other.command_names(), Names{"do 1"});
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_TRUE(other.events().empty());
}

TEST_F(PushRegistrations, ApplicationsAreToldApartByEveryByte) {
  want_events("app", receiver);
  push(event_push("App", "1"));
  push(event_push("app ", "2"));
  push(event_push("ap", "3"));
  EXPECT_TRUE(receiver.events().empty());
}

}  // namespace
