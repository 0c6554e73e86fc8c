// What the client library is told when an application registers, and when it is told nothing.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/HeldListings.h"
#include "support/PushServiceTest.h"
#include "support/only.h"

namespace {

using cloud::connect_destination;
using support::command_push;
using support::event_push;
using support::only;
using support::push_source;
using support::PushReceiver;
using support::PushRegistration;

class PushCloudRecords : public support::PushServiceTest {
 protected:
  /// An application apart from the probe's, with the network up.
  void go_online() {
    take_probe_away();
    network_up();
    forget();
  }

  void TearDown() override {
    listings.let_go();
    PushServiceTest::TearDown();
  }

  /// They would bring commands anew, write to the log, and look at tables that a refusal changes.
  support::HeldListings listings{requests};
  PushReceiver receiver;
  PushReceiver other;
};

TEST_F(PushCloudRecords, NothingIsToldBeforeTheNetworkIsUp) {
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(want_commands("other", receiver), 0u);
  EXPECT_TRUE(client.calls().empty());
  const auto lines = log.lines(16);
  for (const auto& line : lines) {
    EXPECT_FALSE(line.text.starts_with(L"register to push err: ")) << line;
  }
}

TEST_F(PushCloudRecords, EventsOfAnApplicationGoInTheNameOfWhoIsKnown) {
  go_online();
  EXPECT_EQ(want_events("app", receiver), 0u);
  expect_told(only(told()), "app", "device", "token");
}

TEST_F(PushCloudRecords, CommandsOfAnApplicationGoUnderTheSameTopic) {
  go_online();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  expect_told(only(told()), "app", "device", "token");
}

TEST_F(PushCloudRecords, OtherFunctionOfTheCallbacksDoesNothing) {
  go_online();
  want_events("app", receiver);
  want_commands("app", receiver);
  log.clear();
  const PushRegistration registration = only(told());
  ASSERT_NE(registration.on_done, nullptr);
  EXPECT_NE(registration.on_done, registration.on_event);
  std::string text = event_push("app", "news");
  const cirrel_response response{nullptr, text.data(), text.size()};
  registration.on_done(&response, registration.context);
  registration.on_done(nullptr, nullptr);
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PushCloudRecords, PushesComeByTheCallbacksThatWereTold) {
  go_online();
  want_events("app", receiver);
  want_commands("app", receiver);
  EXPECT_EQ(client.push(event_push("app", "news")), 1u) << "one pair of function and context";
  client.push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushCloudRecords, DeviceThatTheCallerNamesReachesTheCloudForEvents) {
  go_online();
  EXPECT_EQ(want_events(push_source("app"), receiver, connect_destination{"far", ""}), 0u);
  const PushRegistration registration = only(told());
  EXPECT_EQ(registration.destination_device_id, "far");
  EXPECT_EQ(registration.destination_app_id, "app");
  EXPECT_EQ(registration.source_device_id, "device");
}

TEST_F(PushCloudRecords, ApplicationThatTheCallerNamesAsDestinationDoesNotReachTheCloud) {
  go_online();
  EXPECT_EQ(want_events(push_source("app"), receiver, connect_destination{"far", "away"}), 0u);
  const PushRegistration registration = only(told());
  EXPECT_EQ(registration.destination_app_id, "app");
  EXPECT_EQ(registration.destination_device_id, "far");
}

TEST_F(PushCloudRecords, DestinationOfCommandsDoesNotReachTheCloud) {
  go_online();
  EXPECT_EQ(want_commands(push_source("app"), receiver, connect_destination{"far", "away"}), 0u);
  const PushRegistration registration = only(told());
  EXPECT_EQ(registration.destination_app_id, "app");
  EXPECT_EQ(registration.destination_device_id, "device");
}

TEST_F(PushCloudRecords, ApplicationThatTheCallerNamesAsDestinationIsNotTheKeyOfTheTable) {
  go_online();
  EXPECT_EQ(want_events(push_source("app"), receiver, connect_destination{"", "away"}), 0u);
  EXPECT_TRUE(said(16, L"Topic registered for app"));
  push(event_push("away", "lost"));
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushCloudRecords, RefusedApplicationIsTakenOutUnderTheSendersNameWhateverTheDestination) {
  go_online();
  want_events("away", other);
  client.set_register_result(5);
  EXPECT_EQ(want_events(push_source("app"), receiver, connect_destination{"", "away"}), 5u);
  push(event_push("away", "still there"));
  push(event_push("app", "lost"));
  EXPECT_EQ(other.event_names(), Names{"still there"});
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(PushCloudRecords, ForwardsTheTextsOfTheCallerAsTheyAre) {
  go_online();
  EXPECT_EQ(want_events(push_source("\xc3\xa4pp", "d\xc3\xa9v", "t/\"k"), receiver), 0u);
  const PushRegistration registration = only(told());
  EXPECT_EQ(registration.source_app_id, "\xc3\xa4pp");
  EXPECT_EQ(registration.source_device_id, "d\xc3\xa9v");
  EXPECT_EQ(registration.source_user_token, "t/\"k");
}

TEST_F(PushCloudRecords, SecondCallbackOfAKnownApplicationMakesNoCall) {
  go_online();
  want_events("app", receiver);
  want_commands("app2", receiver);
  forget();
  EXPECT_EQ(want_events("app", other), 0u);
  EXPECT_EQ(want_commands("app2", other), 0u);
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(want_commands("app2", receiver), 0u);
  EXPECT_TRUE(told().empty());
}

TEST_F(PushCloudRecords, CommandsOfAnApplicationKnownForEventsMakeNoCall) {
  go_online();
  want_events("app", receiver);
  forget();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_TRUE(told().empty());
}

TEST_F(PushCloudRecords, EventsOfAnApplicationKnownForCommandsAloneMakeASecondCall) {
  go_online();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(told_apps(), (Names{"app", "app"}));
}

TEST_F(PushCloudRecords, FirstApplicationOfAllIsToldByItsProbe) {
  network_up();
  forget();
  EXPECT_EQ(want_events(push_source("app"), receiver, connect_destination{"far", "away"}), 0u);
  const PushRegistration registration = only(told());
  EXPECT_EQ(registration.destination_device_id, "device")
      << "the probe's, which has no destination";
  EXPECT_EQ(registration.destination_app_id, "app");
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 1u);
  EXPECT_EQ(times_said(16, L"Topic already registered for app"), 1u);
}

TEST_F(PushCloudRecords, FirstApplicationOfAllIsToldOnceForCommandsToo) {
  network_up();
  forget();
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 2u) << "the probe and the commands";
}

TEST_F(PushCloudRecords, OutcomeIsSaidWhateverItIs) {
  go_online();
  want_events("app", receiver);
  EXPECT_EQ(times_said(16, L"register to push err: 0"), 1u);
  client.set_register_result(4294967295);
  want_events("app2", receiver);
  EXPECT_TRUE(said(16, L"register to push err: 4294967295"));
  client.set_register_result(77);
  want_commands("app3", receiver);
  EXPECT_TRUE(said(16, L"register to push err: 77"));
}

TEST_F(PushCloudRecords, RefusalIsTheResultAndTheApplicationIsGone) {
  go_online();
  client.set_register_result(77);
  EXPECT_EQ(want_events("app", receiver), 77u);
  EXPECT_EQ(want_commands("app2", receiver), 77u);
  push(event_push("app", "lost"));
  push(command_push("app2", "lost", "1"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(receiver.commands().empty());
  forget();
  client.set_register_result(0);
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(want_commands("app2", receiver), 0u);
  EXPECT_EQ(told_apps(), (Names{"app", "app2"}));
}

TEST_F(PushCloudRecords, RefusalOfCommandsLeavesTheEventsOfOthersAlone) {
  go_online();
  want_events("app", receiver);
  client.set_register_result(77);
  EXPECT_EQ(want_commands("app2", receiver), 77u);
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
}

TEST_F(PushCloudRecords, RefusalOfEventsLeavesTheCommandsOfTheApplicationAlone) {
  go_online();
  want_commands("app", receiver);
  client.set_register_result(77);
  EXPECT_EQ(want_events("app", receiver), 77u);
  push(command_push("app", "do", "1"));
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
}

TEST_F(PushCloudRecords, RefusalTakesThoseAlongWhoCameMeanwhile) {
  go_online();
  PushReceiver third;
  client.register_by([&](const PushRegistration&) {
    EXPECT_EQ(want_events("app", other), 0u);
    return 77u;
  });
  EXPECT_EQ(want_events("app", receiver), 77u);
  client.register_by([&](const PushRegistration&) {
    EXPECT_EQ(want_commands("app", third), 0u);
    return 78u;
  });
  EXPECT_EQ(want_commands("app", receiver), 78u);
  push(event_push("app", "lost"));
  push(command_push("app", "lost", "1"));
  EXPECT_TRUE(receiver.events().empty());
  EXPECT_TRUE(other.events().empty());
  EXPECT_TRUE(third.commands().empty());
}

TEST_F(PushCloudRecords, CallbackIsInTheTableWhenTheCloudIsTold) {
  go_online();
  client.register_by([&](const PushRegistration&) {
    push(event_push("app", "early"));
    return 0u;
  });
  want_events("app", receiver);
  EXPECT_EQ(receiver.event_names(), Names{"early"});
}

}  // namespace
