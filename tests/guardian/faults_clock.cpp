// The clock goes anywhere: the breaker answers by the rules of its table, never by a time that
// doesn't exist.
//
// Circuits of all states, with breaks that end anywhere, meet each of the clock's jumps; then a
// random walk of 2000 steps, or SPLICE_CAMPAIGN times as many.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "guardian/circuit_breaker.h"
#include "support/BreakerTest.h"
#include "support/campaign.h"

namespace {

using support::GuardianFolder;
using support::stored_circuit;
using limits = std::numeric_limits<std::int64_t>;

constexpr std::int64_t hour = 60 * ticks_per_minute;
constexpr std::array<std::int64_t, 14> times = {
    GuardianFolder::start,
    GuardianFolder::start + 1,
    GuardianFolder::start - hour,
    GuardianFolder::start + hour,
    GuardianFolder::start + 365 * 24 * hour,
    GuardianFolder::start - 365 * 24 * hour,
    0,
    1,
    -1,
    -ticks_per_second,
    limits::min(),
    limits::min() + 1,
    limits::max() - 1,
    limits::max(),
};

/// Whether `time` and `minutes` of quiet lie before `now`, whatever their sum is.
bool is_over(std::int64_t time, std::int32_t minutes, std::int64_t now) {
  const auto distance = [](std::int64_t from, std::int64_t to) {
    return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
  };
  const auto quiet =
      static_cast<std::uint64_t>(std::int64_t{minutes < 0 ? -minutes : minutes} * ticks_per_minute);
  if (minutes >= 0) return time < now && distance(time, now) > quiet;
  return time <= now || distance(now, time) < quiet;
}

bool expected_answer(const service_info& info, std::int32_t minutes, std::int64_t now) {
  return is_over(info.next_request_time, minutes, now) || info.state == circuit_state::closed ||
         info.next_request_time < now;
}

class FaultsClock : public support::BreakerTest {
 protected:
  FaultsClock() : BreakerTest(GuardianFolder::config(), support::TemporaryFolder::fast_base()) {
    // No watcher has anything to do here.
    folder.seam().fail_calls(platform::Call::watch, 5);
  }

  /// What an open circuit's file says of its break's end.
  static std::int64_t seconds_of(std::int64_t ticks) { return ticks / ticks_per_second; }

  /// The next operation, whatever the clock says: it never ends in an exception that is told.
  void expect_sane() {
    EXPECT_EQ(support::complaints(log).size(), 0u);
    EXPECT_TRUE(remembered().state == circuit_state::closed ||
                remembered().state == circuit_state::open ||
                remembered().state == circuit_state::half_open);
    EXPECT_LE(remembered().index, 2u);
  }
};

TEST_F(FaultsClock, EachJumpMeetsEachCircuit) {
  std::size_t answers = 0;
  std::size_t refusals = 0;
  for (const auto state : {circuit_state::closed, circuit_state::open, circuit_state::half_open}) {
    for (const std::int64_t next : times) {
      for (const std::int64_t now : times) {
        SCOPED_TRACE(testing::Message() << "state " << static_cast<int>(state) << ", next " << next
                                        << ", now " << now);
        folder.seam().hold_clock(GuardianFolder::start);
        make_breaker(with(stored_circuit(state, seconds_of(next)), {{"counter", 1}}));
        folder.seam().hold_clock(now);
        log.clear();
        const bool expected =
            expected_answer(remembered(), GuardianFolder::config().reset_threshold, now);
        EXPECT_EQ(ask(), expected);
        ++answers;
        refusals += expected ? 0 : 1;
        expect_sane();
        fail();
        expect_sane();
        succeed();
        expect_sane();
        static_cast<void>(ask());
        expect_sane();
        // The clock comes back, and so does the circuit, at the latest when a success tells.
        folder.seam().hold_clock(GuardianFolder::start);
        static_cast<void>(ask());
        fail();
        succeed();
        expect_sane();
        if (HasFailure()) return;
      }
    }
  }
  std::cout << answers << " circuits met a jump, " << refusals << " refused\n";
}

TEST_F(FaultsClock, ABreakThatBeganInTheFutureLastsNoLongerThanASuccessLets) {
  make_breaker(stored_circuit());
  folder.seam().jump_clock(365 * 24 * hour);
  for (int i = 0; i < 3; ++i) fail();
  folder.seam().hold_clock(GuardianFolder::start);
  EXPECT_FALSE(ask());
  succeed();
  EXPECT_EQ(remembered().state, circuit_state::half_open);
  EXPECT_EQ(remembered().next_request_time, in_ticks(60));
}

TEST_F(FaultsClock, AnHourBackIsAnHourMoreToWait) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  folder.seam().jump_clock(-hour);
  EXPECT_FALSE(ask());
  folder.seam().jump_clock(hour + 60 * ticks_per_second);
  EXPECT_FALSE(ask());
  folder.seam().jump_clock(1);
  EXPECT_TRUE(ask());
}

TEST_F(FaultsClock, AYearForwardForgetsEverything) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  folder.seam().jump_clock(365 * 24 * hour);
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, circuit_state::closed);
}

TEST_F(FaultsClock, AWalkThroughAllTimesIsSurvived) {
  const std::size_t count = 2000 * std::size_t{support::campaign_factor()};
  std::mt19937_64 random(1);
  make_breaker();
  static_cast<void>(ask());
  guardian_config config = GuardianFolder::config();
  std::size_t refusals = 0;
  for (std::size_t step = 0; step < count; ++step) {
    const std::uint64_t choice = random();
    const std::int64_t now =
        choice % 3 == 0 ? static_cast<std::int64_t>(random()) : times[random() % times.size()];
    SCOPED_TRACE(testing::Message() << "step " << step << ", now " << now);
    folder.seam().hold_clock(now);
    log.clear();
    if (choice % 64 == 1) {
      constexpr std::array<std::int32_t, 6> quiet = {0,
                                                     30,
                                                     -30,
                                                     1,
                                                     std::numeric_limits<std::int32_t>::max(),
                                                     std::numeric_limits<std::int32_t>::min() + 1};
      config.reset_threshold = quiet[random() % quiet.size()];
      config.intervals.back().max = static_cast<std::uint32_t>(random());
      breaker->OnSettingsChanged(support::config_text(config).c_str());
    }
    const bool expected = expected_answer(remembered(), config.reset_threshold, now);
    EXPECT_EQ(ask(), expected);
    refusals += expected ? 0 : 1;
    if (random() % 2 == 0) {
      fail();
    } else if (random() % 2 == 0) {
      succeed();
    }
    expect_sane();
    if (HasFailure()) return;
  }
  std::cout << count << " steps of a clock that goes anywhere, " << refusals << " refused\n";
}

}  // namespace
