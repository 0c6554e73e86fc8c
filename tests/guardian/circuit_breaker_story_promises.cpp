// What becomes of a circuit over several requests.

#include <gtest/gtest.h>

#include <random>

#include "support/BreakerTest.h"
#include "support/throttling_reports.h"

namespace {

using support::CallCount;
using support::GuardianFolder;
using support::has_line;
using support::Reports;
using support::stored_circuit;
using support::stored_failure;
using support::throttling_reports;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;
constexpr auto half_open = circuit_state::half_open;

guardian_config with_threshold(std::uint32_t threshold) {
  guardian_config config = GuardianFolder::config();
  config.threshold = threshold;
  return config;
}

class CircuitStory : public support::BreakerTest {};

TEST_F(CircuitStory, ThresholdOneOpensAtTheFirstFailureAndClosesAtTheFirstSuccess) {
  folder.package(with_threshold(1));
  make_breaker(stored_circuit());
  fail();
  EXPECT_EQ(remembered().state, open);
  succeed();
  EXPECT_EQ(remembered().state, half_open);
  succeed();
  EXPECT_EQ(remembered().state, closed);
  EXPECT_EQ(throttling_reports(events), (Reports{L"svc enabled", L"svc disabled"}));
}

TEST_F(CircuitStory, ThresholdZeroOpensAtTheFirstFailureAsWell) {
  folder.package(with_threshold(0));
  make_breaker(stored_circuit());
  fail();
  EXPECT_EQ(remembered().state, open);
}

TEST_F(CircuitStory, FailuresWithoutDetailCountButAreNotReported) {
  make_breaker(stored_circuit());
  fail();
  fail({"32005.1011", 2, "ask"});
  fail();
  const auto posted = events.posted();
  ASSERT_EQ(posted.size(), 1u);
  const auto errors = posted[0].child_lists.at(L"errors");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].strings.at(L"value"), L"32005.1011");
}

TEST_F(CircuitStory, ACircuitOpenedWithoutDetailReportsNoErrorsAtAll) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  const auto posted = events.posted();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].child_lists.count(L"errors"), 0u);
}

TEST_F(CircuitStory, AServiceNeverSeenBeforeGetsACircuitAndIsWritten) {
  folder.package(GuardianFolder::config({"svc"}));
  make_breaker();
  const CallCount count(folder.seam());
  EXPECT_TRUE(ask());
  EXPECT_EQ(count.writes(), 1u);
  EXPECT_EQ(folder.services(), (nlohmann::json{{"svc", stored_circuit()}}));
}

TEST_F(CircuitStory, TwoProbesWithoutAnOutcomeClimbTwice) {
  make_breaker(stored_circuit(open, in_seconds(-1)));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().index, 1u);
  EXPECT_EQ(remembered().next_request_time, in_ticks(120));
  folder.seam().hold_clock(in_ticks(121));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().index, 2u);
  EXPECT_EQ(remembered().next_request_time, in_ticks(121 + 300));
  EXPECT_EQ(remembered().allowed, 0u);
}

TEST_F(CircuitStory, ASlowTrickleOfFailuresNeverOpens) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 10; ++i) {
    fail({"5", 0, "m"});
    EXPECT_EQ(remembered().state, closed);
    EXPECT_EQ(remembered().counter, 1u);
    EXPECT_EQ(remembered().errors.size(), 1u);
    folder.seam().jump_clock_seconds(30 * 60 + 1);
  }
}

TEST_F(CircuitStory, FailuresJustWithinTheQuietTimeOpen) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) {
    folder.seam().jump_clock_seconds(30 * 60);
    fail();
  }
  EXPECT_EQ(remembered().state, open);
}

TEST_F(CircuitStory, TheQuietTimeRunsFromTheLastCountedFailure) {
  make_breaker(stored_circuit());
  fail();
  folder.seam().jump_clock_seconds(20 * 60);
  fail();
  EXPECT_EQ(stored().at("next_request_time"), in_seconds(20 * 60));
  folder.seam().jump_clock_seconds(20 * 60);
  fail();
  EXPECT_EQ(remembered().state, open);
}

TEST_F(CircuitStory, ASuccessBetweenFailuresBeginsTheRowAnew) {
  make_breaker(stored_circuit());
  fail();
  fail();
  succeed();
  fail();
  fail();
  EXPECT_EQ(remembered().state, closed);
  EXPECT_EQ(remembered().counter, 2u);
}

TEST_F(CircuitStory, AServiceThatStaysDownIsTriedAtGrowingIntervals) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  std::vector<std::int64_t> breaks;
  for (int i = 0; i < 4; ++i) {
    breaks.push_back((remembered().next_request_time - platform::now_ticks()) / ticks_per_second);
    folder.seam().hold_clock(remembered().next_request_time);
    EXPECT_FALSE(ask());
    folder.seam().jump_clock_seconds(1);
    EXPECT_TRUE(ask());
    fail();
  }
  EXPECT_EQ(breaks, (std::vector<std::int64_t>{60, 120, 300, 300}));
  EXPECT_EQ(stored().at("blocked"), 4);
  EXPECT_EQ(stored().at("allowed"), 4);
}

TEST_F(CircuitStory, ARecoveredServiceComesBackStepByStep) {
  make_breaker(with(stored_circuit(open, in_seconds(-1)), {{"index", 1}, {"blocked", 5}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().index, 2u);
  succeed();
  EXPECT_EQ(remembered().state, half_open);
  EXPECT_EQ(remembered().index, 2u);
  for (const std::uint32_t rung : {1u, 0u}) {
    folder.seam().hold_clock(remembered().next_request_time + ticks_per_second);
    EXPECT_TRUE(ask());
    EXPECT_EQ(remembered().index, rung);
    succeed();
    EXPECT_EQ(remembered().state, half_open);
  }
  folder.seam().hold_clock(remembered().next_request_time + ticks_per_second);
  EXPECT_TRUE(ask());
  succeed();
  EXPECT_EQ(remembered().state, closed);
  const auto posted = events.posted();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].integers.at(L"blocked_requests"), 5);
  EXPECT_EQ(posted[0].integers.at(L"allowed_requests"), 4);
}

TEST_F(CircuitStory, CountersSurviveTheWayBackFromHalfOpen) {
  make_breaker(with(stored_circuit(open, in_seconds(10)), {{"blocked", 5}, {"allowed", 2}}));
  succeed();
  fail();
  EXPECT_EQ(remembered().state, open);
  EXPECT_EQ(remembered().blocked, 5u);
  EXPECT_EQ(remembered().allowed, 4u);
  EXPECT_TRUE(events.posted().empty());
}

TEST_F(CircuitStory, AnOpenCircuitNobodyAsksAboutIsClosedBeforeAnyOtherRule) {
  make_breaker(with(stored_circuit(open, in_seconds(60)), {{"blocked", 2}, {"allowed", 1}}));
  folder.seam().hold_clock(in_ticks(60 + 30 * 60) + 1);
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, closed);
  EXPECT_EQ(remembered().index, 0u);
  EXPECT_EQ(throttling_reports(events), (Reports{L"svc disabled"}));
  EXPECT_EQ(events.posted()[0].integers.at(L"blocked_requests"), 2);
  EXPECT_EQ(events.posted()[0].integers.at(L"allowed_requests"), 1);
}

TEST_F(CircuitStory, ANegativeQuietTimeForgetsAtOnce) {
  guardian_config config = GuardianFolder::config();
  config.reset_threshold = -1;
  folder.package(config);
  make_breaker(with(stored_circuit(open, in_seconds(30)), {{"blocked", 2}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, closed);
}

TEST_F(CircuitStory, EachServiceHasACircuitOfItsOwn) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  EXPECT_FALSE(ask());
  EXPECT_TRUE(breaker->IsSendAllowed("other"));
  EXPECT_EQ(folder.circuit("other"), stored_circuit());
}

TEST_F(CircuitStory, TransitionsAndCountsAreLogged) {
  make_breaker(stored_circuit());
  fail();
  EXPECT_TRUE(has_line(log, 16, L"counter: 1"));
  fail();
  EXPECT_TRUE(has_line(log, 16, L"counter: 2"));
  log.clear();
  fail();
  EXPECT_TRUE(has_line(log, 16, L"service svc circuit state open"));
  EXPECT_TRUE(has_line(log, 16, L"current break time 60s"));
  EXPECT_TRUE(has_line(log, 16, L"counter: 0"));
  log.clear();
  succeed();
  EXPECT_EQ(support::count_lines(log, 16, L"service svc circuit state half_open"), 1u);
  EXPECT_TRUE(has_line(log, 16, L"current break time 60s"));
  succeed();
  succeed();
  log.clear();
  succeed();
  EXPECT_TRUE(has_line(log, 16, L"service svc circuit state closed"));
  EXPECT_TRUE(has_line(log, 16, L"counter: 0"));
}

TEST_F(CircuitStory, TransitionsComeBeforeTheBreakAndTheCountInTheLog) {
  make_breaker(with(stored_circuit(), {{"counter", 2}}));
  log.clear();
  fail();
  std::vector<std::wstring> texts;
  for (const auto& line : log.lines(16)) {
    if (line.text != L"services cache modified") texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::wstring>{L"service svc circuit state open",
                                              L"current break time 60s", L"counter: 0"}));
}

TEST_F(CircuitStory, BreaksAreDrawnFromAFreshGeneratorOfTheCurrentTick) {
  guardian_config config = GuardianFolder::config();
  config.intervals = {{100, 163}};
  folder.package(config);
  make_breaker(with(stored_circuit(), {{"counter", 2}}));
  const std::int64_t now = GuardianFolder::start + 1'234'567;
  folder.seam().hold_clock(now);
  fail();
  // A range of 64 seconds divides 2^32, so that no word is refused.
  std::mt19937 generator(static_cast<std::uint32_t>(now));
  const std::int64_t seconds = 100 + generator() % 64;
  EXPECT_EQ(remembered().next_request_time, now + seconds * ticks_per_second);
  EXPECT_TRUE(has_line(log, 16, L"current break time " + std::to_wstring(seconds) + L"s"));
}

}  // namespace
