#include <array>
#include <new>
#include <string>
#include <vector>

#include "push/PushServiceServerTest.h"
#include "push/push_service_server.h"

namespace {

using PushServiceServer = PushServiceServerTest;
using Calls = std::vector<std::string>;

const wchar_t* const init = L"push_service_server::Init";
const wchar_t* const init_communication = L"push_service_server::init_communication_cbks";

const Calls subscribing = {
    "GetChannel connect.actions",  "Subscribe connect.actions",
    "SetCallback connect.actions", "AddListener connect.actions push_register",
    "GetChannel connect.actions",  "Subscribe connect.actions",
    "SetCallback connect.actions", "AddListener connect.actions push_unregister",
    "GetChannel connect.actions",  "Subscribe connect.actions",
    "SetCallback connect.actions", "AddListener connect.actions push_command_done"};
const Calls leaving = {"RemoveObserver",
                       "Unsubscribe connect.actions",
                       "RemoveListener connect.actions push_command_done",
                       "Unsubscribe connect.actions",
                       "RemoveListener connect.actions push_register",
                       "Unsubscribe connect.actions",
                       "RemoveListener connect.actions push_unregister"};

Calls operator+(Calls calls, const Calls& more) {
  calls.insert(calls.end(), more.begin(), more.end());
  return calls;
}

const Calls telling_that_it_is_up = {"GetChannel connect.events", "CreateMessage",
                                     "Send connect.events"};

TEST_F(PushServiceServer, ListensObservesAndThenTellsThatItIsUp) {
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_EQ(bus.calls(), subscribing + Calls{"AddObserver"} + telling_that_it_is_up);
  EXPECT_EQ(bus.last_sent().fields,
            (BusFields{{"module", "push"}, {"method", "on_push_server_up"}}));
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServiceServer, TakesThePushServiceFromTheHost) {
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_EQ(host.calls(), (HostCalls{L"get_execution_service", L"get_plugin_manager",
                                     L"get_plugin connect_integrator"}));
  EXPECT_EQ(host.last_id(), IID_IPushService);
  server->UnInit();
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(PushServiceServer, LeavesTheBusAndThenGivesTheServiceBack) {
  start();
  std::size_t bus_calls_before_release = 0;
  bus.set_hook([&](const std::string&) {
    if (host.plugins_out(L"connect_integrator") == 1) ++bus_calls_before_release;
  });
  EXPECT_EQ(server->UnInit(), 0u);
  EXPECT_EQ(bus.calls(), leaving);
  EXPECT_EQ(bus_calls_before_release, leaving.size());
  EXPECT_EQ(host.calls(), HostCalls{L"release_plugin connect_integrator"});
  EXPECT_EQ(bus.observers_alive(), 0u);
  EXPECT_EQ(bus.listeners(), Calls{});
}

TEST_F(PushServiceServer, RefusesToBeWithoutAHost) {
  EXPECT_EQ(server->Init(nullptr), 87u);
  EXPECT_EQ(log.texts(), HostCalls{L"servplugin::Init err=87"});
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
  EXPECT_EQ(bus.calls(), Calls{});
}

TEST_F(PushServiceServer, RefusesAHostWithoutAPluginManager) {
  host.set_plugin_manager(nullptr);
  EXPECT_EQ(server->Init(&host), 87u);
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
  EXPECT_EQ(bus.calls(), Calls{});
}

TEST_F(PushServiceServer, RefusesAHostWithoutAnExecutionService) {
  host.set_execution_service(nullptr);
  EXPECT_EQ(server->Init(&host), 87u);
  EXPECT_LOGGED(log, 4, init, L"servplugin::Init err=87");
}

TEST_F(PushServiceServer, GivesTheManagersNumberIfThereIsNoPushService) {
  host.remove_plugin(L"connect_integrator");
  host.fail_plugin(L"connect_integrator", 1234);
  EXPECT_EQ(server->Init(&host), 1234u);
  EXPECT_EQ(log.texts(), HostCalls{L"could not get push service plugin, err: 1234"});
  EXPECT_LOGGED(log, 4, init, L"could not get push service plugin, err: 1234");
  EXPECT_EQ(bus.calls(), Calls{});
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(PushServiceServer, StaysLoadedIfItCannotListen) {
  bus.refuse_subscriptions();
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_LOGGED(log, 4, init_communication, L"could not register push register listener");
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_actions", L"could not get subscription"),
            1u);
  EXPECT_EQ(log.texts().size(), 2u);
  EXPECT_EQ(bus.observers_alive(), 0u);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
}

TEST_F(PushServiceServer, KeepsTheListenersThatItGotBeforeOneFailed) {
  const std::array<const wchar_t*, 3> texts = {L"could not register push register listener",
                                               L"could not register push unregister listener",
                                               L"could not register command done listener"};
  for (std::size_t made = 0; made < texts.size(); ++made) {
    std::size_t subscribed = 0;
    bus.set_hook([&](const std::string& call) {
      if (call == "Subscribe connect.actions") bus.refuse_subscriptions(subscribed++ >= made);
    });
    log.clear();
    EXPECT_EQ(server->Init(&host), 0u);
    EXPECT_EQ(bus.subscriptions_alive("connect.actions"), made);
    EXPECT_LOGGED(log, 4, init_communication, texts[made]);
    EXPECT_EQ(log.texts().size(), 2u);
    EXPECT_EQ(bus.observers_alive(), 0u);
    EXPECT_TRUE(bus.sent().empty());
    server->UnInit();
    EXPECT_EQ(bus.subscriptions_alive("connect.actions"), 0u);
  }
}

TEST_F(PushServiceServer, ObservesTheBusOfItsOwnFolderOnly) {
  product.seam.set_own_module_name(support::TemporaryFolder().module_name(L"elsewhere").wstring());
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_EQ(bus.calls(), subscribing + telling_that_it_is_up);
  bus.forget_calls();
  server->UnInit();
  EXPECT_EQ(bus.count("RemoveObserver"), 0u);
}

TEST_F(PushServiceServer, GoesOnIfTheBusTakesNoObserver) {
  bus.refuse_observers();
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 1u);
  EXPECT_TRUE(log.texts().empty());
  bus.forget_calls();
  server->UnInit();
  EXPECT_EQ(bus.calls(), leaving);
}

TEST_F(PushServiceServer, CanBeStoppedWithoutAStart) {
  EXPECT_EQ(server->UnInit(), 0u);
  EXPECT_EQ(server->UnInit(), 0u);
  EXPECT_EQ(bus.calls(), Calls{});
  EXPECT_EQ(host.calls(), HostCalls{});
}

TEST_F(PushServiceServer, DropsWhatItHasBeforeItStartsAnew) {
  start();
  EXPECT_EQ(server->Init(&host), 0u);
  EXPECT_EQ(bus.calls(), leaving + subscribing + Calls{"AddObserver"} + telling_that_it_is_up);
  EXPECT_EQ(host.calls(), (HostCalls{L"release_plugin connect_integrator", L"get_execution_service",
                                     L"get_plugin_manager", L"get_plugin connect_integrator"}));
}

TEST_F(PushServiceServer, DropsWhatItHasIfItIsStartedWithoutAHost) {
  start();
  EXPECT_EQ(server->Init(nullptr), 87u);
  EXPECT_EQ(bus.calls(), leaving);
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(PushServiceServer, KeepsItsCountsBeyondAStop) {
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  server->UnInit();
  EXPECT_EQ(service.count("unregister_push_events_callback"), 0u);
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(service.count("register_push_events_callback"), 1u);
}

TEST_F(PushServiceServer, DoesNothingForStartAndStop) {
  start();
  EXPECT_EQ(server->Start(), 0u);
  server->Stop();
  EXPECT_EQ(bus.calls(), Calls{});
}

TEST_F(PushServiceServer, HasTheFaceOfAnObserverToo) {
  EXPECT_EQ(server->QueryInterface(IID_ibus_observer), static_cast<ibus_observer*>(server.get()));
  EXPECT_NE(server->QueryInterface(IID_ibus_observer), static_cast<void*>(server.get()));
  EXPECT_EQ(server->QueryInterface(IID_IServPlugin), server.get());
  EXPECT_EQ(server->QueryInterface(IID_IZvBaseInterface), server.get());
  EXPECT_EQ(server->QueryInterface(IID_IPushService), nullptr);
  auto* const observer = static_cast<ibus_observer*>(server->QueryInterface(IID_ibus_observer));
  EXPECT_EQ(observer->QueryInterface(IID_IServPlugin), server.get());
}

TEST_F(PushServiceServer, TellsEachNewClientThatItIsUp) {
  start();
  bus.announce("connect.events", "push_client");
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 1u);
  bus.announce("connect.events", "push_client");
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 2u);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
}

TEST_F(PushServiceServer, IgnoresListenersThatAreNoClients) {
  start();
  bus.announce("connect.actions", "push_client");
  bus.announce("connect.events", "push_register");
  bus.announce("connect.events", "push_clients");
  bus.announce("connect.events2", "push_client");
  bus.announce("", "");
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushServiceServer, IgnoresClientsThatGo) {
  start();
  bus.withdraw("connect.events", "push_client");
  EXPECT_TRUE(bus.sent().empty());
}

TEST(PushServiceServerAlone, TurnsLoggingOnForItsLife) {
  ASSERT_FALSE(logging::is_on());
  auto* const server = new push_service_server;
  EXPECT_TRUE(logging::is_on());
  server->scalar_deleting_destructor(msvc_abi::free_memory);
  EXPECT_FALSE(logging::is_on());
}

TEST(PushServiceServerAlone, MayLieInMemoryOfSomebodyElse) {
  alignas(push_service_server) char memory[sizeof(push_service_server)];
  auto* const server = ::new (memory) push_service_server;
  EXPECT_EQ(server->scalar_deleting_destructor(0), memory);
}

}  // namespace
