#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/app_id_table.h"
#include "support/PushClientTest.h"

namespace {

using support::PushInbox;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

constexpr wchar_t observer_scope[] = L"cloud::push::push_service_client::initialize_bus_observer";

class PushClientFollowing : public support::PushClientTest {
 protected:
  PushInbox inbox;
};

// The observer.

TEST_F(PushClientFollowing, ObservesTheBusFromItsBeginningToItsEnd) {
  EXPECT_EQ(bus.calls(), Calls{"AddObserver"});
  EXPECT_EQ(bus.observers_alive(), 1U);
  EXPECT_TRUE(log.nothing_logged(4));
  client.reset();
  EXPECT_EQ(bus.calls(), (Calls{"AddObserver", "RemoveObserver"}));
}

TEST_F(PushClientFollowing, WorksWithoutABus) {
  client.reset();
  bus.unload();
  client.emplace();
  EXPECT_EQ(log.count(4, observer_scope, L"Could not get msgbus"), 1U);
  register_events("app", inbox);
  register_commands("app", inbox);
  unregister_events("app", inbox);
  complete("id");
  client->refresh_listeners();
  client.reset();
  EXPECT_EQ(bus.calls(), (Calls{"AddObserver", "RemoveObserver"})) << "of the first client";
}

TEST_F(PushClientFollowing, WorksWithoutAnObserver) {
  client.reset();
  bus.refuse_observers();
  client.emplace();
  EXPECT_EQ(log.count(4, observer_scope, L"Could not add bus observer"), 1U);
  EXPECT_EQ(log.count(4, observer_scope, L"Could not get msgbus"), 0U);
  register_events("app", inbox);
  server_says_up();
  bus.deliver(events, event("hello", "app"));
  EXPECT_TRUE(inbox.gets(1)) << "the server's own word is enough";
}

TEST_F(PushClientFollowing, IsFoundAsAnObserver) {
  ibus_observer* const observer = &*client;
  EXPECT_EQ(client->QueryInterface(IID_ibus_observer), observer);
  EXPECT_EQ(client->QueryInterface(IID_IZvBaseInterface), observer);
  EXPECT_EQ(client->QueryInterface(IID{}), nullptr);
}

TEST_F(PushClientFollowing, BearsTheIdentifierOfTheProduct) {
  EXPECT_EQ(IID_IPushServiceClient,
            (IID{0xcd08c9a1, 0x4017, 0xa521, {0xe3, 0x40, 0x81, 0x81, 0x36, 0xf5, 0x20, 0x5a}}));
}

// The server's coming.

TEST_F(PushClientFollowing, RegistersEverythingWhenTheServerComes) {
  register_events("a", inbox);
  register_events("b", inbox);
  register_commands("c", inbox);
  server_comes();
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::on_new_listener",
                L"Push server is up");
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 a", "0 b", "1 Desktop", "1 c"}));
  const Lines sent = registrations();
  EXPECT_EQ(sent.at(0), "0 Desktop") << "with the subscription, before the others";
  EXPECT_EQ(sent.at(3), "1 Desktop") << "commands after all events";
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientFollowing, SubscribesToNothingForTablesThatAreEmpty) {
  server_comes();
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(bus.subscriptions_alive(events), 0U);
  register_commands("app", inbox);
  bus.forget_sent();
  server_goes();
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"1 Desktop", "1 app"}));
}

TEST_F(PushClientFollowing, SendsTheDefaultApplicationOnce) {
  register_events("", inbox);
  register_events("Desktop", inbox);
  register_events("app", inbox);
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
}

TEST_F(PushClientFollowing, DoesNotSendTheDefaultAgainWhileTheSubscriptionStands) {
  register_events("app", inbox);
  register_events("", inbox);
  register_commands("app", inbox);
  server_comes();
  bus.forget_sent();
  client->refresh_listeners();
  EXPECT_EQ(registrations(), (Lines{"0 app", "1 app"}));
}

TEST_F(PushClientFollowing, SendsTheApplicationsInTheOrderOfTheTable) {
  cloud::push::app_id_table<cloud::push::event_callback> table;
  for (const char* app_id : {"one", "two", "three", "four", "five", "six", "seven", "eight"}) {
    table[app_id];
    register_events(app_id, inbox);
  }
  Lines expected{"0 Desktop"};
  for (const auto& [app_id, entries] : table)
    expected.push_back("0 " + std::string(app_id.c_str()));
  server_comes();
  EXPECT_EQ(registrations(), expected);
}

TEST_F(PushClientFollowing, GoesOnAfterARegistrationThatFails) {
  register_events("a", inbox);
  register_events("b", inbox);
  register_commands("c", inbox);
  bus.answer({258, std::nullopt});
  server_comes();
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 a", "0 b", "1 Desktop", "1 c"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  bus.answer_err(0);
  bus.forget_sent();
  client->refresh_listeners();
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 a", "0 b", "1 Desktop", "1 c"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientFollowing, LooksAtTheServersListenerAlone) {
  register_events("app", inbox);
  bus.announce(actions, "push_unregister");
  bus.announce(actions, "push_registe");
  bus.announce(actions, "push_register2");
  bus.announce(events, "push_register");
  bus.announce("connect.actions2", "push_register");
  bus.announce("", "");
  client->on_new_listener(nullptr, nullptr, nullptr);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(log.texts().back(), L"new app_id app needs to be sent to server");

  server_comes();
  bus.withdraw(actions, "push_unregister");
  bus.withdraw(events, "push_register");
  client->on_listener_removed(nullptr, nullptr, nullptr);
  EXPECT_EQ(bus.subscriptions_alive(events), 2U);
}

TEST_F(PushClientFollowing, RefreshesAgainForEachAnnouncement) {
  register_events("app", inbox);
  server_comes();
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "0 app"}));
}

// The server's own word.

TEST_F(PushClientFollowing, RegistersEverythingWhenTheServerSaysThatItIsUp) {
  register_events("app", inbox);
  register_commands("app", inbox);
  server_says_up();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
}

TEST_F(PushClientFollowing, TakesTheServersWordOnlyOnce) {
  register_events("app", inbox);
  server_says_up();
  bus.forget_sent();
  server_says_up();
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, DoesNotRefreshTwiceOnAnOrdinaryStartOfTheServer) {
  register_events("app", inbox);
  server_comes();
  bus.forget_sent();
  server_says_up();
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, HearsNoWordOfTheServerBeforeItsFirstRegistration) {
  server_says_up();
  register_events("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
  server_says_up();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
}

TEST_F(PushClientFollowing, KnowsTheServerForLaterRegistrations) {
  register_events("app", inbox);
  server_says_up();
  bus.forget_sent();
  register_commands("other", inbox);
  EXPECT_EQ(registrations(), (Lines{"1 Desktop", "1 other"}));
}

// The server's going.

TEST_F(PushClientFollowing, DropsBothSubscriptionsWhenTheServerGoes) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_calls();
  bus.forget_sent();
  server_goes();
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::on_listener_removed",
                L"Push server is down");
  EXPECT_EQ(bus.calls(), (Calls{"Unsubscribe connect.events", "Unsubscribe connect.events"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U) << "the one for the server's coming stays";
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, RecoversByItselfFromTheServersEnd) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.deliver(events, command("old", "app"));
  ASSERT_TRUE(inbox.gets(1));
  server_goes();
  bus.forget_sent();
  register_events("late", inbox);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(pending().size(), 1U) << "what isn't done yet stays";
  server_comes();
  server_says_up();
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 app", "0 late", "1 Desktop", "1 app"}));
  inbox.clear();
  bus.deliver(events, event("hello", "app"));
  bus.deliver(events, event("hello", "late"));
  EXPECT_TRUE(inbox.gets(2));
}

TEST_F(PushClientFollowing, HearsTheServersWordAgainAfterItsEnd) {
  register_events("app", inbox);
  server_comes();
  server_goes();
  bus.forget_sent();
  server_says_up();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
}

TEST_F(PushClientFollowing, BearsTheEndOfAServerItNeverKnew) {
  server_goes();
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::on_listener_removed",
                L"Push server is down");
  EXPECT_TRUE(bus.sent().empty());
}

// The end.

TEST_F(PushClientFollowing, StopsObservingBeforeItGivesItsSubscriptionsBack) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.forget_calls();
  client.reset();
  EXPECT_EQ(bus.calls(), (Calls{"RemoveObserver", "Unsubscribe connect.events",
                                "RemoveListener connect.events push_client",
                                "Unsubscribe connect.events", "Unsubscribe connect.events"}));
}

// The table.

TEST(AppIdTable, SpreadsByTheBytesAsSignedNumbers) {
  const cloud::push::app_id_hash hash;
  EXPECT_EQ(hash(""), 5381U);
  EXPECT_EQ(hash("a"), 5381U * 33 + 97);
  EXPECT_EQ(hash("ab"), (5381U * 33 + 97) * 33 + 98);
  EXPECT_EQ(hash("\xff"), 5381U * 33 - 1);
  EXPECT_EQ(hash("\x80"), 5381U * 33 - 128);
  std::uint64_t wrapped = 5381;
  for (int i = 0; i < 20; ++i) wrapped = wrapped * 33 + 'z';
  EXPECT_EQ(hash("zzzzzzzzzzzzzzzzzzzz"), wrapped);
}

TEST(AppIdTable, StartsWithRoomForEightAtLeast) {
  const cloud::push::app_id_table<cloud::push::event_callback> table;
  EXPECT_GE(table.bucket_count(), 8U);
  EXPECT_EQ(table.max_load_factor(), 1.0F);
}

}  // namespace
