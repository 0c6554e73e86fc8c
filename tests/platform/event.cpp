#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

constexpr std::uint32_t for_ever = ~std::uint32_t{0};

class Event : public testing::Test {
 protected:
  Event() { EXPECT_NE(event_, nullptr); }
  ~Event() override { platform::close_event(event_); }

  bool set() {
    const bool done = platform::set_event(event_, error_);
    EXPECT_EQ(error_, 0u);
    return done;
  }

  std::uint32_t error_ = 1;
  void* event_ = platform::create_event(error_);
};

TEST_F(Event, IsNotSignalledAtFirst) {
  EXPECT_EQ(error_, 0u);
  EXPECT_FALSE(platform::wait_event(event_, 0));
  EXPECT_FALSE(platform::wait_event(event_, 5));
}

TEST_F(Event, LetsOneWaitThroughHoweverOftenItWasSet) {
  EXPECT_TRUE(set());
  EXPECT_TRUE(set());
  EXPECT_TRUE(platform::wait_event(event_, for_ever));
  EXPECT_FALSE(platform::wait_event(event_, 0));
}

TEST_F(Event, WakesAWaiter) {
  std::thread setter([&] { EXPECT_TRUE(set()); });
  EXPECT_TRUE(platform::wait_event(event_, for_ever));
  setter.join();
}

TEST_F(Event, WakesOnlyOneOfTwoWaitersForEachSetting) {
  std::atomic<int> woken{0};
  const auto wait = [&] {
    EXPECT_TRUE(platform::wait_event(event_, for_ever));
    ++woken;
  };
  std::thread first(wait);
  std::thread second(wait);
  EXPECT_TRUE(set());
  while (woken == 0) std::this_thread::yield();
  EXPECT_FALSE(platform::wait_event(event_, 0));
  EXPECT_EQ(woken, 1);
  EXPECT_TRUE(set());
  first.join();
  second.join();
  EXPECT_EQ(woken, 2);
}

}  // namespace
