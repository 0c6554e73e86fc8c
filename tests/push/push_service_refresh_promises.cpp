// The cloud is told anew of every application when the user is known or changes.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/PushServiceTest.h"
#include "support/only.h"

namespace {

using support::command_push;
using support::event_push;
using support::only;
using support::push_source;
using support::PushReceiver;

class PushRefresh : public support::PushServiceTest {
 protected:
  void refresh(const char* app_id = "") {
    service->refresh_push_listeners(push_source(app_id, "new-device", "new-token"));
  }

  PushReceiver receiver;
};

TEST_F(PushRefresh, TellsEveryEventsApplicationInAscendingOrderOfBytes) {
  take_probe_away();
  for (const char* app : {"b", "\xc3\xa9", "a", "B", "ab", "a b", "\x7f", "probez"}) {
    want_events(app, receiver);
  }
  refresh();
  EXPECT_EQ(told_apps(),
            (Names{"B", "a", "a b", "ab", "b", "probed", "probez", "\x7f", "\xc3\xa9"}));
}

TEST_F(PushRefresh, TellsTheNewIdentityAndNoOtherDestination) {
  want_events("app", receiver);
  refresh();
  expect_told(only(told()), "app", "new-device", "new-token");
}

TEST_F(PushRefresh, ForgetsTheDestinationThatACallerNamedOnce) {
  take_probe_away();
  want_events(push_source("app"), receiver, cloud::connect_destination{"far", "away"});
  refresh();
  ASSERT_EQ(told_apps(), (Names{"app", "probed"}));
  EXPECT_EQ(told()[0].destination_device_id, "new-device");
}

TEST_F(PushRefresh, ForgetsTheIdentityThatACallerNamedOnce) {
  want_events(push_source("app", "own-device", "own-token"), receiver);
  refresh();
  ASSERT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(told()[0].source_device_id, "new-device");
  EXPECT_EQ(told()[0].source_user_token, "new-token");
}

TEST_F(PushRefresh, TellsEmptyTextsWhenNobodyIsKnown) {
  want_events("app", receiver);
  service->refresh_push_listeners({});
  expect_told(only(told()), "app", "", "");
}

TEST_F(PushRefresh, RemembersTheIdentityForWhoComesLater) {
  auth.result = 232;
  renew();
  EXPECT_EQ(want_events("app", receiver), 13u);
  refresh();
  network_up();
  EXPECT_EQ(want_events("app", receiver), 0u);
  const auto registration = only(told());
  EXPECT_EQ(registration.source_user_token, "new-token");
  EXPECT_EQ(registration.source_device_id, "new-device");
}

TEST_F(PushRefresh, NeverTakesTheApplicationOfTheIdentityForACallersOwn) {
  refresh("identity-app");
  EXPECT_EQ(want_events("", receiver), 0u);
  EXPECT_TRUE(said(16, L"Topic registered for Desktop"));
}

TEST_F(PushRefresh, TellsTheCloudEvenBeforeTheNetworkIsUp) {
  want_events("app", receiver);
  refresh();
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_TRUE(said(16, L"register to push err: 0"));
}

TEST_F(PushRefresh, PostponesTheListingBeforeTheNetworkIsUp) {
  want_commands("app", receiver);
  log.clear();
  refresh();
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 1u);
  EXPECT_EQ(times_said(16, L"app_id: app"), 0u);
  service.reset();
  EXPECT_EQ(requests.count(), 0u);
}

TEST_F(PushRefresh, DoesNothingWithEmptyTables) {
  refresh();
  EXPECT_TRUE(client.calls().empty());
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 0u);
}

TEST_F(PushRefresh, WithoutCommandCallbacksAsksForNoListing) {
  network_up();
  want_events("app", receiver);
  forget();
  refresh();
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(times_said(16, L"app_id: app"), 0u);
}

TEST_F(PushRefresh, WithEventsAsksForTheListingOfTheirGreatestApplicationAlone) {
  want_events("b", receiver);
  want_events("d", receiver);
  want_commands("a", receiver);
  want_commands("c", receiver);
  want_commands("z", receiver);
  network_up();
  EXPECT_EQ(told_apps(), (Names{"b", "d"})) << "none for commands";
  EXPECT_EQ(times_said(16, L"app_id: d"), 1u);
  for (const wchar_t* line : {L"app_id: a", L"app_id: b", L"app_id: c", L"app_id: z"}) {
    EXPECT_EQ(times_said(16, line), 0u) << "one listing only";
  }
  finish_listings();
  EXPECT_EQ(requests.count(), 2u) << "that one and the barrier's";
}

TEST_F(PushRefresh, KeepsTheCommandsOfThatOneListingForTheGreatestEventsApplication) {
  want_events("b", receiver);
  want_events("d", receiver);
  want_commands("a", receiver);
  requests.answer_next(R"([{"command": "do", "command_id": "1"}])");
  network_up();
  finish_listings();
  EXPECT_EQ(kept("d"), Names{"do 1"});
  EXPECT_TRUE(kept("a").empty());
  EXPECT_TRUE(receiver.commands().empty()) << "nobody wants the commands of d";
}

TEST_F(PushRefresh, WithEventsMakesOneListingWhateverTheIdentitysOwnApplicationIs) {
  network_up();
  want_events("b", receiver);
  want_commands("a", receiver);
  forget();
  refresh("a");
  EXPECT_EQ(told_apps(), Names{"b"});
  EXPECT_EQ(times_said(16, L"app_id: b"), 1u);
  EXPECT_EQ(times_said(16, L"app_id: a"), 0u);
}

TEST_F(PushRefresh, RefusedEventsDoNotStopTheOthersAndStayInTheTable) {
  want_events("a", receiver);
  want_events("b", receiver);
  client.register_by([](const support::PushRegistration& registration) {
    return registration.source_app_id == "a" ? 77u : 0u;
  });
  network_up();
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
  EXPECT_TRUE(said(16, L"register to push err: 77"));
  push(event_push("a", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  forget();
  refresh();
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
}

TEST_F(PushRefresh, AllRefusedStillAsksForTheOneListing) {
  want_events("b", receiver);
  want_commands("a", receiver);
  client.set_register_result(77);
  network_up();
  EXPECT_EQ(times_said(16, L"app_id: b"), 1u);
}

TEST_F(PushRefresh, WithoutEventsTellsAndListsEveryCommandsApplicationInOrder) {
  lose_probe();
  want_commands("c", receiver);
  want_commands("\xc3\xa9", receiver);
  want_commands("a", receiver);
  want_commands("B", receiver);
  forget();
  refresh();
  EXPECT_EQ(told_apps(), (Names{"B", "a", "c", "\xc3\xa9"}));
  for (const auto& each : told()) {
    EXPECT_EQ(each.source_app_id, each.destination_app_id);
    EXPECT_EQ(each.source_device_id, "new-device");
    EXPECT_EQ(each.destination_device_id, "new-device");
    EXPECT_EQ(each.source_user_token, "new-token");
  }
  std::vector<std::wstring> listed;
  for (const auto& line : log.lines(16)) {
    if (line.text.starts_with(L"app_id: ")) listed.push_back(line.text);
  }
  EXPECT_EQ(listed, (std::vector<std::wstring>{L"app_id: B", L"app_id: a", L"app_id: c",
                                               L"app_id: \u00e9"}));
}

TEST_F(PushRefresh, WithoutEventsTellsTheCloudBeforeItAsksForTheListing) {
  lose_probe();
  want_commands("a", receiver);
  want_commands("b", receiver);
  forget();
  refresh();
  std::vector<std::wstring> order;
  for (const auto& line : log.lines(16)) {
    if (line.text.starts_with(L"app_id: ") || line.text.starts_with(L"register to push")) {
      order.push_back(line.text);
    }
  }
  EXPECT_EQ(order, (std::vector<std::wstring>{L"register to push err: 0", L"app_id: a",
                                              L"register to push err: 0", L"app_id: b"}));
}

TEST_F(PushRefresh, WithoutEventsARefusedApplicationIsNotListedAndTheNextOnesAre) {
  lose_probe();
  want_commands("a", receiver);
  want_commands("b", receiver);
  forget();
  client.register_by([](const support::PushRegistration& registration) {
    return registration.source_app_id == "a" ? 77u : 0u;
  });
  refresh();
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
  EXPECT_EQ(times_said(16, L"app_id: a"), 0u);
  EXPECT_EQ(times_said(16, L"app_id: b"), 1u);
  push(command_push("a", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"}) << "it stays in the table";
}

TEST_F(PushRefresh, WithoutEventsTheIdentitysOwnApplicationMakesNoDifference) {
  lose_probe();
  want_commands("a", receiver);
  want_commands("b", receiver);
  forget();
  refresh("a");
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
  EXPECT_EQ(times_said(16, L"app_id: a"), 1u);
  EXPECT_EQ(times_said(16, L"app_id: b"), 1u);
}

TEST_F(PushRefresh, LooksForEventsUnderTheApplicationItTookBeforeAndNotUnderTheNextOne) {
  // Events of "b" come while "a" is told: by then the events' turn is over. The pass for "b" still
  // looks for "a", finds nothing, and tells "b"; only the pass for "c" finds "b", and ends.
  lose_probe();
  want_commands("a", receiver);
  want_commands("b", receiver);
  want_commands("c", receiver);
  want_commands("d", receiver);
  forget();
  bool first = true;
  client.register_by([&](const support::PushRegistration&) {
    if (first) {
      first = false;
      EXPECT_EQ(want_events("b", receiver), 0u);
    }
    return 0u;
  });
  refresh();
  EXPECT_EQ(told_apps(), (Names{"a", "b", "b"})) << "commands of a, events of b, commands of b";
  std::vector<std::wstring> listed;
  for (const auto& line : log.lines(16)) {
    if (line.text.starts_with(L"app_id: ")) listed.push_back(line.text);
  }
  EXPECT_EQ(listed, (std::vector<std::wstring>{L"app_id: a", L"app_id: b", L"app_id: b"}));
}

TEST_F(PushRefresh, HappensAsOftenAsItIsAskedFor) {
  network_up();
  want_events("app", receiver);
  forget();
  refresh();
  refresh();
  EXPECT_EQ(told_apps(), (Names{"app", "app"}));
}

}  // namespace
