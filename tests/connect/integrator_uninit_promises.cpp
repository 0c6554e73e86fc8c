#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "push/push_service.h"
#include "support/IntegratorTest.h"

namespace {

using Lines = std::vector<std::string>;

class IntegratorUnInit : public support::IntegratorTest {
 protected:
  void expect_full_life() {
    EXPECT_NE(push_service(), nullptr);
    EXPECT_EQ(agent.registered().size(), 1u);
    EXPECT_EQ(bus.observers_alive(), 2u);
    EXPECT_EQ(client.instances_alive(), 1u);
    EXPECT_EQ(fake_host.plugins_out(L"cloud_requests"), 1);
  }
  void expect_taken_down() {
    EXPECT_EQ(push_service(), nullptr);
    EXPECT_TRUE(agent.registered().empty());
    EXPECT_LE(bus.observers_alive(), 1u) << "the push client's alone may be there";
    EXPECT_EQ(client.instances_alive(), 0u);
    EXPECT_EQ(fake_host.plugins_out(L"cloud_requests"), 0);
    EXPECT_EQ(fake_host.plugins_out(L"productagent"), 0);
    EXPECT_EQ(fake_host.plugins_out(L"productagentcommclient"), 0);
  }
};

TEST_F(IntegratorUnInit, LetsGoInItsOrder) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  auto* const observer = static_cast<cloud::ICloudConnectionObserver*>(
      static_cast<cloud::push::push_service*>(push_service()));
  journal.clear();
  plugin->UnInit();
  EXPECT_EQ(journal.lines(), (Lines{
                                 "bus RemoveObserver",
                                 "agent UnregisterEvents",
                                 "host release_plugin productagent",
                                 "cloud remove_observer 0",
                                 "zvnc uninit #1",
                                 "host release_plugin cloud_requests",
                             }));
  EXPECT_EQ(cloud_requests.last_removed, observer);
  EXPECT_TRUE(log.traced(uninit_scope));
  expect_taken_down();
}

TEST_F(IntegratorUnInit, LetsGoOfTheClientOfAnAgent) {
  have_client_agent();
  ASSERT_EQ(init(), 0u);
  ASSERT_TRUE(has_asked_bus(2));
  journal.clear();
  plugin->UnInit();
  EXPECT_EQ(journal.lines(), (Lines{
                                 "bus RemoveObserver",
                                 "agent UnregisterEvents",
                                 "host release_plugin productagentcommclient",
                                 "cloud remove_observer 0",
                                 "zvnc uninit #1",
                                 "host release_plugin cloud_requests",
                             }));
}

TEST_F(IntegratorUnInit, KeepsThePushClientUntilThePluginsEnd) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  EXPECT_EQ(bus.observers_alive(), 1u);
  EXPECT_NE(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  journal.clear();
  plugin.reset();
  EXPECT_EQ(bus.observers_alive(), 0u);
  EXPECT_EQ(journal.lines(), Lines{"bus RemoveObserver"});
}

TEST_F(IntegratorUnInit, LeavesThePushClientToTheNextInitToReplace) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  journal.clear();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(journal.count("bus AddObserver"), 2u);
  EXPECT_EQ(journal.count("bus RemoveObserver"), 1u);
  EXPECT_EQ(bus.observers_alive(), 2u);
}

TEST_F(IntegratorUnInit, WorksOnlyOnceForTwoInits) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  journal.clear();
  log.clear();
  EXPECT_EQ(init(), 0u);
  EXPECT_TRUE(journal.lines().empty());
  EXPECT_TRUE(log.traced(init_scope));

  plugin->UnInit();
  EXPECT_TRUE(journal.lines().empty());
  EXPECT_TRUE(log.traced(uninit_scope));
  expect_full_life();
  EXPECT_EQ(who(), "device token");

  plugin->UnInit();
  expect_taken_down();
}

TEST_F(IntegratorUnInit, LooksAtNoFurtherHost) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  support::FakeHost other;
  other.set_plugin_manager(nullptr);
  EXPECT_EQ(plugin->Init(&other), 0u);
  EXPECT_EQ(plugin->Init(nullptr), 0u);
  EXPECT_TRUE(other.calls().empty());
}

TEST_F(IntegratorUnInit, ToleratesAnObjectThatNeverLived) {
  journal.clear();
  plugin->UnInit();
  EXPECT_TRUE(journal.lines().empty());
  EXPECT_TRUE(log.traced(uninit_scope));
}

TEST_F(IntegratorUnInit, TakesDownAgainAtACountOfZero) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  journal.clear();
  log.clear();
  plugin->UnInit();
  EXPECT_TRUE(journal.lines().empty());
  EXPECT_TRUE(log.traced(uninit_scope));
  expect_taken_down();
}

TEST_F(IntegratorUnInit, WrapsItsCountSoThatASurplusCostsOneInit) {
  have_product_agent();
  plugin->UnInit();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(push_service(), nullptr);
  EXPECT_EQ(init(), 0u);
  expect_full_life();
  plugin->UnInit();
  expect_taken_down();
}

TEST_F(IntegratorUnInit, LivesSeveralTimes) {
  have_product_agent();
  for (int life = 1; life <= 3; ++life) {
    const std::wstring token = L"token" + std::to_wstring(life);
    agent.set_user(L"device", token);
    ASSERT_EQ(init(), 0u);
    expect_full_life();
    EXPECT_EQ(who(), "device token" + std::to_string(life));
    plugin->UnInit();
    expect_taken_down();
  }
  EXPECT_EQ(client.count_starting("init "), 3u);
}

TEST_F(IntegratorUnInit, FindsTheUserByTheWorkerInEachLife) {
  have_client_agent();
  for (int life = 1; life <= 2; ++life) {
    const std::string number = std::to_string(life);
    agent.fail_user_info(0);
    agent.set_user(L"device", L"token" + std::wstring(number.begin(), number.end()));
    listen(false);
    ASSERT_EQ(init(), 0u);
    listen();
    announce();
    if (life == 1) {
      EXPECT_TRUE(becomes("device token1"));
    } else {
      // Texts of an earlier life count as a user who is there already.
      EXPECT_EQ(who(), "232");
      agent.change();
      EXPECT_EQ(who(), "device token2");
    }
    plugin->UnInit();
  }
}

TEST_F(IntegratorUnInit, HearsNothingOfTheBusAfterwards) {
  have_client_agent();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  journal.clear();
  listen();
  announce();
  EXPECT_EQ(journal.count("agent GetUserInfo"), 0u);
  EXPECT_TRUE(journal.lines().empty());
}

TEST_F(IntegratorUnInit, HearsNothingOfTheAgentAfterwards) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  EXPECT_EQ(agent.change(), 0u);
}

TEST_F(IntegratorUnInit, KeepsTheInstanceForAnotherOwner) {
  have_product_agent();
  const auto owner = cirrel_service::init();
  ASSERT_EQ(init(), 0u);
  plugin->UnInit();
  EXPECT_EQ(client.instances_alive(), 1u);
  EXPECT_EQ(client.count_starting("uninit"), 0u);
}

}  // namespace
