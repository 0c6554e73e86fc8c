#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "_base/FailingAllocation.h"
#include "support/IntegratorTest.h"

namespace {

class IntegratorWithoutMemory : public support::IntegratorTest {
 protected:
  IntegratorWithoutMemory() {
    have_product_agent();
    EXPECT_EQ(init(), 0u);
    watch_refreshes();
  }
};

TEST_F(IntegratorWithoutMemory, KnowsNobodyOrTheNewUserAfterTheAgentsNews) {
  long fails = 0;
  hook_agent([&](const std::string&) { failing_allocation::successes_left = fails; });
  bool met = true;
  for (long index = 0; met && !HasFailure(); ++index) {
    SCOPED_TRACE("allocation " + std::to_string(index));
    const std::string device = "a device whose name is long " + std::to_string(index);
    agent.set_user(std::wstring(device.begin(), device.end()), L"a token that is, too");
    forget_refreshes();
    fails = index;
    EXPECT_NO_THROW(plugin->OnUserInfoChanged());
    fails = failing_allocation::never;
    met = std::exchange(failing_allocation::successes_left, fails) == failing_allocation::never;
    EXPECT_EQ(agent.user_infos_alive(), 0u);
    if (who() == "232") {
      // The next news count in full.
      forget_refreshes();
      plugin->OnUserInfoChanged();
    }
    const std::string user = device + " a token that is, too";
    EXPECT_EQ(who(), user);
    EXPECT_EQ(refreshes(), Lines{user});
  }
  hook_agent([](const std::string&) {});  // it is called to the end
}

TEST_F(IntegratorWithoutMemory, LosesAListenerThatComes) {
  listen();
  agent.fail_user_info(5);
  agent.change();
  ASSERT_EQ(who(), "232");
  EXPECT_TRUE(failing_allocation::met_by(0, [&] {
    EXPECT_NO_THROW(plugin->on_new_listener(nullptr, watched_channel, watched_listener));
  }));
}

}  // namespace
