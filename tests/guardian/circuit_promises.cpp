// The elementary steps of a circuit, whatever its state.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "guardian/circuit.h"
#include "support/GuardianFolder.h"

namespace {

namespace circuit = cloud::guardian::circuit;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;
constexpr auto half_open = circuit_state::half_open;
constexpr std::int64_t now = support::GuardianFolder::start + 123;

/// Breaks last as long as they may.
class Surroundings final : public circuit::surroundings {
 public:
  std::int64_t now() override { return ::now; }
  std::int64_t get_next_request_time(const break_interval& interval) override {
    return ::now + interval.max * ticks_per_second;
  }
  void entering(const service_info& info, circuit_state state, bool notify) override {
    heard.push_back(std::to_string(static_cast<int>(info.state)) + " to " +
                    std::to_string(static_cast<int>(state)) +
                    (notify ? " told, " : " in silence, ") + std::to_string(info.errors.size()) +
                    " errors, blocked " + std::to_string(info.blocked));
  }
  void counted(std::uint32_t counter) override {
    heard.push_back("counter " + std::to_string(counter));
  }

  std::vector<std::string> heard;
};

class Circuit : public testing::Test {
 protected:
  using Heard = std::vector<std::string>;

  Circuit() {
    info.next_request_time = now - 1;
    info.counter = 2;
    info.index = 1;
    info.errors = {{"5", 0, "m"}};
    info.blocked = 3;
    info.allowed = 4;
  }

  /// Closed since just now, with nothing to remember.
  static void expect_like_new(const service_info& record) {
    EXPECT_EQ(record.state, closed);
    EXPECT_EQ(record.counter, 0u);
    EXPECT_EQ(record.index, 0u);
    EXPECT_EQ(record.next_request_time, now);
    EXPECT_TRUE(record.errors.empty());
    EXPECT_EQ(record.blocked, 0u);
    EXPECT_EQ(record.allowed, 0u);
  }
  void set(circuit_state state, bool notify = true) {
    circuit::set_circuit_state(info, state, config, notify, around);
  }
  void increment(circuit_state target) { circuit::increment_counter(info, target, config, around); }

  service_info info;
  guardian_config config = support::GuardianFolder::config();
  Surroundings around;
};

TEST_F(Circuit, EnteringClosedClearsAll) {
  for (const circuit_state before : {closed, open, half_open}) {
    info = service_info{before, 2, 1, 5, {{"5", 0, "m"}}, 3, 4};
    set(closed);
    expect_like_new(info);
  }
}

TEST_F(Circuit, EnteringAnythingElseKeepsTheRungAndTheCounts) {
  for (const circuit_state state : {open, half_open}) {
    info = service_info{closed, 2, 1, 5, {{"5", 0, "m"}}, 3, 4};
    set(state);
    EXPECT_EQ(info.state, state);
    EXPECT_EQ(info.counter, 0u);
    EXPECT_EQ(info.index, 1u);
    EXPECT_EQ(info.next_request_time, now + 120 * ticks_per_second);
    EXPECT_TRUE(info.errors.empty());
    EXPECT_EQ(info.blocked, 3u);
    EXPECT_EQ(info.allowed, 4u);
  }
}

TEST_F(Circuit, EnteringAnythingElseCapsTheRung) {
  info.index = 3;
  set(open);
  EXPECT_EQ(info.index, 2u);
  EXPECT_EQ(info.next_request_time, now + 300 * ticks_per_second);
}

TEST_F(Circuit, WhoIsToldSeesTheRecordAsItWas) {
  set(open);
  info.errors = {{"5", 0, "m"}, {"6", 0, "m"}};
  set(closed, false);
  EXPECT_EQ(around.heard,
            (Heard{"0 to 1 told, 1 errors, blocked 3", "1 to 0 in silence, 2 errors, blocked 3"}));
}

TEST_F(Circuit, CountingBelowTheThresholdMovesTheTimeOfAClosedCircuit) {
  info.counter = 1;
  increment(open);
  EXPECT_EQ(info.counter, 2u);
  EXPECT_EQ(info.state, closed);
  EXPECT_EQ(info.next_request_time, now);
  EXPECT_EQ(around.heard, Heard{"counter 2"});
}

TEST_F(Circuit, CountingBelowTheThresholdLeavesTheTimeOfAHalfOpenCircuit) {
  info.state = half_open;
  info.counter = 0;
  increment(closed);
  EXPECT_EQ(info.counter, 1u);
  EXPECT_EQ(info.next_request_time, now - 1);
  EXPECT_EQ(around.heard, Heard{"counter 1"});
}

TEST_F(Circuit, CountingToTheThresholdEntersTheTarget) {
  increment(open);
  EXPECT_EQ(info.state, open);
  EXPECT_EQ(info.counter, 0u);
  EXPECT_EQ(around.heard, (Heard{"0 to 1 told, 1 errors, blocked 3", "counter 0"}));
}

TEST_F(Circuit, CountingBeyondTheThresholdEntersTheTarget) {
  info.counter = 70;
  increment(open);
  EXPECT_EQ(info.state, open);
}

TEST_F(Circuit, AThresholdOfZeroIsReachedAtOnce) {
  config.threshold = 0;
  info.counter = 0;
  increment(open);
  EXPECT_EQ(info.state, open);
}

TEST_F(Circuit, QuietIsStrictlyLongerThanTheThreshold) {
  info.state = open;
  info.next_request_time = now - config.reset_threshold * ticks_per_minute;
  EXPECT_FALSE(circuit::forget_if_quiet(info, config, around));
  EXPECT_EQ(info.state, open);
  --info.next_request_time;
  EXPECT_TRUE(circuit::forget_if_quiet(info, config, around));
  EXPECT_EQ(info.state, closed);
  EXPECT_EQ(around.heard, Heard{"1 to 0 told, 1 errors, blocked 3"});
}

TEST_F(Circuit, AResetPassesOnWhetherToTell) {
  info.state = open;
  EXPECT_TRUE(circuit::reset(info, config, false, around));
  EXPECT_EQ(info.state, closed);
  info.state = half_open;
  EXPECT_TRUE(circuit::reset(info, config, true, around));
  EXPECT_EQ(around.heard,
            (Heard{"1 to 0 in silence, 1 errors, blocked 3", "2 to 0 told, 0 errors, blocked 0"}));
}

TEST_F(Circuit, AResetOfAClosedCircuitForgetsItsRowOnly) {
  EXPECT_TRUE(circuit::reset(info, config, true, around));
  EXPECT_EQ(info.counter, 0u);
  EXPECT_EQ(info.next_request_time, now);
  EXPECT_TRUE(info.errors.empty());
  EXPECT_EQ(info.index, 1u);
  EXPECT_EQ(info.blocked, 3u);
  EXPECT_TRUE(around.heard.empty());
  EXPECT_FALSE(circuit::reset(info, config, true, around));
}

TEST_F(Circuit, ANewRecordIsClosedAndOfNow) {
  support::TestSeam seam;
  seam.hold_clock(now);
  const service_info fresh;
  expect_like_new(fresh);
}

}  // namespace
