#include "platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/TestSeam.h"

namespace {

constexpr std::int64_t ticks_per_second = 10'000'000;

TEST(Clock, CountsTicksSince1970) {
  const auto seconds = [] {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const std::int64_t before = seconds();
  const std::int64_t now = platform::now_ticks();
  // The two may come from clocks of different grain, so a second's room is left.
  EXPECT_GE(now / ticks_per_second, before - 1);
  EXPECT_LE(now / ticks_per_second, seconds() + 1);
}

TEST(Clock, MillisecondsGoOn) {
  const std::uint32_t start = platform::now_milliseconds();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (platform::now_milliseconds() == start) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
  }
  EXPECT_LT(platform::now_milliseconds() - start, 0x80000000u);
}

TEST(Clock, StandsWhereASeamHoldsIt) {
  support::TestSeam seam;
  seam.hold_clock(42);
  seam.hold_milliseconds(0xffffffff);
  EXPECT_EQ(platform::now_ticks(), 42);
  EXPECT_EQ(platform::now_milliseconds(), 0xffffffffu);
  seam.jump_clock_seconds(-1);
  EXPECT_EQ(platform::now_ticks(), 42 - ticks_per_second);
}

TEST(Clock, RunsAgainWhenReleased) {
  support::TestSeam seam;
  seam.hold_clock(42);
  seam.release_clock();
  EXPECT_GT(platform::now_ticks(), 42);
}

TEST(Clock, RunsAgainWithoutTheSeam) {
  {
    support::TestSeam seam;
    seam.hold_clock(42);
  }
  EXPECT_EQ(platform::seam(), nullptr);
  EXPECT_GT(platform::now_ticks(), 42);
}

}  // namespace
