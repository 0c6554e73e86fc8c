#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "push/PushServiceServerTest.h"
#include "push/push_service_server.h"

namespace {

using PushServiceServer = PushServiceServerTest;

constexpr int many = 8;

/// Runs `action` on many threads, which begin together.
void together(const std::function<void()>& action) {
  const waiting::Gate start;
  std::vector<std::thread> threads;
  for (int number = 0; number < many; ++number) {
    threads.emplace_back([&] {
      start.wait();
      action();
    });
  }
  start.open();
  for (std::thread& thread : threads) thread.join();
}

TEST_F(PushServiceServer, LetsOnlyTheFirstOfManyRegistrationsAndTheLastUnregistrationThrough) {
  start();
  bus.overlap_deliveries();
  constexpr int applications = 100;
  const auto name = [](int number) { return "app" + std::to_string(number); };
  together([&] {
    for (int number = 0; number < applications; ++number) {
      EXPECT_EQ(ask_register(name(number), 0), 0);
    }
  });
  EXPECT_EQ(service.count("register_push_events_callback"), 100u);
  EXPECT_EQ(log.count(16, L"push register", L"topic: 0 registered: 8"), 100u);

  together([&] {
    for (int number = 0; number < applications; ++number) {
      EXPECT_EQ(ask_unregister(name(number), 0), 0);
    }
  });
  EXPECT_EQ(service.count("unregister_push_events_callback"), 100u);
  EXPECT_EQ(log.count(16, L"push unregister", L"topic: 0 registered: 0"), 100u);
}

TEST_F(PushServiceServer, CountsRightWhileManyComeAndGo) {
  start();
  bus.overlap_deliveries();
  std::atomic<int> balance = 0;
  service.set_hook([&](const PushCall& call) {
    if (call.operation == "register_push_commands_callback") ++balance;
    if (call.operation == "unregister_push_commands_callback") --balance;
  });
  together([&] {
    for (int times = 0; times < 25; ++times) {
      ask_register("app", 1);
      ask_unregister("app", 1);
    }
  });
  EXPECT_EQ(balance, 0);
  EXPECT_EQ(
      service.count("register_push_commands_callback") + service.count("send_offline_commands"),
      200u);
  // Nothing is counted any more: the next one is a first one again.
  service.forget_calls();
  ask_register("app", 1);
  EXPECT_EQ(operations(), Calls{"register_push_commands_callback"});
}

TEST_F(PushServiceServer, HoldsNoLockWhileItCallsTheService) {
  start();
  bus.overlap_deliveries();
  const auto expect_free = [this] {
    const waiting::Attempt attempt([this] {
      ask_register("another", 0);
      ask_unregister("another", 0);
    });
    EXPECT_TRUE(attempt.ends());
  };
  for (const std::int32_t topic : {0, 1}) {
    for (const bool registers : {true, true, false, false}) {
      service.set_hook([&](const PushCall& call) {
        if (call.app_id == "app") expect_free();
      });
      EXPECT_EQ(registers ? ask_register("app", topic) : ask_unregister("app", topic), 0);
    }
  }
  service.set_result(232);
  EXPECT_EQ(ask_register("app", 0), 232);
  EXPECT_EQ(ask("push_command_done", "app", {}), 0);
}

TEST_F(PushServiceServer, WaitsForItsListenersBeforeTheServiceIsGivenBack) {
  start();
  const waiting::Gate called;
  const waiting::Gate go_on;
  std::atomic<int> services_at_the_end = 0;
  service.set_hook([&](const PushCall&) {
    called.open();
    go_on.wait();
    services_at_the_end = host.plugins_out(L"connect_integrator");
  });
  const waiting::Attempt listener([this] { ask_register("app", 0); });
  ASSERT_TRUE(called.wait());
  bus.set_hook([&](const std::string& call) {
    if (call == "RemoveListener connect.actions push_command_done") go_on.open();
  });
  EXPECT_EQ(server->UnInit(), 0u);
  EXPECT_TRUE(listener.ends());
  EXPECT_EQ(services_at_the_end, 1);
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

}  // namespace
