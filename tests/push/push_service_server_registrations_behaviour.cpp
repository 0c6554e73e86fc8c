#include <cstdint>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "push/PushServiceServerTest.h"
#include "push/push_service_server.h"

namespace {

using PushServiceServer = PushServiceServerTest;

TEST_F(PushServiceServer, RegistersForEvents) {
  start();
  EXPECT_EQ(ask_register("app", 0), 0);
  const PushCall call = only_call();
  expect_call(call, "register_push_events_callback", "app");
  EXPECT_NE(call.event_callback, nullptr);
  EXPECT_TRUE(log.traced(L"push register"));
  EXPECT_LOGGED(log, 16, L"push register", L"topic: 0 registered: 1");
}

TEST_F(PushServiceServer, RegistersForCommands) {
  start();
  EXPECT_EQ(ask_register("app", 1), 0);
  const PushCall call = only_call();
  expect_call(call, "register_push_commands_callback", "app");
  EXPECT_NE(call.command_callback, nullptr);
  EXPECT_LOGGED(log, 16, L"push register", L"topic: 1 registered: 1");
}

TEST_F(PushServiceServer, CountsASecondRegistrationForEventsWithoutTheService) {
  start();
  ask_register("app", 0);
  service.forget_calls();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_LOGGED(log, 16, L"push register", L"topic: 0 registered: 2");
}

TEST_F(PushServiceServer, PublishesEveryStoredCommandAgainAtASecondRegistrationForCommands) {
  start();
  service.set_offline_commands({{"app", "a", "1", "{}", 1}, {"app", "b", "2", "{}", 2}});
  ask_register("app", 1);
  EXPECT_TRUE(bus.sent().empty());
  service.forget_calls();
  EXPECT_EQ(ask_register("app", 1), 0);
  const PushCall call = only_call();
  EXPECT_EQ(call.operation, "send_offline_commands");
  EXPECT_EQ(call.app_id, "app");
  EXPECT_EQ(call.device_id, "device");
  EXPECT_EQ(call.user_token, "token");
  EXPECT_EQ(call.context, server.get());
  ASSERT_EQ(bus.sent("on_push_command").size(), 2u);
  EXPECT_EQ(bus.sent()[0].text("id"), "1");
  EXPECT_EQ(bus.sent()[1].text("id"), "2");
  EXPECT_LOGGED(log, 16, L"push register", L"topic: 1 registered: 2");
}

TEST_F(PushServiceServer, CountsApplicationsAndTopicsApart) {
  start();
  ask_register("app", 0);
  ask_register("app", 1);
  ask_register("App", 0);
  ask_register("app2", 0);
  EXPECT_EQ(operations(),
            (Calls{"register_push_events_callback", "register_push_commands_callback",
                   "register_push_events_callback", "register_push_events_callback"}));
  EXPECT_EQ(log.count(16, L"push register", L"topic: 0 registered: 1"), 3u);
}

TEST_F(PushServiceServer, RefusesARegistrationWithoutAnApplication) {
  start();
  EXPECT_EQ(ask_register("", 0), 13);
  EXPECT_EQ(ask_register("", 1), 13);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServiceServer, RefusesATopicThatNobodyKnows) {
  start();
  for (const std::int32_t topic : {2, -1, INT32_MAX}) {
    EXPECT_EQ(ask_register("app", topic), 87) << topic;
    EXPECT_EQ(ask_register("", topic), 87) << topic;
  }
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServiceServer, TakesAMissingTopicAsTheBusReadsIt) {
  start();
  EXPECT_EQ(ask("push_register", "app", {}), 0);
  EXPECT_EQ(operations(), Calls{"register_push_events_callback"});
  bus.set_absent_number(5);
  EXPECT_EQ(ask("push_register", "app", {}), 87);
}

TEST_F(PushServiceServer, PassesARefusalOnAndForgetsTheRegistration) {
  start();
  service.set_result(232);
  EXPECT_EQ(ask_register("app", 0), 232);
  EXPECT_EQ(ask_register("app", 1), 232);
  EXPECT_EQ(log.texts(), (HostCalls{L"topic: 0 registered: 1", L"topic: 0 registered: 0",
                                    L"topic: 1 registered: 1", L"topic: 1 registered: 0"}));
  service.forget_calls();
  service.set_result(0);
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(ask_register("app", 1), 0);
  EXPECT_EQ(operations(),
            (Calls{"register_push_events_callback", "register_push_commands_callback"}));
}

TEST_F(PushServiceServer, KeepsTheCountOfAnotherWhoAskedDuringARefusedRegistration) {
  start();
  service.set_result(232);
  service.set_hook([this](const PushCall&) { EXPECT_EQ(ask_register("app", 0), 0); });
  EXPECT_EQ(ask_register("app", 0), 232);
  service.set_hook(nullptr);
  // The other one's is still counted, so the service isn't asked again.
  service.forget_calls();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(log.texts(), (HostCalls{L"topic: 0 registered: 1", L"topic: 0 registered: 2",
                                    L"topic: 0 registered: 1", L"topic: 0 registered: 2"}));
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

TEST_F(PushServiceServer, UnregistersWithTheLastOfThem) {
  start();
  ask_register("app", 0);
  const PushCall registered = only_call();
  ask_register("app", 0);
  service.forget_calls();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_LOGGED(log, 16, L"push unregister", L"topic: 0 registered: 1");
  EXPECT_EQ(ask_unregister("app", 0), 0);
  const PushCall call = only_call();
  expect_call(call, "unregister_push_events_callback", "app");
  EXPECT_EQ(call.event_callback, registered.event_callback);
  EXPECT_LOGGED(log, 16, L"push unregister", L"topic: 0 registered: 0");
  EXPECT_TRUE(log.traced(L"push unregister"));
}

TEST_F(PushServiceServer, UnregistersFromCommandsWithTheCallbackThatItRegistered) {
  start();
  ask_register("app", 1);
  const PushCall registered = only_call();
  service.forget_calls();
  EXPECT_EQ(ask_unregister("app", 1), 0);
  const PushCall call = only_call();
  expect_call(call, "unregister_push_commands_callback", "app");
  EXPECT_EQ(call.command_callback, registered.command_callback);
}

TEST_F(PushServiceServer, StartsFromNothingAfterTheLastUnregistration) {
  start();
  ask_register("app", 0);
  ask_unregister("app", 0);
  service.forget_calls();
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(operations(), Calls{"register_push_events_callback"});
}

TEST_F(PushServiceServer, CountsNothingBelowTheLastUnregistration) {
  start();
  ask_register("app", 0);
  ask_unregister("app", 0);
  service.forget_calls();
  log.clear();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServiceServer, IsContentWithUnregistrationsOfWhatIsNotRegistered) {
  start();
  EXPECT_EQ(ask_unregister("app", 0), 0);
  EXPECT_EQ(ask_unregister("app", 1), 0);
  ask_register("app", 0);
  service.forget_calls();
  EXPECT_EQ(ask_unregister("app", 2), 0);
  EXPECT_EQ(ask_unregister("app", 1), 0);
  EXPECT_EQ(ask_unregister("other", 0), 0);
  EXPECT_TRUE(service.calls().empty());
  EXPECT_EQ(log.texts(), HostCalls{L"topic: 0 registered: 1"});
}

TEST_F(PushServiceServer, UnregistersTheProductForASenderWithoutAnApplication) {
  start();
  ask_register("Product", 0);
  service.forget_calls();
  EXPECT_EQ(ask_unregister("", 0), 0);
  // The service gets the sender as it came.
  expect_call(only_call(), "unregister_push_events_callback", "");
}

}  // namespace
