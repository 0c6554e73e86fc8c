// How callbacks leave the tables of the push service.

#include <gtest/gtest.h>

#include "support/PushServiceTest.h"

namespace {

using support::command_push;
using support::event_push;
using support::push_source;
using support::PushReceiver;

class PushUnregistration : public support::PushServiceTest {
 protected:
  PushUnregistration() { take_probe_away(); }

  PushReceiver receiver;
  PushReceiver other;
};

TEST_F(PushUnregistration, EventCallbackThatLeftIsNotCalled) {
  want_events("app", receiver);
  want_events("app", other);
  leave_events("app", receiver);
  push(event_push("app", "news"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_EQ(other.event_names(), Names{"news"});
}

TEST_F(PushUnregistration, CommandCallbackThatLeftIsNotCalled) {
  want_commands("app", receiver);
  want_commands("app", other);
  leave_commands("app", receiver);
  push(command_push("app", "do", "1"));
  EXPECT_TRUE(receiver.commands().empty());
  EXPECT_EQ(other.command_names(), Names{"do 1"});
}

TEST_F(PushUnregistration, OfEventsLeavesTheCommandsAlone) {
  want_events("app", receiver);
  want_commands("app", receiver);
  leave_events("app", receiver);
  push(event_push("app", "news"));
  push(command_push("app", "do", "1"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushUnregistration, OfCommandsLeavesTheEventsAlone) {
  want_events("app", receiver);
  want_commands("app", receiver);
  leave_commands("app", receiver);
  push(event_push("app", "news"));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushUnregistration, OfOneApplicationLeavesTheOthersAlone) {
  want_events("app", receiver);
  want_events("app2", receiver);
  leave_events("app", receiver);
  push(event_push("app2", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushUnregistration, TakesFunctionAndContextTogether) {
  const cloud::push::event_callback another = [](const cloud::push::event_info&, void*) {};
  want_events("app", receiver);
  service->unregister_push_events_callback(another, &receiver, push_source("app"), {});
  leave_events("app", other);
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushUnregistration, OfAnUnknownEventsApplicationLeavesNoEntryBehind) {
  leave_events("app", receiver);
  network_up();
  EXPECT_EQ(told_apps(), Names{"probed"});
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_TRUE(said(16, L"Topic registered for app")) << "it was there";
}

TEST_F(PushUnregistration, OfAnUnknownCommandsApplicationLeavesNoEntryBehind) {
  network_up();
  leave_commands("app", receiver);
  forget();
  push(command_push("app", "do", "1"));
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 0u);
}

TEST_F(PushUnregistration, OfACallbackThatWasNeverThereLeavesTheEntryThere) {
  network_up();
  want_events("app", receiver);
  want_commands("app", receiver);
  forget();
  leave_events("app", other);
  leave_commands("app", other);
  want_events("app", receiver);
  want_commands("app", receiver);
  EXPECT_TRUE(told().empty());
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 2u);
}

TEST_F(PushUnregistration, OfTheLastEventCallbackHasTheNextOneToldToTheCloudAgain) {
  network_up();
  want_events("app", receiver);
  want_events("app", other);
  leave_events("app", receiver);
  forget();
  want_events("app", receiver);
  EXPECT_TRUE(told().empty()) << "one was still there";
  leave_events("app", receiver);
  leave_events("app", other);
  EXPECT_TRUE(told().empty()) << "nobody tells the cloud of those that leave";
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(told_apps(), Names{"app"});
}

TEST_F(PushUnregistration, OfTheLastCommandCallbackHasTheNextOneToldToTheCloudAgain) {
  network_up();
  want_commands("app", receiver);
  leave_commands("app", receiver);
  forget();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(told_apps(), Names{"app"});
}

TEST_F(PushUnregistration, LeavesTheProbeOfTheFirstApplicationInPlace) {
  network_up();
  forget();
  want_events("probed", receiver);
  leave_events("probed", receiver);
  want_events("probed", receiver);
  EXPECT_TRUE(told().empty());
}

TEST_F(PushUnregistration, TellsTheCloudNothing) {
  network_up();
  want_events("app", receiver);
  want_commands("app", receiver);
  const auto before = client.calls().size();
  leave_events("app", receiver);
  leave_commands("app", receiver);
  EXPECT_EQ(client.calls().size(), before);
}

TEST_F(PushUnregistration, OfTheEmptyApplicationIsOfTheProductsDefault) {
  want_events("Desktop", receiver);
  want_commands("Desktop", receiver);
  leave_events("", receiver);
  leave_commands("", receiver);
  push(event_push("Desktop", "news"));
  push(command_push("Desktop", "do", "1"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(receiver.commands().empty());
}

TEST_F(PushUnregistration, WithoutAnyApplicationSaysSoAndStops) {
  product.probe->set_string(support::ProductInfoFolder::app_id, L"");
  leave_events("", receiver);
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
  leave_commands("", receiver);
  EXPECT_EQ(times_said(4, L"No auth data"), 2u);
}

TEST_F(PushUnregistration, WithoutAKnownUserSaysSoAndChangesNothing) {
  want_events("app", receiver);
  want_commands("app", receiver);
  service->refresh_push_listeners({});
  log.clear();
  leave_events("app", receiver);
  EXPECT_EQ(times_said(4, L"No auth data"), 1u);
  leave_commands("app", receiver);
  EXPECT_EQ(times_said(4, L"No auth data"), 2u);
  push(event_push("app", "news"));
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushUnregistration, WithAWholeIdentityOfItsOwnNeedsNobodyKnown) {
  want_events("app", receiver);
  service->refresh_push_listeners({});
  leave_events(push_source("app", "d", "t"), receiver);
  push(event_push("app", "news"));
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(PushUnregistration, LeavesKeptCommandsWhereTheyAre) {
  want_commands("app", receiver);
  push(command_push("app", "do", "1"));
  leave_commands("app", receiver);
  EXPECT_EQ(kept("app"), Names{"do 1"});
}

}  // namespace
