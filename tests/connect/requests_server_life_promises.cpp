#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "frame/msgbus/ibus_observer.h"
#include "support/ConnectServerTest.h"
#include "support/log_for_life.h"

namespace {

using Calls = std::vector<std::string>;
using HostCalls = std::vector<std::wstring>;

class ConnectServerLife : public support::ConnectServerTest {
 protected:
  /// It says why, and lets go of all again.
  void expect_no_start(const wchar_t* why) {
    EXPECT_EQ(init(), 31u);
    EXPECT_LOGGED(log, 4, init_scope, why);
    EXPECT_TRUE(log.traced(uninit_scope));
    expect_empty_handed();
  }
};

TEST_F(ConnectServerLife, AsksHostAndBusInItsOrder) {
  bus.set_hook([this](const std::string&) {
    // The bus comes last of all.
    EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
  });
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(host.calls(), (HostCalls{L"get_execution_service", L"get_plugin_manager",
                                     L"get_plugin connect_integrator"}));
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.actions", "Subscribe connect.actions",
                                "SetCallback connect.actions"}));
  EXPECT_EQ(bus.visits(), 1u);
  EXPECT_TRUE(log.traced(init_scope));
  EXPECT_TRUE(log.nothing_logged(4));
  bus.set_hook({});
}

TEST_F(ConnectServerLife, AsksForTheInterfaceOfRequests) {
  init();
  ASSERT_EQ(host.ids(L"connect_integrator").size(), 1u);
  EXPECT_TRUE(host.ids(L"connect_integrator")[0] == IID_IConnectRequests);
  const std::uint64_t words[2] = {0xbb51c767af7c71e6, 0xbfe1f5cfcb224b06};
  EXPECT_EQ(std::memcmp(&IID_IConnectRequests, words, sizeof words), 0);
}

TEST_F(ConnectServerLife, AnnouncesNoListener) {
  init();
  EXPECT_TRUE(bus.listeners().empty());
}

TEST_F(ConnectServerLife, RefusesToLiveWithoutAHost) {
  EXPECT_EQ(plugin->Init(nullptr), 87u);
  EXPECT_LOGGED(log, 4, init_scope, L"Failed to init serv plugin; err = 87");
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(log.traced(init_scope));
  EXPECT_FALSE(log.traced(uninit_scope));
}

TEST_F(ConnectServerLife, RefusesAHostThatLacksAService) {
  host.set_execution_service(nullptr);
  EXPECT_EQ(init(), 87u);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to init serv plugin; err = 87"), 1u);

  support::FakeHost other;
  other.set_plugin_manager(nullptr);
  EXPECT_EQ(plugin->Init(&other), 87u);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to init serv plugin; err = 87"), 2u);
  EXPECT_TRUE(bus.calls().empty());
  expect_empty_handed();
}

TEST_F(ConnectServerLife, PassesOnTheStatusOfAMissingIntegrator) {
  host.fail_plugin(L"connect_integrator", 1234);
  EXPECT_EQ(init(), 1234u);
  EXPECT_LOGGED(log, 4, components_label, L"Failed to get plugin connect_integrator err = 1234");
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_TRUE(bus.calls().empty());
  expect_empty_handed();
}

TEST_F(ConnectServerLife, FailsWithoutABus) {
  bus.unload();
  expect_no_start(L"Failed to get bus");
}

TEST_F(ConnectServerLife, FailsWithoutItsChannel) {
  bus.refuse_channel(channel);
  expect_no_start(L"Failed to get channel connect.actions");
}

TEST_F(ConnectServerLife, FailsWithABusThatHasNoCore) {
  bus.refuse_core();
  expect_no_start(L"Failed to get channel connect.actions");
}

TEST_F(ConnectServerLife, FailsWithoutASubscription) {
  bus.refuse_subscriptions();
  expect_no_start(L"Failed to subscribe to channel connect.actions");
}

TEST_F(ConnectServerLife, DoesNotLookAtTheStatusOfSubscribing) {
  bus.set_callback_status(5);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(bus.subscriptions_alive(channel), 1u);
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_FALSE(ask(message()).has_value());
}

TEST_F(ConnectServerLife, LetsGoOfTheBusBeforeThePlugin) {
  init();
  bus.forget_calls();
  host.clear();
  bus.set_hook([this](const std::string& call) {
    EXPECT_EQ(call, "Unsubscribe connect.actions");
    EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
  });
  EXPECT_EQ(plugin->UnInit(), 0u);
  bus.set_hook({});
  EXPECT_EQ(bus.calls(), Calls{"Unsubscribe connect.actions"});
  EXPECT_EQ(host.calls(), HostCalls{L"release_plugin connect_integrator"});
  EXPECT_TRUE(log.traced(uninit_scope));
  expect_empty_handed();
}

TEST_F(ConnectServerLife, MayBeTakenDownAgainAfterAFailure) {
  host.fail_plugin(L"connect_integrator", 5);
  EXPECT_EQ(init(), 5u);
  plugin->UnInit();
  bus.unload();
  EXPECT_EQ(init(), 5u);
  plugin->UnInit();
  EXPECT_EQ(plugin->Init(nullptr), 87u);
  plugin->UnInit();
  plugin->UnInit();
  expect_empty_handed();
}

TEST_F(ConnectServerLife, HearsNothingAfterUnInit) {
  init();
  plugin->UnInit();
  EXPECT_FALSE(ask(message()).has_value());
  EXPECT_TRUE(requests.asks().empty());
}

TEST_F(ConnectServerLife, LivesSeveralTimes) {
  for (int life = 0; life < 3; ++life) {
    EXPECT_EQ(init(), 0u);
    EXPECT_EQ(ask(message()), success("{}", 0));
    plugin->UnInit();
    expect_empty_handed();
  }
}

TEST_F(ConnectServerLife, MakesUpForAFailedLifeWithAGoodOne) {
  bus.refuse_subscriptions();
  EXPECT_EQ(init(), 31u);
  bus.refuse_subscriptions(false);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(ask(message()), success("{}", 0));
}

TEST_F(ConnectServerLife, WaitsInUnInitForARequestUnderWay) {
  init();
  const waiting::Gate entered;
  const waiting::Gate leave;
  requests.answer_by([=](const auto&, cloud::request_reply&) {
    entered.open();
    leave.wait();
    return cloud::request_status{};
  });
  waiting::Attempt delivery([this] { ask(message()); });
  ASSERT_TRUE(entered.wait());
  waiting::Attempt end([this] { plugin->UnInit(); });
  ASSERT_TRUE(waiting::until([&] { return bus.count("Unsubscribe connect.actions") == 1; }));
  EXPECT_FALSE(end.is_done());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
  leave.open();
  EXPECT_TRUE(delivery.ends());
  EXPECT_TRUE(end.ends());
  expect_empty_handed();
}

TEST_F(ConnectServerLife, KnowsNoInterfacesButAPluginsOwn) {
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequests), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_ibus_observer), nullptr);
}

TEST(ConnectServerLog, StaysOnForTheObjectsWholeLife) {
  const support::ModuleFolder folder;
  support::expect_log_for_life<cloud::connect::ConnectRequestsServer>(87u);
}

}  // namespace
