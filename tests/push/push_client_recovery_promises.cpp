// Clients and server on one bus, as their processes come and go.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "push/PushPromises.h"
#include "push/push_service_server.h"
#include "support/FakeHost.h"
#include "support/FakePushService.h"
#include "support/PushClientTest.h"

namespace {

using support::PushCall;
using support::PushInbox;
using Lines = std::vector<std::string>;

class PushRecovery : public support::PushClientTest {
 protected:
  struct Delete {
    void operator()(push_service_server* plugin) const {
      plugin->scalar_deleting_destructor(msvc_abi::free_memory);
    }
  };

  PushRecovery() {
    bus.loop_messages();
    bus.announce_listeners();
    host.add_plugin(L"connect_integrator", IID_IPushService, static_cast<IPushService*>(&service));
  }
  ~PushRecovery() override { bus.set_hook(nullptr); }

  void TearDown() override {
    end_server();
    PushClientTest::TearDown();
  }

  /// A fresh process has a fresh server. Its word goes out when the client has begun to register,
  /// if that is what is waited for: on a bus with threads either may be first.
  void start_server(std::size_t registrations_first) {
    bus.set_hook([this, registrations_first](const std::string& call) {
      if (call != "Send connect.events") return;
      EXPECT_TRUE(
          waiting::until([&] { return bus.sent("push_register").size() >= registrations_first; }));
    });
    server.reset(new push_service_server());
    ASSERT_EQ(server->Init(&host), 0U);
    bus.wait_idle();
    bus.set_hook(nullptr);
  }
  /// A client's first registration, which the server's word about itself overtakes on a bus with
  /// threads, now and then. Here it waits: the client then has nothing to register twice.
  void register_before_the_servers_word(cloud::push::push_service_client& whose, PushInbox& inbox) {
    const waiting::Gate registered;
    bus.set_hook([registered](const std::string& call) {
      if (call == "Send connect.events") registered.wait();
    });
    const cloud::push::event_callback callback = &PushInbox::on_event;
    EXPECT_EQ(whose.register_push_events_callback(callback, &inbox, app("app"), {}), 0U);
    registered.open();
    ASSERT_TRUE(waiting::until([this] { return bus.sent("push_register").size() == 2; }));
    bus.wait_idle();
    bus.set_hook(nullptr);
  }
  void end_server() {
    if (server == nullptr) return;
    server->UnInit();
    server.reset();
    bus.wait_idle();
  }
  void forget() {
    bus.forget_sent();
    bus.forget_calls();
    service.forget_calls();
    log.clear();
  }
  /// "<operation> <application>" of each call.
  Lines heard() const {
    Lines lines;
    for (const PushCall& call : service.calls())
      lines.push_back(call.operation + " " + call.app_id);
    return lines;
  }
  /// As the service's own callbacks would.
  void push_event(const char* app_id) {
    for (const PushCall& call : service.calls()) {
      if (call.operation != "register_push_events_callback" || call.app_id != app_id) continue;
      call.event_callback({"news", R"({"a":1})", app_id, "device", std::int64_t{1} << 40},
                          call.context);
      bus.wait_idle();
      return;
    }
    ADD_FAILURE() << "nobody wants events of " << app_id;
  }
  void push_command(const char* app_id, const char* id) {
    for (const PushCall& call : service.calls()) {
      if (call.operation != "register_push_commands_callback" || call.app_id != app_id) continue;
      call.command_callback({app_id, "wipe", id, R"({"b":2})", std::int64_t{1} << 40},
                            call.context);
      bus.wait_idle();
      return;
    }
    ADD_FAILURE() << "nobody wants commands of " << app_id;
  }

  support::FakeHost host;
  support::FakePushService service;
  std::unique_ptr<push_service_server, Delete> server;
  PushInbox news;
  PushInbox orders;
};

TEST_F(PushRecovery, ClientFollowsTheServerThroughItsWholeLife) {
  // Nobody is there yet.
  register_events("app", news);
  register_commands("app", orders);
  bus.wait_idle();
  EXPECT_TRUE(bus.sent().empty());

  start_server(4);
  EXPECT_EQ(times_said(log, 16, L"Push server is up"), 1U);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app", "1 Desktop", "1 app"}));
  EXPECT_EQ(
      heard(),
      (Lines{"register_push_events_callback Desktop", "register_push_events_callback app",
             "register_push_commands_callback Desktop", "register_push_commands_callback app"}));
  // Its own word found the client up to date.
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 1U);

  push_event("app");
  ASSERT_TRUE(news.gets(1));
  EXPECT_EQ(news.lines(), Lines{event_line("news", "app")});
  push_command("app", "first");
  push_command("app", "second");
  ASSERT_TRUE(orders.gets(2));
  ASSERT_TRUE(has_pending(2));
  complete("first", "well done");
  ASSERT_TRUE(waiting::until([this] { return service.count("set_command_done") == 1; }));
  bus.wait_idle();
  const PushCall done = service.calls().back();
  EXPECT_EQ(done.id, "first");
  EXPECT_EQ(done.status, "well done");
  EXPECT_EQ(done.app_id, "app");
  EXPECT_EQ(done.dest_app_id, "dest app");

  // The server's process ends.
  forget();
  end_server();
  EXPECT_EQ(times_said(log, 16, L"Push server is down"), 1U);
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  EXPECT_TRUE(bus.sent().empty()) << "no message is needed for that";

  // While it is away.
  PushInbox late;
  register_commands("late", late);
  ASSERT_TRUE(late.gets(1));
  EXPECT_EQ(late.lines(), Lines{command_line("second", "app")});
  register_events("late", late);
  unregister_events("app", news);
  complete("second");
  ASSERT_TRUE(has_pending(0));
  EXPECT_TRUE(waiting::until([this] { return bus.sent("push_command_done").size() == 1; }));
  EXPECT_EQ(bus.sent("push_unregister").size(), 1U);
  EXPECT_TRUE(bus.sent("push_register").empty());
  EXPECT_TRUE(service.calls().empty());
  bus.wait_idle();

  // It comes back.
  forget();
  start_server(5);
  EXPECT_EQ(times_said(log, 16, L"Push server is up"), 1U);
  EXPECT_EQ(sorted_registrations(), (Lines{"0 Desktop", "0 late", "1 Desktop", "1 app", "1 late"}));
  EXPECT_EQ(registrations()[0], "0 Desktop");
  EXPECT_EQ(registrations()[2], "1 Desktop");
  EXPECT_EQ(service.calls().size(), 5U);
  EXPECT_EQ(service.count("set_command_done"), 0U) << "that one is lost";
  push_event("late");
  ASSERT_TRUE(late.gets(2));
  EXPECT_EQ(late.lines().back(), event_line("news", "late"));
  EXPECT_EQ(news.size(), 1U);
}

TEST_F(PushRecovery, ClientThatStartsAfterTheServerLearnsOfItByItsFirstRegistration) {
  client.reset();
  start_server(0);
  client.emplace();
  forget();
  register_before_the_servers_word(*client, news);
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
  EXPECT_EQ(service.calls().size(), 2U);
  EXPECT_EQ(bus.sent("on_push_server_up").size(), 1U);
  EXPECT_EQ(times_said(log, 16, L"Push server is up"), 0U);
  push_event("app");
  EXPECT_TRUE(news.gets(1));
}

TEST_F(PushRecovery, ClientThatIsUpDoesNotCareForAnothersArrival) {
  register_events("app", news);
  bus.wait_idle();
  start_server(2);
  forget();
  std::optional<cloud::push::push_service_client> second;
  second.emplace();
  PushInbox inbox;
  register_before_the_servers_word(*second, inbox);
  // Both are the second client's, and the service has them already.
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(times_said(log, 16, L"topic: 0 registered: 2"), 2U);
  second.reset();
  bus.wait_idle();
}

TEST_F(PushRecovery, EveryClientGetsWhatItsApplicationsWant) {
  std::optional<cloud::push::push_service_client> second;
  second.emplace();
  PushInbox inbox;
  const cloud::push::event_callback callback = &PushInbox::on_event;
  register_events("app", news);
  second->register_push_events_callback(callback, &inbox, app("theirs"), {});
  bus.wait_idle();
  start_server(4);
  push_event("app");
  push_event("theirs");
  ASSERT_TRUE(news.gets(1));
  ASSERT_TRUE(inbox.gets(1));
  second.reset();
  client.reset();
  bus.wait_idle();
  EXPECT_EQ(news.lines(), Lines{event_line("news", "app")});
  EXPECT_EQ(inbox.lines(), Lines{event_line("news", "theirs")});
}

TEST_F(PushRecovery, RefreshDrivesTheServersCountsUpAndNothingBringsThemDown) {
  register_events("app", news);
  bus.wait_idle();
  start_server(2);
  forget();
  client->refresh_listeners();
  EXPECT_EQ(registrations(), Lines{"0 app"});
  EXPECT_EQ(times_said(log, 16, L"topic: 0 registered: 2"), 1U);
  unregister_events("app", news);
  bus.wait_idle();
  EXPECT_EQ(times_said(log, 16, L"topic: 0 registered: 1"), 1U);
  EXPECT_EQ(service.count("unregister_push_events_callback"), 0U);
}

TEST_F(PushRecovery, ClientThatGoesAwayLeavesItsCountsBehind) {
  register_events("app", news);
  bus.wait_idle();
  start_server(2);
  forget();
  client.reset();
  bus.wait_idle();
  EXPECT_TRUE(service.calls().empty());
  client.emplace();
  register_events("app", news);
  ASSERT_TRUE(
      waiting::until([this] { return times_said(log, 16, L"topic: 0 registered: 2") == 2; }));
  bus.wait_idle();
  EXPECT_TRUE(service.calls().empty());
}

TEST_F(PushRecovery, ServersRefusalOfTheDefaultLeavesTheClientWithoutASubscription) {
  register_events("app", news);
  bus.wait_idle();
  service.set_result(1011);
  start_server(2);
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
  service.set_result(0);
  forget();
  client->refresh_listeners();
  EXPECT_EQ(bus.subscriptions_alive(events), 2U);
  EXPECT_EQ(heard(),
            (Lines{"register_push_events_callback Desktop", "register_push_events_callback app"}));
}

TEST_F(PushRecovery, SecondClientsCommandRegistrationBringsTheStoredCommandsToEveryone) {
  register_commands("app", orders);
  bus.wait_idle();
  start_server(2);
  service.set_offline_commands({{"app", "wipe", "id", R"({"b":2})", std::int64_t{1} << 40}});
  forget();
  client->refresh_listeners();
  ASSERT_TRUE(orders.gets(1));
  EXPECT_EQ(orders.lines().front(), command_line("id", "app"));
  EXPECT_EQ(heard(), Lines{"send_offline_commands app"});
}

}  // namespace
