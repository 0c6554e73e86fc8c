// The cloud comes up: once, and again.

#include <gtest/gtest.h>

#include "support/PushServiceTest.h"

namespace {

using support::push_source;
using support::PushReceiver;

class PushNetwork : public support::PushServiceTest {
 protected:
  PushReceiver receiver;
};

TEST_F(PushNetwork, FirstUpTellsTheCloudOfEveryEventsApplicationThatWaited) {
  EXPECT_EQ(want_events("b", receiver), 0u);
  EXPECT_EQ(want_events("a", receiver), 0u);
  EXPECT_TRUE(told().empty());
  network_up();
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
}

TEST_F(PushNetwork, FirstUpTellsInTheNameOfWhoIsKnown) {
  want_events(push_source("app", "own-device", "own-token"), receiver);
  network_up();
  ASSERT_EQ(told().size(), 1u);
  EXPECT_EQ(told()[0].source_user_token, "token");
  EXPECT_EQ(told()[0].source_device_id, "device");
  EXPECT_EQ(told()[0].destination_device_id, "device");
}

TEST_F(PushNetwork, FirstUpTakesTheIdentityOfTheLastRefresh) {
  want_events("app", receiver);
  service->refresh_push_listeners(push_source("x", "new-device", "new-token"));
  forget();
  network_up();
  ASSERT_EQ(told().size(), 1u);
  EXPECT_EQ(told()[0].source_user_token, "new-token");
  EXPECT_EQ(told()[0].source_device_id, "new-device");
  EXPECT_EQ(told()[0].source_app_id, "app");
}

TEST_F(PushNetwork, FirstUpTellsEvenIfNobodyIsKnown) {
  auth.result = 232;
  renew();
  want_events(push_source("app", "d", "t"), receiver);
  network_up();
  ASSERT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(told()[0].source_user_token, "");
}

TEST_F(PushNetwork, FirstUpSaysNothingOfNotBeingTheFirst) {
  network_up();
  EXPECT_EQ(times_said(16, L"not first cloud up cbk"), 0u);
}

TEST_F(PushNetwork, FirstUpAsksForTheListingThatWaited) {
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 1u);
  requests.answer_next(R"([{"command": "do", "command_id": "1"}])");
  network_up();
  EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 1u);
  EXPECT_TRUE(said(16, L"app_id: app"));
  EXPECT_TRUE(waiting::until([&] { return receiver.command_names() == Names{"do 1"}; }));
}

TEST_F(PushNetwork, LaterUpsDoNothing) {
  want_events("app", receiver);
  want_commands("app", receiver);
  network_up();
  forget();
  network_up();
  EXPECT_EQ(times_said(16, L"not first cloud up cbk"), 1u);
  network_up();
  EXPECT_EQ(times_said(16, L"not first cloud up cbk"), 2u);
  EXPECT_TRUE(told().empty());
  EXPECT_EQ(times_said(16, L"app_id: app"), 0u);
}

TEST_F(PushNetwork, LaterUpDoesNothingEvenAfterAChangeOfIdentity) {
  want_events("app", receiver);
  network_up();
  service->refresh_push_listeners(push_source("", "new-device", "new-token"));
  forget();
  network_up();
  EXPECT_TRUE(said(16, L"not first cloud up cbk"));
  EXPECT_TRUE(told().empty());
}

TEST_F(PushNetwork, LaterUpDoesNothingEvenIfTheFirstWasRefusedEverything) {
  want_events("app", receiver);
  client.set_register_result(5);
  network_up();
  client.set_register_result(0);
  forget();
  network_up();
  EXPECT_TRUE(told().empty());
}

TEST_F(PushNetwork, IsReadyWithinTheFirstUpAlready) {
  want_commands("app", receiver);
  client.register_by([&](const support::PushRegistration&) {
    EXPECT_EQ(times_said(4, L"Postpone list command until network is ready"), 1u);
    return 0u;
  });
  network_up();
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(times_said(16, L"app_id: app"), 1u);
}

TEST_F(PushNetwork, AfterwardsEachRegistrationGoesToTheCloudAtOnce) {
  network_up();
  want_events("a", receiver);
  EXPECT_EQ(told_apps(), Names{"a"});
  want_events("b", receiver);
  EXPECT_EQ(told_apps(), (Names{"a", "b"}));
  want_commands("c", receiver);
  EXPECT_EQ(told_apps(), (Names{"a", "b", "c"}));
}

TEST_F(PushNetwork, UpIsHeardThroughTheObserversFaceAsWell) {
  cloud::ICloudConnectionObserver& observer = *service;
  want_events("app", receiver);
  observer.OnNetworkAvailable();
  EXPECT_EQ(told_apps(), Names{"app"});
}

TEST_F(PushNetwork, UpFromManyThreadsIsOneUp) {
  want_events("app", receiver);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { network_up(); });
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(told_apps(), Names{"app"});
  EXPECT_EQ(times_said(16, L"not first cloud up cbk"), 7u);
}

TEST_F(PushNetwork, ObserverIsEndedThroughItsTable) {
  auto* const heap = new push_service(client.table(), client.shared_instance(), &requests, &auth);
  cloud::ICloudConnectionObserver* const observer = heap;
  msvc_abi::destroy(observer);
}

}  // namespace
