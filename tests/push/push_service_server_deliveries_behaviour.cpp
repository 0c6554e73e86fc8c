#include <string>

#include "push/PushServiceServerTest.h"
#include "push/push_service_server.h"

namespace {

using PushServiceServer = PushServiceServerTest;

TEST_F(PushServiceServer, PassesACompletionOn) {
  start();
  EXPECT_EQ(ask("push_command_done", "app", {{"id", "an id"}, {"status", "d\xc3\xb6ne"}}), 0);
  PushCall call = only_call();
  EXPECT_EQ(call.id, "an id");
  EXPECT_EQ(call.status, "d\xc3\xb6ne");
  EXPECT_EQ(call.context, nullptr);
  call.context = server.get();
  expect_call(call, "set_command_done", "app");
  EXPECT_TRUE(log.traced(L"push command done"));
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushServiceServer, PassesACompletionWithEmptyTextsOn) {
  start();
  EXPECT_EQ(ask("push_command_done", "", {}), 0);
  const PushCall call = only_call();
  EXPECT_EQ(call.operation, "set_command_done");
  EXPECT_EQ(call.id, "");
  EXPECT_EQ(call.status, "");
  EXPECT_EQ(call.app_id, "");
}

TEST_F(PushServiceServer, PublishesTheEventsOfTheService) {
  start();
  ask_register("app", 0);
  const PushCall call = only_call();
  call.event_callback({"name", "{}", "app", "device", 5}, call.context);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_EQ(bus.last_sent().fields, (BusFields{{"module", "push"},
                                               {"method", "on_push_event"},
                                               {"name", "name"},
                                               {"timestamp", 5},
                                               {"destination_app_id", "app"},
                                               {"destination_device_id", "device"},
                                               {"params", "{}"}}));
}

TEST_F(PushServiceServer, PublishesTheCommandsOfTheService) {
  start();
  ask_register("app", 1);
  const PushCall call = only_call();
  call.command_callback({"app", "name", "id", "{}", 5}, call.context);
  EXPECT_EQ(bus.last_sent().channel, "connect.events");
  EXPECT_EQ(bus.last_sent().method(), "on_push_command");
  EXPECT_EQ(bus.last_sent().text("id"), "id");
}

TEST_F(PushServiceServer, PublishesNothingWithoutAContext) {
  start();
  ask_register("app", 0);
  ask_register("app", 1);
  const auto calls = service.calls();
  ASSERT_EQ(calls.size(), 2u);
  calls[0].event_callback({}, nullptr);
  calls[1].command_callback({}, nullptr);
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushServiceServer, LosesAnEventInSilenceWithoutAChannel) {
  start();
  ask_register("app", 0);
  log.clear();
  bus.refuse_channel("connect.events");
  const PushCall call = only_call();
  call.event_callback({}, call.context);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PushServiceServer, StillPublishesWhatTheServiceDeliversAfterTheStop) {
  start();
  ask_register("app", 0);
  server->UnInit();
  const PushCall call = only_call();
  call.event_callback({"name", "", "", "", 0}, call.context);
  EXPECT_EQ(bus.sent("on_push_event").size(), 1u);
}

}  // namespace
