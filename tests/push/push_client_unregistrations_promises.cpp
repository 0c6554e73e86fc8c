// How applications leave a client.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::PushInbox;
using Lines = std::vector<std::string>;

class PushClientUnregistrations : public support::PushClientTest {
 protected:
  static BusFields leave(const char* app_id, int topic) {
    return {{"module", "push"},
            {"method", "push_unregister"},
            {"source_app_id", app_id},
            {"source_device_id", "dev"},
            {"source_token", "tok"},
            {"dest_app_id", "dest app"},
            {"dest_device_id", "dest dev"},
            {"topic", topic}};
  }

  PushInbox inbox;
  PushInbox other;
};

TEST_F(PushClientUnregistrations, LastEventCallbackTakesItsApplicationFromTheServer) {
  server_comes();
  register_events("app", inbox);
  forget();
  unregister_events("app", inbox);
  EXPECT_EQ(deeds(bus.calls()), Lines{"Send connect.actions"});
  ASSERT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(bus.last_sent().fields, leave("app", 0));
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::unregister_push_events_callback",
                L"unregistered from push events for app_id app");
}

TEST_F(PushClientUnregistrations, LastCommandCallbackTakesItsApplicationFromTheServer) {
  server_comes();
  register_commands("app", inbox);
  register_commands("app", other);
  forget();
  unregister_commands("app", inbox);
  EXPECT_TRUE(bus.sent().empty()) << "one is left";
  unregister_commands("app", other);
  EXPECT_EQ(deeds(bus.calls()), Lines{"Send connect.actions"});
  EXPECT_EQ(bus.last_sent().fields, leave("app", 1));
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::unregister_push_commands_callback",
                L"unregistered from push commands for app_id app");
}

TEST_F(PushClientUnregistrations, MessageGoesOutBeforeItIsTold) {
  register_events("app", inbox);
  std::size_t told = 1;
  bus.set_hook([&](const std::string& call) {
    if (call == "Send connect.actions") {
      told = times_said(log, 16, L"unregistered from push events for app_id app");
    }
  });
  unregister_events("app", inbox);
  EXPECT_EQ(told, 0U);
}

TEST_F(PushClientUnregistrations, MessageGoesOutWhileTheServerIsAway) {
  register_events("app", inbox);
  register_commands("app", inbox);
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  ASSERT_EQ(bus.sent("push_unregister").size(), 2U);
  EXPECT_EQ(bus.sent()[0].fields, leave("app", 0));
  EXPECT_EQ(bus.sent()[1].fields, leave("app", 1));
}

TEST_F(PushClientUnregistrations, UnknownApplicationIsPassedOver) {
  server_comes();
  unregister_events("app", inbox);
  unregister_events("", inbox);
  unregister_commands("app", inbox);
  unregister_commands("", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(times_said(log, 16, L"Push server is up"), log.lines(16).size());
}

TEST_F(PushClientUnregistrations, EventsAndCommandsAreApart) {
  register_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
  register_commands("late", inbox);
  unregister_events("late", inbox);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientUnregistrations, ApplicationStaysAsLongAsAnotherCallbackOrContextIsThere) {
  server_comes();
  register_events("app", inbox);
  register_events("app", other);
  forget();
  unregister_events("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines(16).empty());
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(other.gets(1));
  EXPECT_EQ(inbox.size(), 0U);
  unregister_events("app", other);
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U);
}

TEST_F(PushClientUnregistrations, SameContextWithAnotherFunctionIsAnotherCallback) {
  server_comes();
  register_events("app", inbox);
  forget();
  const cloud::push::event_callback stranger = [](const cloud::push::event_info&, void*) {};
  client->unregister_push_events_callback(stranger, &inbox, app("app"), {});
  unregister_events("app", other);
  EXPECT_TRUE(bus.sent().empty());
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientUnregistrations, TwiceRegisteredCallbackLeavesAtOnce) {
  server_comes();
  register_events("app", inbox);
  register_events("app", inbox);
  register_commands("app", inbox);
  register_commands("app", inbox);
  bus.forget_sent();
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 2U);
  forget();
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_TRUE(bus.calls().empty()) << "there is nothing left to end";
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushClientUnregistrations, SubscriptionsStayWhenNobodyIsLeft) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_calls();
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_EQ(bus.count("Unsubscribe connect.events"), 0U);
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
  // So whoever comes next is sent alone.
  bus.forget_sent();
  register_events("app", inbox);
  EXPECT_EQ(registrations(), Lines{"0 app"});
}

TEST_F(PushClientUnregistrations, ApplicationThatLeftIsNewAgain) {
  register_events("app", inbox);
  unregister_events("app", inbox);
  log.clear();
  register_events("app", inbox);
  EXPECT_EQ(times_said(log, 16, L"new app_id app needs to be sent to server"), 1U);
}

TEST_F(PushClientUnregistrations, ApplicationThatLeftIsNotRegisteredWithTheNextServer) {
  register_events("app", inbox);
  unregister_events("app", inbox);
  register_commands("app", inbox);
  unregister_commands("app", inbox);
  bus.forget_sent();
  server_comes();
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientUnregistrations, EmptyNameMeansTheDefaultApplication) {
  register_events("Desktop", inbox);
  register_commands("Desktop", inbox);
  forget();
  unregister_events("", inbox);
  unregister_commands("", inbox);
  ASSERT_EQ(bus.sent().size(), 2U);
  EXPECT_EQ(bus.sent()[0].fields, leave("Desktop", 0));
  EXPECT_EQ(bus.sent()[1].fields, leave("Desktop", 1));
  EXPECT_EQ(times_said(log, 16, L"unregistered from push events for app_id Desktop"), 1U);
  EXPECT_EQ(times_said(log, 16, L"unregistered from push commands for app_id Desktop"), 1U);
}

TEST_F(PushClientUnregistrations, LastCallbackUnderAnEmptyNameLeavesTheDefaultsEntry) {
  register_events("", inbox);
  unregister_events("", inbox);
  forget();
  // The entry makes the table one that isn't empty ...
  server_comes();
  EXPECT_EQ(registrations(), Lines{"0 Desktop"});
  // ... its application one that is known ...
  forget();
  register_events("Desktop", other);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines(16).empty());
  bus.deliver(events, event("news", "Desktop"));
  EXPECT_TRUE(other.gets(1));
  EXPECT_EQ(inbox.size(), 0U);
}

TEST_F(PushClientUnregistrations, EmptyEntryOfTheDefaultCanBeUnregisteredOverAndOver) {
  register_commands("", inbox);
  unregister_commands("", inbox);
  unregister_commands("", other);
  EXPECT_EQ(bus.sent("push_unregister").size(), 2U);
  // By its name it goes at last.
  unregister_commands("Desktop", other);
  EXPECT_EQ(bus.sent("push_unregister").size(), 3U);
  unregister_commands("", inbox);
  EXPECT_EQ(bus.sent("push_unregister").size(), 3U);
}

TEST_F(PushClientUnregistrations, EntryUnderAnEmptyNameStaysForCommandsToo) {
  register_commands("", inbox);
  unregister_commands("", inbox);
  forget();
  server_comes();
  EXPECT_EQ(registrations(), Lines{"1 Desktop"});
  forget();
  register_commands("Desktop", other);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushClientUnregistrations, WhoLeftHearsNothingMore) {
  server_comes();
  register_events("app", inbox);
  register_events("app", other);
  register_commands("app", inbox);
  register_commands("app", other);
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(other.gets(1));
  bus.deliver(events, command("id", "app"));
  EXPECT_TRUE(other.gets(2));
  EXPECT_EQ(inbox.size(), 0U);
}

}  // namespace
