#include "platform/thread.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(ThreadId, IsTheSameWithinAThreadAndDiffersBetweenTwo) {
  const std::uint32_t own = platform::current_thread_id();
  std::uint32_t other = own;
  std::thread([&] { other = platform::current_thread_id(); }).join();
  EXPECT_NE(own, 0u);
  EXPECT_NE(other, 0u);
  EXPECT_NE(own, other);
  EXPECT_EQ(platform::current_thread_id(), own);
}

}  // namespace
