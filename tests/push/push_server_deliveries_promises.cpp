// What the push service delivers through the server, callbacks without a context, and threads.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "_base/waiting.h"
#include "push/PushPromises.h"
#include "push/PushServiceServerTest.h"
#include "support/HoldUp.h"

// Not in a namespace of its own: that is where the functions are brought to light.
struct RegisterListener {
  friend auto exposed(RegisterListener);
};
struct UnregisterListener {
  friend auto exposed(UnregisterListener);
};
struct CommandDoneListener {
  friend auto exposed(CommandDoneListener);
};
template struct Exposed<RegisterListener, &push_service_server::on_push_register>;
template struct Exposed<UnregisterListener, &push_service_server::on_push_unregister>;
template struct Exposed<CommandDoneListener, &push_service_server::on_push_command_done>;

namespace {

using support::BusFields;
using support::HoldUp;
using waiting::Attempt;

class PushServerDeliveries : public PushServiceServerTest {
 protected:
  PushServerDeliveries() {
    start();
    bus.overlap_deliveries();
  }
  ~PushServerDeliveries() override { hold_up.let_go(); }

  PushCall registered(std::int32_t topic) {
    EXPECT_EQ(ask_register("app", topic), 0);
    bus.forget_sent();
    bus.forget_calls();
    log.clear();
    return service.calls().back();
  }
  static cloud::push::event_info event() {
    return {"news", R"({"a":1})", "app", "device", std::int64_t{1} << 40};
  }
  static cloud::push::command_info command() {
    return {"app", "wipe", "7", R"({"b":2})", std::int64_t{1} << 40};
  }
  /// Without a context there is no server: nothing is done, not even the echo.
  template <class Action, class Listener>
  void expect_refusal(Listener* listener, const wchar_t* scope) {
    Action request;
    request.source.app_id = "app";
    request.dest.app_id = "other app";
    Action response;
    log.clear();
    EXPECT_EQ(listener(request, response, nullptr), 31);
    EXPECT_LOGGED(log, 4, scope, L"no valid context");
    EXPECT_EQ(log.texts().size(), 1U);
    EXPECT_TRUE(log.traced(scope));
    EXPECT_TRUE(response.source.app_id.IsEmpty());
    EXPECT_TRUE(response.dest.app_id.IsEmpty());
  }
  /// The next call of this operation stays in the service until it is let go.
  void hold(const char* operation) {
    const auto once = std::make_shared<std::atomic<bool>>(false);
    service.set_hook([=, hold_up = hold_up](const PushCall& call) {
      if (call.operation != operation || once->exchange(true)) return;
      hold_up.stop_here();
    });
  }

  const HoldUp hold_up{};
};

TEST_F(PushServerDeliveries, EventIsPublishedWithAllItsFields) {
  const PushCall call = registered(0);
  call.event_callback(event(), call.context);
  ASSERT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_EQ(bus.last_sent().fields, (BusFields{{"module", "push"},
                                               {"method", "on_push_event"},
                                               {"name", "news"},
                                               {"timestamp", std::int64_t{1} << 40},
                                               {"destination_app_id", "app"},
                                               {"destination_device_id", "device"},
                                               {"params", R"({"a":1})"}}));
}

TEST_F(PushServerDeliveries, CommandIsPublishedWithAllItsFieldsAndNoDevice) {
  const PushCall call = registered(1);
  call.command_callback(command(), call.context);
  ASSERT_EQ(bus.sent().size(), 1U);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_EQ(bus.last_sent().fields, (BusFields{{"module", "push"},
                                               {"method", "on_push_command"},
                                               {"name", "wipe"},
                                               {"timestamp", std::int64_t{1} << 40},
                                               {"id", "7"},
                                               {"params", R"({"b":2})"},
                                               {"destination_app_id", "app"}}));
}

TEST_F(PushServerDeliveries, EmptyTextsArePublishedAsEmptyTexts) {
  const PushCall call = registered(0);
  call.event_callback({}, call.context);
  EXPECT_EQ(bus.last_sent().fields, (BusFields{{"module", "push"},
                                               {"method", "on_push_event"},
                                               {"name", ""},
                                               {"timestamp", 0},
                                               {"destination_app_id", ""},
                                               {"destination_device_id", ""},
                                               {"params", ""}}));
}

TEST_F(PushServerDeliveries, ForwardingWithoutAContextDoesNothing) {
  const PushCall events = registered(0);
  const PushCall commands = registered(1);
  events.event_callback(event(), nullptr);
  commands.command_callback(command(), nullptr);
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServerDeliveries, WhatCannotBePublishedIsLostWithoutAWord) {
  const PushCall events = registered(0);
  const PushCall commands = registered(1);
  bus.refuse_channel("connect.events");
  events.event_callback(event(), events.context);
  commands.command_callback(command(), commands.context);
  bus.refuse_channel("connect.events", false);
  bus.refuse_messages();
  events.event_callback(event(), events.context);
  commands.command_callback(command(), commands.context);
  bus.let_messages_pass();
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.texts().empty());
  events.event_callback(event(), events.context);
  EXPECT_EQ(bus.sent().size(), 1U) << "and the lost ones don't come after";
}

TEST_F(PushServerDeliveries, ListenersWithoutAContextGive31) {
  expect_refusal<cloud::push_register>(exposed(RegisterListener{}), L"push register");
  expect_refusal<cloud::push_unregister>(exposed(UnregisterListener{}), L"push unregister");
  expect_refusal<cloud::push_command_done>(exposed(CommandDoneListener{}), L"push command done");
  EXPECT_TRUE(service.calls().empty());
}

TEST_F(PushServerDeliveries, ServiceIsCalledWithoutTheTableHeld) {
  hold("register_push_events_callback");
  const Attempt first([this] { EXPECT_EQ(ask_register("app", 0), 0); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt others([this] {
    EXPECT_EQ(ask_register("other", 0), 0);
    EXPECT_EQ(ask_register("other", 1), 0);
    EXPECT_EQ(ask_unregister("other", 1), 0);
  });
  EXPECT_TRUE(others.ends());
  EXPECT_FALSE(first.is_done());
  hold_up.let_go();
  EXPECT_TRUE(first.ends());
}

TEST_F(PushServerDeliveries, OfTwoFirstRegistrationsOnlyOneGoesToTheService) {
  hold("register_push_events_callback");
  const Attempt first([this] { EXPECT_EQ(ask_register("app", 0), 0); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt second([this] { EXPECT_EQ(ask_register("app", 0), 0); });
  EXPECT_TRUE(second.ends());
  EXPECT_EQ(service.count("register_push_events_callback"), 1U);
  hold_up.let_go();
  EXPECT_TRUE(first.ends());
  EXPECT_EQ(log.count(16, L"push register", L"topic: 0 registered: 2"), 1U);
}

TEST_F(PushServerDeliveries, RefusalTakesBackItsOwnCountOnly) {
  hold("register_push_events_callback");
  service.set_result(5);
  const Attempt first([this] { EXPECT_EQ(ask_register("app", 0), 5); });
  ASSERT_TRUE(hold_up.is_reached());
  EXPECT_EQ(ask_register("app", 0), 0);
  hold_up.let_go();
  EXPECT_TRUE(first.ends());
  EXPECT_EQ(log.count(16, L"push register", L"topic: 0 registered: 1"), 2U);
  // The other one counts on, though the service never agreed.
  EXPECT_EQ(ask_register("app", 0), 0);
  EXPECT_EQ(service.count("register_push_events_callback"), 1U);
}

TEST_F(PushServerDeliveries, StoredCommandsAreAskedForWithoutTheTableHeld) {
  EXPECT_EQ(ask_register("app", 1), 0);
  hold("send_offline_commands");
  const Attempt second([this] { EXPECT_EQ(ask_register("app", 1), 0); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt others([this] {
    EXPECT_EQ(ask_register("app", 1), 0);
    EXPECT_EQ(ask_unregister("app", 1), 0);
  });
  EXPECT_TRUE(others.ends());
  hold_up.let_go();
  EXPECT_TRUE(second.ends());
}

TEST_F(PushServerDeliveries, UnregistrationGoesToTheServiceWithoutTheTableHeld) {
  EXPECT_EQ(ask_register("app", 0), 0);
  hold("unregister_push_events_callback");
  const Attempt last([this] { EXPECT_EQ(ask_unregister("app", 0), 0); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt others([this] { EXPECT_EQ(ask_register("app", 0), 0); });
  EXPECT_TRUE(others.ends());
  EXPECT_EQ(service.count("register_push_events_callback"), 2U);
  hold_up.let_go();
  EXPECT_TRUE(last.ends());
}

TEST_F(PushServerDeliveries, DeliveriesPassWhileARegistrationIsInTheService) {
  const PushCall call = registered(0);
  hold("register_push_commands_callback");
  const Attempt registration([this] { EXPECT_EQ(ask_register("app", 1), 0); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt delivery([&] { call.event_callback(event(), call.context); });
  EXPECT_TRUE(delivery.ends());
  EXPECT_EQ(bus.sent("on_push_event").size(), 1U);
  hold_up.let_go();
  EXPECT_TRUE(registration.ends());
}

TEST_F(PushServerDeliveries, SlowCompletionHoldsUpNobodyElse) {
  hold("set_command_done");
  const Attempt completion([this] {
    EXPECT_EQ(ask("push_command_done", "app", {{"id", "7"}, {"status", "ok"}}), 0);
  });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt others([this] {
    EXPECT_EQ(ask_register("app", 0), 0);
    EXPECT_EQ(ask_unregister("app", 0), 0);
  });
  EXPECT_TRUE(others.ends());
  EXPECT_FALSE(completion.is_done()) << "it is answered when the service is through";
  hold_up.let_go();
  EXPECT_TRUE(completion.ends());
}

}  // namespace
