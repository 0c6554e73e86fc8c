#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "push/push_service.h"
#include "support/IntegratorTest.h"

namespace {

using IntegratorInit = support::IntegratorTest;
using Lines = std::vector<std::string>;

TEST_F(IntegratorInit, AsksEverybodyInItsOrder) {
  have_product_agent();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(journal.lines(), (Lines{
                                 "host get_execution_service",
                                 "host get_plugin_manager",
                                 "host get_plugin productagent",
                                 asks_listening,
                                 "agent GetUserInfo",
                                 "zvnc init #1",
                                 "zvnc set_option #1 1 1",
                                 "host get_plugin cloud_requests",
                                 "bus AddObserver",
                                 "cloud add_observer 0",
                                 "agent RegisterEvents",
                                 "bus AddObserver",
                             }));
  EXPECT_TRUE(log.traced(init_scope));
  EXPECT_EQ(failures(), std::vector<std::wstring>());
}

TEST_F(IntegratorInit, AsksForTheClientOfAnAgentOnlyIfThereIsNone) {
  have_product_agent();
  have_client_agent();
  EXPECT_EQ(init(), 0u);
  EXPECT_TRUE(fake_host.ids(L"productagentcommclient").empty());
  EXPECT_EQ(failures(), std::vector<std::wstring>());
}

TEST_F(IntegratorInit, TakesTheClientOfAnAgentInItsPlace) {
  have_client_agent();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(journal.lines_without({"zvnc", "IsListening"}),
            (Lines{
                "host get_execution_service",
                "host get_plugin_manager",
                "host get_plugin productagent",
                "host get_plugin productagentcommclient",
                "host get_plugin cloud_requests",
                "bus AddObserver",
                "cloud add_observer 0",
                "agent RegisterEvents",
                "bus AddObserver",
            }));
  EXPECT_LOGGED(log, 4, init_scope,
                L"Could not get Product Agent plugin, try Product Agent Client plugin");
  EXPECT_EQ(log.count(4, init_scope, L"Could not get Product Agent Client plugin"), 0u);
}

TEST_F(IntegratorInit, AsksForEachPluginByItsInterface) {
  const IID product_agent = {
      0x3b231fe2, 0x89c2, 0x953e, {0x38, 0x49, 0x45, 0xb5, 0x89, 0x89, 0x42, 0x95}};
  const IID agent_client = {
      0x341a34ac, 0x6892, 0x85db, {0x11, 0x49, 0x50, 0x80, 0xfa, 0x93, 0x40, 0x0a}};
  const IID cloud_plugin = {
      0x103e24c1, 0xbdf1, 0xbd3e, {0xdf, 0x4a, 0x70, 0x50, 0x46, 0x81, 0x10, 0xd4}};
  have_client_agent();
  EXPECT_EQ(init(), 0u);
  ASSERT_EQ(fake_host.ids(L"productagent").size(), 1u);
  ASSERT_EQ(fake_host.ids(L"productagentcommclient").size(), 1u);
  ASSERT_EQ(fake_host.ids(L"cloud_requests").size(), 1u);
  EXPECT_TRUE(fake_host.ids(L"productagent")[0] == product_agent);
  EXPECT_TRUE(fake_host.ids(L"productagentcommclient")[0] == agent_client);
  EXPECT_TRUE(fake_host.ids(L"cloud_requests")[0] == cloud_plugin);
}

TEST_F(IntegratorInit, HandsEverybodyTheRightFaces) {
  have_product_agent();
  EXPECT_EQ(init(), 0u);
  auto* const service = static_cast<cloud::push::push_service*>(push_service());
  EXPECT_EQ(cloud_requests.last_added, static_cast<cloud::ICloudConnectionObserver*>(service));
  EXPECT_EQ(agent.registered(),
            std::vector<IProductAgentEvents*>{static_cast<IProductAgentEvents*>(&*plugin)});
  EXPECT_EQ(bus.observers_alive(), 2u) << "this plug-in and its push client";
}

TEST_F(IntegratorInit, GivesThePushServiceTheSharedInstance) {
  have_product_agent();
  EXPECT_EQ(init(), 0u);
  cloud_requests.tell_network_available();
  EXPECT_EQ(want_events("app", false), 0u);
  ASSERT_FALSE(client.registrations().empty());
  EXPECT_EQ(client.registrations().back().instance, "#1");
  EXPECT_EQ(client.count("init #1"), 1u);
}

TEST_F(IntegratorInit, SharesALivingInstance) {
  have_product_agent();
  const auto owner = cirrel_service::init();
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(client.count_starting("init"), 1u);
}

TEST_F(IntegratorInit, ClosesDownForAHostThatLacksAService) {
  for (const bool lacks_manager : {true, false}) {
    if (lacks_manager) {
      fake_host.set_plugin_manager(nullptr);
    } else {
      fake_host.set_plugin_manager(&fake_host);
      fake_host.set_execution_service(nullptr);
    }
    log.clear();
    journal.clear();
    EXPECT_EQ(init(), 87u);
    EXPECT_LOGGED(log, 4, init_scope, L"servplugin::Init err=87");
    EXPECT_TRUE(log.traced(uninit_scope));
    EXPECT_TRUE(journal.lines_without({"host get_execution", "host get_plugin_manager"}).empty());
    EXPECT_EQ(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  }
}

TEST_F(IntegratorInit, GoesOnWithoutABus) {
  bus.unload();
  have_product_agent();
  EXPECT_EQ(init(), 0u);
  EXPECT_LOGGED(log, 4, init_scope, L"Could not get msgbus");
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_EQ(who(), "device token");
  plugin->UnInit();
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(IntegratorInit, FailsWithoutTheClientLibrary) {
  have_product_agent();
  client.fail_init(7);
  EXPECT_EQ(init(), 31u);
  EXPECT_LOGGED(log, 4, init_scope, L"Failed to init cirrel");
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_TRUE(fake_host.ids(L"cloud_requests").empty());
  EXPECT_EQ(fake_host.plugins_out(L"productagent"), 0);
  EXPECT_EQ(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequests), nullptr);
}

TEST_F(IntegratorInit, FailsWithoutTheCloudRequests) {
  have_product_agent();
  fake_host.fail_plugin(L"cloud_requests", 1234);
  EXPECT_EQ(init(), 31u);
  EXPECT_LOGGED(log, 4, requests_label, L"Failed to get plugin cloud_requests; err = 1234");
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(fake_host.plugins_out(L"productagent"), 0);
  EXPECT_EQ(client.instances_alive(), 0u);
  EXPECT_EQ(plugin->QueryInterface(IID_IPushService), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
}

TEST_F(IntegratorInit, ChangesNothingForARefusedObserver) {
  have_product_agent();
  bus.refuse_observers();
  EXPECT_EQ(init(), 0u);
  EXPECT_LOGGED(log, 4, init_scope, L"Could not add bus observer");
  EXPECT_EQ(log.count(4, init_scope, L"Could not add bus observer"), 1u);
  EXPECT_EQ(who(), "device token");
  EXPECT_NE(push_service(), nullptr);
}

TEST_F(IntegratorInit, ChangesNothingForAnAgentThatRefusesItsEvents) {
  have_product_agent();
  agent.fail_registration(5);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorInit, BuildsEverythingWithoutAnyAgentAndTakesItDownAgain) {
  fake_host.fail_plugin(L"productagent", 5);
  fake_host.fail_plugin(L"productagentcommclient", 77);
  EXPECT_EQ(init(), 77u);
  EXPECT_EQ(journal.lines_without({"IsListening"}), (Lines{
                                                        "host get_execution_service",
                                                        "host get_plugin_manager",
                                                        "host get_plugin productagent",
                                                        "host get_plugin productagentcommclient",
                                                        "zvnc init #1",
                                                        "zvnc set_option #1 1 1",
                                                        "host get_plugin cloud_requests",
                                                        "bus AddObserver",
                                                        "cloud add_observer 0",
                                                        "bus AddObserver",
                                                        "bus RemoveObserver",
                                                        "cloud remove_observer 0",
                                                        "zvnc uninit #1",
                                                        "host release_plugin cloud_requests",
                                                    }));
  EXPECT_LOGGED(log, 4, init_scope,
                L"Could not get Product Agent plugin, try Product Agent Client plugin");
  EXPECT_LOGGED(log, 4, init_scope, L"Could not get Product Agent Client plugin");
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(plugin->QueryInterface(IID_IPushService), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
}

TEST_F(IntegratorInit, SaysInItsOrderWhichAgentsAreMissing) {
  EXPECT_EQ(init(), 1168u);
  EXPECT_EQ(failures(), (std::vector<std::wstring>{
                            L"Could not get Product Agent plugin, try Product Agent Client plugin",
                            L"Could not get Product Agent Client plugin"}));
}

TEST_F(IntegratorInit, LeavesNothingToTheWorkerIfTheUserIsKnown) {
  begin_with_half_a_user();
  // The worker would ask again for a user without a token; the announcement's turn comes after.
  listen();
  agent.set_user(L"device", L"token");
  announce();
  EXPECT_TRUE(becomes("device token"));
  EXPECT_EQ(journal.count(asks_listening), 2u);
  EXPECT_EQ(agent.count("GetUserInfo"), 2u);
}

TEST_F(IntegratorInit, AsksTheBusBeforeItCountsOnTheAgentInThisProcess) {
  listen();
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(journal.count(asks_listening), 1u);
  EXPECT_EQ(log.count(16, listening_label, L"is listening"), 1u);
}

TEST_F(IntegratorInit, WorksInFullAfterAFailure) {
  EXPECT_EQ(init(), 1168u) << "without an agent";
  client.fail_init(7, 1);
  have_product_agent();
  EXPECT_EQ(init(), 31u);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(who(), "device token");
  EXPECT_NE(push_service(), nullptr);
}

TEST_F(IntegratorInit, DropsTheInstanceBehindTheFailedLife) {
  EXPECT_EQ(init(), 1168u);
  EXPECT_EQ(client.instances_alive(), 0u);
  EXPECT_EQ(fake_host.plugins_out(L"cloud_requests"), 0);
}

}  // namespace
