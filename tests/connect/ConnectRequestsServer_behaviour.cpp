#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "support/ConnectRequestsServerTest.h"

namespace {

using support::BusFields;
using Calls = std::vector<std::string>;
using HostCalls = std::vector<std::wstring>;

constexpr wchar_t init_scope[] = L"cloud::connect::ConnectRequestsServer::Init";
constexpr wchar_t uninit_scope[] = L"cloud::connect::ConnectRequestsServer::UnInit";
constexpr wchar_t components_scope[] = L"cloud::connect::ConnectRequestsServer::init_components";

class ConnectRequestsServer : public support::ConnectRequestsServerTest {};

// Coming up.

TEST_F(ConnectRequestsServer, TakesThePluginThenSubscribesWithoutAListener) {
  EXPECT_EQ(plugin->Init(&host), 0U);
  EXPECT_EQ(host.calls(), (HostCalls{L"get_execution_service", L"get_plugin_manager",
                                     L"get_plugin connect_integrator"}));
  EXPECT_EQ(host.last_id(),
            (IID{0xaf7c71e6, 0xc767, 0xbb51, {0x06, 0x4b, 0x22, 0xcb, 0xcf, 0xf5, 0xe1, 0xbf}}));
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.actions", "Subscribe connect.actions",
                                "SetCallback connect.actions"}));
  EXPECT_TRUE(bus.listeners().empty());
  EXPECT_TRUE(log.traced(init_scope));
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(ConnectRequestsServer, RefusesToStartWithoutAHost) {
  EXPECT_EQ(plugin->Init(nullptr), 87U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to init serv plugin; err = 87"), 1U);
  EXPECT_FALSE(log.traced(uninit_scope));
  EXPECT_TRUE(log.traced(init_scope));
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, RefusesAHostWithoutPlugins) {
  host.set_plugin_manager(nullptr);
  EXPECT_EQ(plugin->Init(&host), 87U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to init serv plugin; err = 87"), 1U);
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, RefusesAHostWithoutExecution) {
  host.set_execution_service(nullptr);
  EXPECT_EQ(plugin->Init(&host), 87U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to init serv plugin; err = 87"), 1U);
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, FailsWithThePluginsOwnStatusAfterUnInit) {
  host.fail_plugin(L"connect_integrator", 1234);
  EXPECT_EQ(plugin->Init(&host), 1234U);
  EXPECT_EQ(log.count(4, components_scope, L"Failed to get plugin connect_integrator err = 1234"),
            1U);
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, FailsWithoutABus) {
  bus.unload();
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to get bus"), 1U);
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(ConnectRequestsServer, FailsWithABusThatDoesNotAnswer) {
  bus.refuse_bus();
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to get bus"), 1U);
}

TEST_F(ConnectRequestsServer, FindsTheBusInTheModulesOwnFolderAlone) {
  bus.unload();
  const support::TemporaryFolder elsewhere;
  bus.load(elsewhere.path());
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(bus.visits(), 0U);
  bus.unload();
}

TEST_F(ConnectRequestsServer, FailsWithoutItsChannel) {
  bus.refuse_channel(actions);
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to get channel connect.actions"), 1U);
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(ConnectRequestsServer, FailsOnABusWithoutChannelsAtAll) {
  bus.refuse_core();
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to get channel connect.actions"), 1U);
}

TEST_F(ConnectRequestsServer, FailsWithoutASubscription) {
  bus.refuse_subscriptions();
  EXPECT_EQ(plugin->Init(&host), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to subscribe to channel connect.actions"), 1U);
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(ConnectRequestsServer, ComesUpAllTheSameIfItsCallbackIsRefused) {
  bus.set_callback_status(31);
  EXPECT_EQ(plugin->Init(&host), 0U);
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_EQ(bus.subscriptions_alive(actions), 1U);
  EXPECT_FALSE(ask(full_request()));
}

TEST_F(ConnectRequestsServer, ComesUpAfterAFailure) {
  bus.refuse_subscriptions();
  EXPECT_EQ(plugin->Init(&host), 31U);
  bus.refuse_subscriptions(false);
  init();
  EXPECT_TRUE(ask(full_request()));
}

TEST_F(ConnectRequestsServer, HoldsThePluginBeforeTheFirstMessageCanArrive) {
  int plugins = 0;
  bus.set_hook([&](const std::string& call) {
    if (call == "SetCallback connect.actions") plugins = host.plugins_out(L"connect_integrator");
  });
  init();
  EXPECT_EQ(plugins, 1);
}

// Going down.

TEST_F(ConnectRequestsServer, LetsGoOfTheChannelThenOfThePlugin) {
  init();
  bus.forget_calls();
  host.clear();
  bool unsubscribed_first = false;
  bus.set_hook([&](const std::string& call) {
    if (call == "Unsubscribe connect.actions") unsubscribed_first = host.calls().empty();
  });
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_TRUE(unsubscribed_first);
  EXPECT_EQ(bus.calls(), Calls{"Unsubscribe connect.actions"});
  EXPECT_EQ(host.calls(), HostCalls{L"release_plugin connect_integrator"});
  EXPECT_TRUE(log.traced(uninit_scope));
}

TEST_F(ConnectRequestsServer, BearsUnInitAgainAndAgain) {
  plugin->UnInit();
  init();
  plugin->UnInit();
  host.clear();
  bus.forget_calls();
  plugin->UnInit();
  EXPECT_TRUE(host.calls().empty());
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, RunsEachInitInFullAndDropsWhatTheFirstHeld) {
  init();
  host.clear();
  bus.forget_calls();
  init();
  EXPECT_EQ(bus.calls(), (Calls{"Unsubscribe connect.actions", "GetChannel connect.actions",
                                "Subscribe connect.actions", "SetCallback connect.actions"}));
  EXPECT_EQ(host.calls(), (HostCalls{L"release_plugin connect_integrator", L"get_execution_service",
                                     L"get_plugin_manager", L"get_plugin connect_integrator"}));
  EXPECT_EQ(bus.subscriptions_alive(actions), 1U);
  requests.forget_asks();
  ask(full_request());
  EXPECT_EQ(requests.asks().size(), 1U);
  plugin->UnInit();
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(ConnectRequestsServer, LeavesNoSubscriptionToAnObjectThatIsGone) {
  init();
  bus.forget_calls();
  host.clear();
  bool unsubscribed_first = false;
  bus.set_hook([&](const std::string&) { unsubscribed_first = host.calls().empty(); });
  plugin.reset();
  EXPECT_TRUE(unsubscribed_first) << "a message may arrive until then, and needs the plug-in";
  EXPECT_EQ(bus.calls(), Calls{"Unsubscribe connect.actions"});
  EXPECT_EQ(host.calls(), HostCalls{L"release_plugin connect_integrator"});
  EXPECT_FALSE(ask(full_request()));
}

TEST_F(ConnectRequestsServer, WaitsInUnInitForTheRequestUnderWay) {
  init();
  const waiting::Gate asked;
  const waiting::Gate answer;
  requests.answer_by([=](const auto&, auto&) {
    asked.open();
    answer.wait();
    return cloud::request_status{};
  });
  const waiting::Gate leaving;
  bus.set_hook([=](const std::string& call) {
    if (call == "Unsubscribe connect.actions") leaving.open();
  });
  const waiting::Attempt asking([this] { EXPECT_TRUE(ask(full_request())); });
  ASSERT_TRUE(asked.wait());
  const waiting::Attempt ending([this] { plugin->UnInit(); });
  ASSERT_TRUE(leaving.wait());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1) << "still in use";
  EXPECT_FALSE(ending.is_done());
  answer.open();
  EXPECT_TRUE(ending.ends());
  EXPECT_TRUE(asking.ends());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

// The object.

TEST_F(ConnectRequestsServer, AnswersForItsTwoIdentifiersAlone) {
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequests), nullptr);
}

TEST_F(ConnectRequestsServer, HasNothingToStartOrStop) {
  init();
  bus.forget_calls();
  EXPECT_EQ(plugin->Start(), 0U);
  plugin->Stop();
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(ask(full_request()));
}

}  // namespace
