#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "_base/waiting.h"
#include "support/IntegratorTest.h"

namespace {

using Lines = std::vector<std::string>;

class IntegratorIdentity : public support::IntegratorTest {
 protected:
  /// A life with an agent whose user isn't known when it begins, once the worker is done.
  void begin_without_user() {
    have_client_agent();
    ASSERT_EQ(init(), 0u);
    ASSERT_TRUE(has_asked_bus(2));
    ASSERT_EQ(who(), "232");
  }
  /// The same, but with the user known from the start.
  void begin_with_user() {
    have_product_agent();
    ASSERT_EQ(init(), 0u);
    ASSERT_EQ(who(), "device token");
  }
  std::size_t same_source_lines() const {
    return log.count(16, change_scope, L"Same connect source");
  }
};

// At Init.

TEST_F(IntegratorIdentity, IsReadAtInitIfTheServiceListens) {
  listen();
  have_client_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), "device token");
  EXPECT_EQ(agent.count("GetUserInfo"), 1u);
  EXPECT_LOGGED(log, 16, listening_label, L"is listening");
}

TEST_F(IntegratorIdentity, IsReadAtInitIfTheProductAgentIsInThisProcess) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), "device token");
  EXPECT_LOGGED(log, 16, listening_label, L"is listening");
}

TEST_F(IntegratorIdentity, IsNotReadAtInitForTheClientOfAnAgentAlone) {
  begin_without_user();
  EXPECT_EQ(agent.count("GetUserInfo"), 0u);
  EXPECT_EQ(log.count(16, listening_label, L"is listening"), 0u);
}

TEST_F(IntegratorIdentity, IsThereBeforeThePushServiceIsMade) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  const auto lines = journal.lines();
  const auto at = [&](const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) - lines.begin();
  };
  EXPECT_LT(at("agent GetUserInfo"), at("host get_plugin cloud_requests"));
  // The service takes an application without a user of its own only if it knows one.
  EXPECT_EQ(want_events("app", false), 0u);
}

TEST_F(IntegratorIdentity, IsUnknownToThePushServiceWithoutAnyone) {
  begin_without_user();
  EXPECT_EQ(want_events("app", false), 13u);
}

TEST_F(IntegratorIdentity, StaysUnknownIfTheAgentFailsAtInit) {
  have_product_agent();
  agent.fail_user_info(5);
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), "232");
  EXPECT_LOGGED(log, 4, source_scope, L"Agent-GetUserInfo has failed, err: 5");
  EXPECT_TRUE(log.traced(source_scope));
}

TEST_F(IntegratorIdentity, IsSoughtByTheWorkerIfInitDidNotFindIt) {
  have_product_agent();
  listen();
  agent.fail_user_info(5);
  hook_agent([this](const std::string& call) {
    // The worker's question comes after the agent got its observer.
    if (call == "RegisterEvents") agent.fail_user_info(0);
  });
  ASSERT_EQ(init(), 0u);
  EXPECT_TRUE(becomes("device token"));
  EXPECT_EQ(agent.count("GetUserInfo"), 2u);
}

TEST_F(IntegratorIdentity, IsNotSoughtByTheWorkerWhereNobodyListens) {
  have_product_agent();
  agent.fail_user_info(5);
  ASSERT_EQ(init(), 0u);
  ASSERT_TRUE(has_asked_bus(2));
  plugin->UnInit();
  EXPECT_EQ(agent.count("GetUserInfo"), 1u);
}

TEST_F(IntegratorIdentity, IsLoggedWithItsToken) {
  have_product_agent();
  agent.set_user(L"d\u00e9vice", L"secret");
  ASSERT_EQ(init(), 0u);
  EXPECT_LOGGED(log, 16, source_scope, L"received device_id: d\u00e9vice and user_token: secret");
}

TEST_F(IntegratorIdentity, ComesInUtf8) {
  have_product_agent();
  agent.set_user(L"\u00e4", L"\u20ac");
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), "\xc3\xa4 \xe2\x82\xac");
}

TEST_F(IntegratorIdentity, GivesEveryUserInfoBack) {
  begin_with_user();
  agent.change();
  agent.set_user(L"other", L"user");
  agent.change();
  EXPECT_EQ(agent.count("GetUserInfo"), 3u);
  EXPECT_EQ(agent.user_infos_alive(), 0u);
  EXPECT_EQ(agent.surplus_releases(), 0u);
}

TEST_F(IntegratorIdentity, CallsOnlyWhatTheAgentOffersForIt) {
  begin_with_user();
  agent.change();
  plugin->UnInit();
  EXPECT_EQ(agent.calls(),
            (Lines{"GetUserInfo", "RegisterEvents", "GetUserInfo", "UnregisterEvents"}));
}

TEST_F(IntegratorIdentity, MayBeEmptyIfTheAgentSaysSo) {
  have_product_agent();
  agent.set_user(L"", L"");
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), " ");
  cloud::request_reply reply;
  EXPECT_EQ(requests()->resolve({}, reply, true).code, 232u);
}

// By the listener.

TEST_F(IntegratorIdentity, ComesWhenTheServiceAnnouncesItself) {
  begin_without_user();
  watch_refreshes();
  listen();
  announce();
  EXPECT_TRUE(becomes("device token"));
  EXPECT_TRUE(waiting::until([&] { return !refreshes().empty(); }));
  EXPECT_EQ(refreshes(), Lines{"device token"});
  EXPECT_EQ(want_events("other", false), 0u);
}

TEST_F(IntegratorIdentity, QueuesNothingForAnotherListener) {
  begin_without_user();
  listen();
  journal.clear();
  for (const auto& [channel, listener] : std::vector<std::pair<const char*, const char*>>{
           {"connect.actions", watched_listener},
           {watched_channel, "push_register"},
           {"cl.zvserv.action", watched_listener},
           {"cl.zvserv.actions2", watched_listener},
           {"Cl.zvserv.actions", watched_listener},
           {watched_channel, "product_agent_user_servic"},
           {watched_channel, "product_agent_user_service2"},
           {watched_channel, "Product_agent_user_service"},
           {"", ""},
           {watched_listener, watched_channel}}) {
    bus.announce(channel, listener);
  }
  EXPECT_EQ(who(), "232");
  plugin->UnInit();
  EXPECT_EQ(journal.count(asks_listening), 0u);
  EXPECT_EQ(agent.count("GetUserInfo"), 0u);
}

TEST_F(IntegratorIdentity, IgnoresThatAListenerIsGone) {
  begin_with_user();
  journal.clear();
  bus.withdraw(watched_channel, watched_listener);
  EXPECT_EQ(who(), "device token");
  EXPECT_TRUE(journal.lines().empty());
}

TEST_F(IntegratorIdentity, IgnoresTheFirstArgumentOfAnAnnouncement) {
  begin_without_user();
  listen();
  int anything = 0;
  face<ibus_observer>(IID_ibus_observer)
      ->on_new_listener(&anything, watched_channel, watched_listener);
  EXPECT_TRUE(becomes("device token"));
}

TEST_F(IntegratorIdentity, IsNotReadForAnAnnouncementThatTheBusDoesNotConfirm) {
  begin_without_user();
  announce();
  ASSERT_TRUE(has_asked_bus(3));
  plugin->UnInit();
  EXPECT_EQ(agent.count("GetUserInfo"), 0u);
}

TEST_F(IntegratorIdentity, IsNotReadAgainForAnAnnouncementIfItIsThere) {
  begin_with_user();
  watch_refreshes();
  listen();
  agent.set_user(L"another", L"user");
  journal.clear();
  announce();
  announce();
  // What was announced earlier is done before UnInit, or cancelled by it.
  EXPECT_EQ(who(), "device token");
  plugin->UnInit();
  EXPECT_EQ(journal.count(asks_listening), 0u);
  EXPECT_EQ(journal.count("agent GetUserInfo"), 0u);
  EXPECT_TRUE(refreshes().empty());
}

TEST_F(IntegratorIdentity, StaysUnknownIfTheAgentFailsForTheWorker) {
  begin_without_user();
  listen();
  agent.fail_user_info(6);
  announce();
  EXPECT_TRUE(waiting::until(
      [&] { return log.count(4, source_scope, L"Agent-GetUserInfo has failed, err: 6") == 1; }));
  plugin->UnInit();
  EXPECT_EQ(who(), "232");
}

TEST_F(IntegratorIdentity, ComesWithALaterAnnouncementAfterAFailedOne) {
  begin_without_user();
  listen();
  agent.fail_user_info(6);
  announce();
  ASSERT_TRUE(waiting::until([&] { return agent.count("GetUserInfo") == 1; }));
  agent.fail_user_info(0);
  announce();
  EXPECT_TRUE(becomes("device token"));
}

TEST_F(IntegratorIdentity, IsForgottenByAWorkerThatFindsNobodyListening) {
  begin_with_half_a_user();
  announce();
  EXPECT_TRUE(becomes("232"));
}

// By the agent's event.

TEST_F(IntegratorIdentity, ComesWithTheAgentsEvent) {
  begin_without_user();
  watch_refreshes();
  EXPECT_EQ(agent.change(), 1u);
  EXPECT_EQ(who(), "device token");
  EXPECT_EQ(refreshes(), Lines{"device token"});
  EXPECT_EQ(same_source_lines(), 0u);
  EXPECT_TRUE(log.traced(change_scope));
}

TEST_F(IntegratorIdentity, TellsNobodyOfAnUnchangedUser) {
  begin_with_user();
  watch_refreshes();
  agent.change();
  EXPECT_EQ(same_source_lines(), 1u);
  EXPECT_TRUE(refreshes().empty());
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorIdentity, TellsThePushServiceOfAnotherUser) {
  begin_with_user();
  watch_refreshes();
  agent.set_user(L"device", L"another");
  agent.change();
  EXPECT_EQ(refreshes(), Lines{"device another"});
  EXPECT_EQ(who(), "device another");
  EXPECT_EQ(same_source_lines(), 0u);
}

TEST_F(IntegratorIdentity, TellsThePushServiceOfAnotherDevice) {
  begin_with_user();
  watch_refreshes();
  agent.set_user(L"another", L"token");
  agent.change();
  EXPECT_EQ(refreshes(), Lines{"another token"});
  EXPECT_EQ(who(), "another token");
}

TEST_F(IntegratorIdentity, IsRefusedAfterTheAgentFailed) {
  begin_with_user();
  watch_refreshes();
  agent.fail_user_info(31);
  agent.change();
  EXPECT_EQ(who(), "232");
  EXPECT_TRUE(refreshes().empty());
  EXPECT_LOGGED(log, 4, source_scope, L"Agent-GetUserInfo has failed, err: 31");
  cloud::request_reply reply;
  const auto status = requests()->resolve({}, reply, true);
  EXPECT_EQ(status.error_type, 1u);
  EXPECT_EQ(status.code, 232u);
}

TEST_F(IntegratorIdentity, ComesBackAsTheSameAfterTheAgentsFailure) {
  begin_with_user();
  watch_refreshes();
  agent.fail_user_info(31);
  agent.change();
  agent.fail_user_info(0);
  agent.change();
  // The texts were kept, so nothing is new.
  EXPECT_EQ(same_source_lines(), 1u);
  EXPECT_TRUE(refreshes().empty());
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorIdentity, IsNotBroughtBackByAnAnnouncementWhileItsTextsAreKept) {
  begin_with_user();
  agent.fail_user_info(31);
  agent.change();
  agent.fail_user_info(0);
  listen();
  journal.clear();
  announce();
  EXPECT_EQ(who(), "232");
  plugin->UnInit();
  EXPECT_EQ(who(), "232");
  EXPECT_EQ(journal.count("agent GetUserInfo"), 0u);
}

TEST_F(IntegratorIdentity, IgnoresTheAgentsOtherEvent) {
  begin_without_user();
  EXPECT_EQ(agent.call_ignored(), 1u);
  EXPECT_EQ(who(), "232");
  EXPECT_EQ(agent.count("GetUserInfo"), 0u);
}

TEST_F(IntegratorIdentity, ComesOnlyByEventsWithoutABus) {
  bus.unload();
  have_client_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(who(), "232");
  agent.change();
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorIdentity, NeverHoldsAnApplication) {
  begin_with_user();
  cloud_requests.tell_network_available();
  ASSERT_EQ(want_events("app", false), 0u);
  cloud::request_reply reply;
  cloud::connect_request request;
  request.source.app_id = "forged";
  ASSERT_EQ(requests()->resolve(request, reply, true).code, 0u);
  ASSERT_FALSE(cloud_requests.requests().empty());
  const cloud::connect_source sent = cloud_requests.requests().back().source;
  EXPECT_STREQ(sent.app_id.c_str(), "Desktop");
  EXPECT_STREQ(sent.device_id.c_str(), "device");
  EXPECT_STREQ(sent.user_token.c_str(), "token");
}

TEST_F(IntegratorIdentity, OfTheNewUserIsInTheNextRequest) {
  begin_with_user();
  agent.set_user(L"device", L"second");
  agent.change();
  cloud::request_reply reply;
  ASSERT_EQ(requests()->resolve({}, reply, true).code, 0u);
  EXPECT_STREQ(cloud_requests.requests().back().source.user_token.c_str(), "second");
}

}  // namespace
