// A server's beginning and its end, and what it does about clients that appear.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "push/PushPromises.h"
#include "push/PushServiceServerTest.h"

namespace {

using support::BusFields;
using Lines = std::vector<std::string>;
using WideLines = std::vector<std::wstring>;

constexpr const wchar_t* init = L"push_service_server::Init";
constexpr const wchar_t* listening = L"push_service_server::init_communication_cbks";

class PushServerLife : public PushServiceServerTest {
 protected:
  static Lines all_handles() {
    return {"Subscribe connect.actions",
            "SetCallback connect.actions",
            "AddListener connect.actions push_register",
            "Subscribe connect.actions",
            "SetCallback connect.actions",
            "AddListener connect.actions push_unregister",
            "Subscribe connect.actions",
            "SetCallback connect.actions",
            "AddListener connect.actions push_command_done"};
  }
  static Lines begin() {
    Lines lines = all_handles();
    lines.insert(lines.end(), {"AddObserver", "Send connect.events"});
    return lines;
  }
  static Lines end() {
    return {"RemoveObserver",
            "Unsubscribe connect.actions",
            "RemoveListener connect.actions push_command_done",
            "Unsubscribe connect.actions",
            "RemoveListener connect.actions push_register",
            "Unsubscribe connect.actions",
            "RemoveListener connect.actions push_unregister"};
  }
  static BusFields server_up() { return {{"module", "push"}, {"method", "on_push_server_up"}}; }

  /// No subscription any more once this listener is announced.
  void refuse_subscriptions_after(const std::string& listener) {
    bus.set_hook([this, listener](const std::string& call) {
      if (call == "AddListener connect.actions " + listener) bus.refuse_subscriptions();
    });
  }
};

TEST_F(PushServerLife, InitTakesTheServiceThenListensThenObservesThenSaysItIsUp) {
  ASSERT_EQ(server->Init(&host), 0U);
  EXPECT_EQ(host.calls(), (WideLines{L"get_execution_service", L"get_plugin_manager",
                                     L"get_plugin connect_integrator"}));
  EXPECT_EQ(host.last_id(), IID_IPushService);
  EXPECT_EQ(deeds(bus.calls()), begin());
  ASSERT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_EQ(bus.last_sent().fields, server_up());
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerLife, ServiceIsTakenBeforeAnythingHappensOnTheBus) {
  std::size_t taken = 0;
  bus.set_hook([&](const std::string& call) {
    if (call == "Subscribe connect.actions" && taken == 0) taken = host.calls().size();
  });
  ASSERT_EQ(server->Init(&host), 0U);
  EXPECT_EQ(taken, 3U);
  bus.set_hook(nullptr);
}

TEST_F(PushServerLife, InitWithoutAHostGives87) {
  EXPECT_EQ(server->Init(nullptr), 87U);
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(host.calls().empty());
}

TEST_F(PushServerLife, HostWithoutAnExecutionServiceGives87) {
  host.set_execution_service(nullptr);
  EXPECT_EQ(server->Init(&host), 87U);
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
  EXPECT_EQ(host.calls(), WideLines{L"get_execution_service"});
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushServerLife, HostWithoutAPluginManagerGives87) {
  host.set_plugin_manager(nullptr);
  EXPECT_EQ(server->Init(&host), 87U);
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushServerLife, InitWithoutAHostTakesARunningServerDown) {
  start();
  EXPECT_EQ(server->Init(nullptr), 87U);
  EXPECT_EQ(deeds(bus.calls()), end());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
  EXPECT_TRUE(bus.listeners().empty());
}

TEST_F(PushServerLife, MissingServiceGivesTheManagersStatus) {
  host.remove_plugin(L"connect_integrator");
  EXPECT_EQ(server->Init(&host), 1168U);
  EXPECT_LOGGED(log, 4, init, L"could not get push service plugin, err: 1168");
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushServerLife, AnyStatusOfTheManagerIsHandedOn) {
  host.remove_plugin(L"connect_integrator");
  host.fail_plugin(L"connect_integrator", 31);
  EXPECT_EQ(server->Init(&host), 31U);
  EXPECT_LOGGED(log, 4, init, L"could not get push service plugin, err: 31");
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(PushServerLife, ServerThatCouldNotBeginMayBeginLater) {
  host.remove_plugin(L"connect_integrator");
  EXPECT_EQ(server->Init(&host), 1168U);
  host.add_plugin(L"connect_integrator", IID_IPushService, static_cast<IPushService*>(&service));
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_EQ(deeds(bus.calls()), begin());
}

TEST_F(PushServerLife, WithoutABusTheServerStaysLoadedAndSilent) {
  bus.unload();
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_LOGGED(log, 4, listening, L"could not register push register listener");
  EXPECT_LOGGED(log, 4, L"cloud::comm::start_receiving_actions", L"could not get channel");
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
}

TEST_F(PushServerLife, FailedFirstListenerEndsTheListening) {
  bus.refuse_subscriptions();
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_LOGGED(log, 4, L"cloud::comm::start_receiving_actions", L"could not get subscription");
  EXPECT_LOGGED(log, 4, listening, L"could not register push register listener");
  EXPECT_EQ(log.texts().size(), 2U);
  EXPECT_EQ(deeds(bus.calls()), Lines{"Subscribe connect.actions"});
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
}

TEST_F(PushServerLife, FailedSecondListenerLeavesTheFirstUntilTheEnd) {
  refuse_subscriptions_after("push_register");
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_LOGGED(log, 4, listening, L"could not register push unregister listener");
  EXPECT_EQ(log.texts().size(), 2U);
  EXPECT_EQ(bus.listeners(), Lines{"connect.actions push_register"});
  EXPECT_EQ(bus.count("AddObserver"), 0U);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(ask_register("app", 0), 0) << "and it works";
  server->UnInit();
  EXPECT_TRUE(bus.listeners().empty());
  EXPECT_EQ(bus.count("RemoveObserver"), 0U);
}

TEST_F(PushServerLife, FailedThirdListenerLeavesTheOthersUntilTheEnd) {
  refuse_subscriptions_after("push_unregister");
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_LOGGED(log, 4, listening, L"could not register command done listener");
  EXPECT_EQ(log.texts().size(), 2U);
  EXPECT_EQ(bus.listeners(),
            (Lines{"connect.actions push_register", "connect.actions push_unregister"}));
  EXPECT_EQ(bus.count("AddObserver"), 0U);
  EXPECT_TRUE(bus.sent().empty());
  server->UnInit();
  EXPECT_TRUE(bus.listeners().empty());
}

TEST_F(PushServerLife, RefusedObserverIsNoMatter) {
  bus.refuse_observers();
  EXPECT_EQ(server->Init(&host), 0U);
  EXPECT_EQ(deeds(bus.calls()), begin());
  EXPECT_TRUE(log.texts().empty());
  bus.forget_calls();
  server->UnInit();
  EXPECT_EQ(bus.calls(), end());
}

TEST_F(PushServerLife, BusOutsideTheModulesFolderIsListenedToAndNotObserved) {
  bus.unload();
  bus.load();
  EXPECT_EQ(server->Init(&host), 0U);
  Lines expected = all_handles();
  expected.push_back("Send connect.events");
  EXPECT_EQ(deeds(bus.calls()), expected);
  EXPECT_TRUE(log.nothing_logged(4));
  server->UnInit();
  EXPECT_EQ(bus.count("RemoveObserver"), 0U);
}

TEST_F(PushServerLife, UnInitGoesBackInItsOwnOrder) {
  start();
  int out = -1;
  bus.set_hook([&](const std::string&) { out = host.plugins_out(L"connect_integrator"); });
  EXPECT_EQ(server->UnInit(), 0U);
  bus.set_hook(nullptr);
  EXPECT_EQ(bus.calls(), end());
  EXPECT_EQ(out, 1) << "the service goes last";
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
  EXPECT_EQ(bus.observers_alive(), 0U);
  EXPECT_TRUE(bus.listeners().empty());
  EXPECT_EQ(host.calls(), WideLines{L"release_plugin connect_integrator"});
}

TEST_F(PushServerLife, UnInitWithoutInitDoesNothing) {
  EXPECT_EQ(server->UnInit(), 0U);
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(host.calls().empty());
}

TEST_F(PushServerLife, SecondUnInitDoesNothing) {
  start();
  server->UnInit();
  bus.forget_calls();
  host.clear();
  EXPECT_EQ(server->UnInit(), 0U);
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(host.calls().empty());
}

TEST_F(PushServerLife, SecondInitGivesUpWhatTheFirstTook) {
  start();
  ASSERT_EQ(server->Init(&host), 0U);
  Lines expected = end();
  const Lines again = begin();
  expected.insert(expected.end(), again.begin(), again.end());
  EXPECT_EQ(deeds(bus.calls()), expected);
  EXPECT_EQ(host.calls(), (WideLines{L"release_plugin connect_integrator", L"get_execution_service",
                                     L"get_plugin_manager", L"get_plugin connect_integrator"}));
  EXPECT_EQ(bus.subscriptions_alive("connect.actions"), 3U);
  EXPECT_EQ(bus.observers_alive(), 1U);
  // One UnInit then takes all of it down.
  server->UnInit();
  EXPECT_TRUE(bus.listeners().empty());
  EXPECT_EQ(bus.subscriptions_alive("connect.actions"), 0U);
}

TEST_F(PushServerLife, CountsOutliveUnInitAndTheServiceHearsNothingOfIt) {
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(service.count("register_push_events_callback"), 1U);
  service.forget_calls();
  server->UnInit();
  EXPECT_TRUE(service.calls().empty());
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(times_said(log, 16, L"topic: 0 registered: 2"), 1U);
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
}

TEST_F(PushServerLife, StartAndStopDoNothing) {
  start();
  EXPECT_EQ(server->Start(), 0U);
  server->Stop();
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushServerLife, AnswersForItsInterfaces) {
  auto* const plugin = static_cast<IServPlugin*>(server.get());
  EXPECT_EQ(server->QueryInterface(IID_IServPlugin), plugin);
  EXPECT_EQ(server->QueryInterface(IID_IZvBaseInterface), plugin);
  EXPECT_EQ(server->QueryInterface(IID_ibus_observer), static_cast<ibus_observer*>(server.get()));
  EXPECT_EQ(server->QueryInterface(IID_IPushService), nullptr);
  EXPECT_EQ(server->QueryInterface(IID_IBus), nullptr);
  auto* const observer = static_cast<ibus_observer*>(server.get());
  EXPECT_EQ(observer->QueryInterface(IID_IServPlugin), plugin);
  EXPECT_EQ(observer->QueryInterface(IID_ibus_observer), observer);
}

TEST_F(PushServerLife, IsMadeByItsName) {
  void* made = nullptr;
  ASSERT_EQ(ZvCreateObject(L"push_service_server", IID_IServPlugin, &made), 0U);
  auto* const plugin = static_cast<IServPlugin*>(made);
  EXPECT_NE(plugin->QueryInterface(IID_ibus_observer), nullptr);
  ASSERT_EQ(plugin->Init(&host), 0U);
  EXPECT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(plugin->UnInit(), 0U);
  ZvDestroyObject(L"push_service_server", made);
}

TEST_F(PushServerLife, ClientThatAppearsHearsAtOnceThatTheServerIsUp) {
  start();
  bus.announce("connect.events", "push_client");
  ASSERT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_EQ(bus.last_sent().fields, server_up());
  bus.announce("connect.events", "push_client");
  EXPECT_EQ(bus.sent().size(), 2U);
}

TEST_F(PushServerLife, OtherListenersHearNothing) {
  start();
  bus.announce("connect.events", "push_clien");
  bus.announce("connect.events", "push_client2");
  bus.announce("connect.events", "");
  bus.announce("connect.events", "push_register");
  bus.announce("connect.actions", "push_client");
  bus.announce("connect.actions", "push_register");
  bus.announce("connect.events2", "push_client");
  bus.announce("cl.zvserv.actions", "push_client");
  bus.announce("", "");
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushServerLife, ListenersThatLeaveAreNoMatter) {
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  bus.forget_calls();
  service.forget_calls();
  bus.withdraw("connect.events", "push_client");
  bus.withdraw("connect.actions", "push_register");
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(service.calls().empty());
}

}  // namespace
