#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "support/PushClientTest.h"

namespace {

class PushClientWithoutMemory : public support::PushClientTest {
 protected:
  support::PushInbox inbox;
};

TEST_F(PushClientWithoutMemory, RegistersWithTheNextServerWhatItCouldNotWithThis) {
  register_events("an application whose name is long", inbox);
  register_commands("an application whose name is long", inbox);
  server_comes();
  const std::vector<std::string> all = sorted_registrations();
  bool met = true;
  for (int index = 0; met && !HasFailure(); ++index) {
    SCOPED_TRACE("call " + std::to_string(index));
    server_goes();
    int calls_left = index;
    met = false;
    bus.set_hook([&](const std::string&) {
      if (calls_left-- != 0) return;
      met = true;
      throw std::bad_alloc();
    });
    EXPECT_NO_THROW(server_comes());
    bus.set_hook({});
    EXPECT_EQ(bus.messages_alive(), 0u);
    server_goes();
    bus.forget_sent();
    server_comes();
    EXPECT_EQ(sorted_registrations(), all);
    EXPECT_EQ(bus.subscriptions_alive(events), 3u);
  }
}

}  // namespace
