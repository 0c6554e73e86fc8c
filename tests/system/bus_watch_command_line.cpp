#include <string>
#include <vector>

#include "devkit/common/WatchedProcess.h"
#include "system/BusPuppet.h"
#include "system/command_line.h"

namespace kit_test {

namespace {

using devkit::WatchedProcess;
using nlohmann::json;

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class BusWatchCommandLine : public BusTest {
 protected:
  static bool sees(WatchedProcess& watcher, const char* kind) {
    return watcher
        .wait_for([&](const std::string& line) { return json::parse(line).at("seen") == kind; },
                  waiting::deadline)
        .has_value();
  }
  /// What it printed behind the first list of who is there, its own affairs left out.
  static std::vector<std::string> news(const WatchedProcess& watcher) {
    std::vector<std::string> kinds;
    bool is_live = false;
    for (const std::string& line : watcher.lines()) {
      const std::string kind = json::parse(line).at("seen");
      const bool is_own = kind == "connected" || kind == "caught_up" || kind == "away";
      if (is_live && !is_own) kinds.push_back(kind);
      if (kind == "caught_up") is_live = true;
    }
    return kinds;
  }
};

TEST_F(BusWatchCommandLine, CountsTheNewsThatItPrints) {
  BusPuppet first;
  first.announce("connect.actions", "push_register");
  first.announce("connect.events", "push_client");
  WatchedProcess watcher(splicectl(), {"bus", "watch", "--json", "--count", "3"});
  ASSERT_TRUE(sees(watcher, "caught_up"));
  first.withdraw("connect.events", "push_client");
  ASSERT_TRUE(sees(watcher, "listener_removed"));
  BusPuppet second;
  second.announce("connect.events", "push_client");
  EXPECT_EQ(watcher.wait(waiting::deadline), 0);
  EXPECT_EQ(news(watcher),
            (std::vector<std::string>{"listener_removed", "process_here", "listener_added"}));
}

TEST_F(BusWatchCommandLine, CountsNobodyWhoIsStillThereAfterTheBroker) {
  BusPuppet stays;
  stays.announce("connect.actions", "push_register");
  WatchedProcess watcher(splicectl(), {"bus", "watch", "--json", "--count", "1"});
  ASSERT_TRUE(sees(watcher, "caught_up"));
  broker_.kill();
  ASSERT_TRUE(sees(watcher, "away"));
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  ASSERT_TRUE(sees(watcher, "caught_up"));
  stays.announce("connect.events", "push_client");
  EXPECT_EQ(watcher.wait(waiting::deadline), 0);
  EXPECT_EQ(news(watcher), std::vector<std::string>{"listener_added"});
}

}  // namespace

}  // namespace kit_test
