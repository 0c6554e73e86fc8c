#include <new>

#include "push/PushServiceServerTest.h"
#include "push/push_service_server.h"

namespace {

using PushServiceServer = PushServiceServerTest;

TEST_F(PushServiceServer, StillPublishesWhatTheServiceDeliversAfterTheStop) {
  start();
  ask_register("app", 0);
  server->UnInit();
  const PushCall call = only_call();
  call.event_callback({"name", "", "", "", 0}, call.context);
  EXPECT_EQ(bus.sent("on_push_event").size(), 1u);
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
