// How a client follows the server's coming and going.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "push/PushPromises.h"
#include "support/PushClientTest.h"

namespace {

using support::BusFields;
using support::PushInbox;
using Lines = std::vector<std::string>;

constexpr const wchar_t* is_up = L"Push server is up";
constexpr const wchar_t* is_down = L"Push server is down";

class PushClientFollowing : public support::PushClientTest {
 protected:
  PushInbox inbox;
};

TEST_F(PushClientFollowing, ServersComingIsTold) {
  server_comes();
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::on_new_listener", is_up);
  EXPECT_EQ(log.lines(16).size(), 1U);
}

TEST_F(PushClientFollowing, OtherListenersAreNotTheServer) {
  register_events("app", inbox);
  forget();
  bus.announce(actions, "push_unregister");
  bus.announce(actions, "push_command_done");
  bus.announce(actions, "push_registe");
  bus.announce(actions, "push_register2");
  bus.announce(actions, "");
  bus.announce(events, "push_register");
  bus.announce(events, "push_client");
  bus.announce("cl.zvserv.actions", "push_register");
  bus.announce("connect.actions2", "push_register");
  bus.announce("", "");
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines(16).empty());
}

TEST_F(PushClientFollowing, OtherListenersLeavingIsNotTheServersGoing) {
  server_comes();
  register_events("app", inbox);
  forget();
  bus.withdraw(actions, "push_unregister");
  bus.withdraw(actions, "push_command_done");
  bus.withdraw(events, "push_register");
  bus.withdraw(events, "push_client");
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(log.lines(16).empty());
  register_events("", inbox);
  EXPECT_TRUE(bus.sent().empty()) << "the subscription is still there";
}

TEST_F(PushClientFollowing, ComingIsToldBeforeAnythingIsSent) {
  register_events("app", inbox);
  std::size_t told = 0;
  bus.set_hook([&](const std::string& call) {
    if (call.starts_with("SendAndWait")) told = times_said(log, 16, is_up);
  });
  server_comes();
  EXPECT_EQ(told, 1U);
}

TEST_F(PushClientFollowing, ComingRegistersTheEventsAndThenTheCommandsTheDefaultFirst) {
  register_commands("app", inbox);
  register_events("app", inbox);
  forget();
  server_comes();
  EXPECT_EQ(deeds(bus.calls()),
            (Lines{"Subscribe connect.events", "SetCallback connect.events",
                   "SendAndWait connect.actions 5000", "SendAndWait connect.actions 5000",
                   "Subscribe connect.events", "SetCallback connect.events",
                   "SendAndWait connect.actions 5000", "SendAndWait connect.actions 5000"}));
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(log.texts(),
            (std::vector<std::wstring>{L"Push server is up", L"registered to push events server",
                                       L"registered to push commands server"}));
  EXPECT_EQ(bus.sent()[1].fields, registration("app", 0));
}

TEST_F(PushClientFollowing, EmptyTablesSendNothing) {
  server_comes();
  client->refresh_listeners();
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(bus.subscriptions_alive(events), 0U);
}

TEST_F(PushClientFollowing, OnlyTheTableThatHasEntriesIsRegistered) {
  register_commands("app", inbox);
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"1 Desktop", "1 app"}));
}

TEST_F(PushClientFollowing, DefaultApplicationIsNotSentOnItsOwn) {
  register_events("", inbox);
  register_events("app", inbox);
  register_commands("Desktop", inbox);
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop"}));
}

TEST_F(PushClientFollowing, ApplicationsGoInTheOrderOfTheTable) {
  const Lines names{"alpha", "beta",  "gamma",  "delta", "epsilon", "zeta", "eta",    "theta",
                    "iota",  "kappa", "lambda", "mu",    "nu",      "xi",   "omikron"};
  cloud::push::app_id_table<cloud::push::event_callback> table;
  for (const std::string& name : names) {
    register_events(name.c_str(), inbox);
    table[name.c_str()];
  }
  server_comes();
  Lines expected{"0 Desktop"};
  for (const auto& entry : table) expected.push_back("0 " + std::string(entry.first.view()));
  EXPECT_EQ(registrations(), expected);
}

TEST_F(PushClientFollowing, SecondComingSendsAllButTheDefaultAgain) {
  register_events("", inbox);
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  forget();
  server_comes();
  EXPECT_EQ(times_said(log, 16, is_up), 1U);
  EXPECT_EQ(deeds(bus.calls()),
            (Lines{"SendAndWait connect.actions 5000", "SendAndWait connect.actions 5000"}));
  EXPECT_EQ(registrations(), (Lines{"0 app", "1 app"}));
}

TEST_F(PushClientFollowing, GoingEndsBothSubscriptionsAndNotTheManagements) {
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  forget();
  server_goes();
  EXPECT_LOGGED(log, 16, L"cloud::push::push_service_client::on_listener_removed", is_down);
  EXPECT_EQ(log.texts().size(), 1U);
  EXPECT_EQ(bus.calls(), (Lines{"Unsubscribe connect.events", "Unsubscribe connect.events"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_EQ(bus.listeners(), Lines{"connect.events push_client"});
}

TEST_F(PushClientFollowing, GoingOfAServerThatWasNeverThereIsToldToo) {
  server_goes();
  server_goes();
  EXPECT_EQ(times_said(log, 16, is_down), 2U);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, TablesAndPendingCommandsOutliveTheServer) {
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(has_pending(1));
  server_goes();
  EXPECT_EQ(pending(), Lines{command_line("id", "app")});
  bus.forget_sent();
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(pending(), Lines{command_line("id", "app")});
}

TEST_F(PushClientFollowing, NewCommandCallbackGetsThePendingCommandsWhileTheServerIsAway) {
  register_commands("app", inbox);
  server_comes();
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(has_pending(1));
  server_goes();
  bus.forget_sent();
  PushInbox late;
  register_commands("late", late);
  ASSERT_TRUE(late.gets(1));
  EXPECT_EQ(late.lines(), Lines{command_line("id", "app")});
  EXPECT_TRUE(bus.sent().empty());
  client.reset();
}

TEST_F(PushClientFollowing, NothingArrivesWhileTheServerIsAway) {
  PushInbox news;
  register_events("app", news);
  register_commands("app", inbox);
  server_comes();
  server_goes();
  bus.deliver(events, event("missed", "app"));
  bus.deliver(events, command("missed", "app"));
  server_comes();
  bus.deliver(events, event("seen", "app"));
  ASSERT_TRUE(news.gets(1));
  EXPECT_EQ(news.lines(), Lines{event_line("seen", "app")});
  bus.deliver(events, command("seen", "app"));
  ASSERT_TRUE(inbox.gets(1));
  EXPECT_EQ(pending(), Lines{command_line("seen", "app")});
}

TEST_F(PushClientFollowing, RegistrationsWaitForTheServersReturn) {
  server_comes();
  server_goes();
  register_events("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
  server_comes();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
}

TEST_F(PushClientFollowing, ServersWordBringsWhatItsComingBrings) {
  register_events("app", inbox);
  register_commands("app", inbox);
  forget();
  server_says_up();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(times_said(log, 16, is_up), 0U);
  // And the server counts as up.
  bus.forget_sent();
  register_events("other", inbox);
  EXPECT_EQ(registrations(), Lines{"0 other"});
}

TEST_F(PushClientFollowing, ServersWordAfterItsComingDoesNothing) {
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  forget();
  server_says_up();
  server_says_up();
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushClientFollowing, ServersSecondWordDoesNothing) {
  register_events("app", inbox);
  server_says_up();
  bus.forget_sent();
  server_says_up();
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, ServersWordAfterItsGoingCountsAgain) {
  register_events("app", inbox);
  server_comes();
  server_goes();
  bus.forget_sent();
  server_says_up();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
}

TEST_F(PushClientFollowing, ServersWordReachesNobodyBeforeTheFirstRegistration) {
  server_says_up();
  register_events("app", inbox);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, FailedRegistrationsAreNoReasonToStop) {
  register_events("app", inbox);
  register_events("other", inbox);
  register_commands("app", inbox);
  bus.answer_err(31);
  server_comes();
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 app", "0 other", "1 Desktop", "1 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_EQ(times_said(log, 16, L"registered to push events server"), 0U);
}

TEST_F(PushClientFollowing, SubscriptionThatFailedIsMadeByTheNextRefresh) {
  const Lines all{"0 Desktop", "0 app", "1 Desktop", "1 app"};
  register_events("app", inbox);
  register_commands("app", inbox);
  bus.answer({258, {}});
  server_comes();
  EXPECT_EQ(registrations(), all);
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  bus.answer_err(0);
  forget();
  client->refresh_listeners();
  EXPECT_EQ(registrations(), all);
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientFollowing, NothingIsTriedAgainOfItself) {
  register_events("app", inbox);
  bus.answer_err(31);
  server_comes();
  bus.forget_sent();
  bus.answer_err(0);
  server_says_up();
  unregister_commands("app", inbox);
  complete("id");
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientFollowing, RefreshDoesNotAskWhetherTheServerIsThere) {
  register_events("app", inbox);
  client->refresh_listeners();
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
  EXPECT_EQ(bus.subscriptions_alive(events), 2U);
}

TEST_F(PushClientFollowing, RefreshSendsAllButTheDefaultAgain) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  register_commands("", inbox);
  bus.forget_sent();
  client->refresh_listeners();
  EXPECT_EQ(registrations(), (Lines{"0 app", "1 app"}));
}

TEST_F(PushClientFollowing, RefreshAsksForTheProductsNameAnew) {
  server_comes();
  register_events("app", inbox);
  register_events("Desktop", inbox);
  bus.forget_sent();
  product.probe->set_string(44, L"app");
  client->refresh_listeners();
  EXPECT_EQ(registrations(), Lines{"0 Desktop"});
}

}  // namespace
