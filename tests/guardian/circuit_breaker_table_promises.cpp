// Each row of the state machine, through a breaker with real files.

#include <gtest/gtest.h>

#include "support/BreakerTest.h"

namespace {

using support::CallCount;
using support::GuardianFolder;
using support::stored_circuit;
using support::stored_failure;
using Json = nlohmann::json;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;
constexpr auto half_open = circuit_state::half_open;

constexpr std::int64_t quiet_seconds = 30 * 60;

const request_failure failure{"32005", 1, "ask"};

class CircuitTable : public support::BreakerTest {
 protected:
  void expect_report(const std::wstring& throttling) {
    const auto posted = events.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].name, L"m_cloud_guardian_report");
    EXPECT_EQ(posted[0].strings.at(L"service"), L"svc");
    EXPECT_EQ(posted[0].strings.at(L"throttling"), throttling);
  }
  void expect_no_report() { EXPECT_TRUE(events.posted().empty()); }
};

// any state, quiet for longer than the threshold

TEST_F(CircuitTable, AnOpenCircuitQuietForTooLongIsClosedAndReported) {
  make_breaker(with(stored_circuit(open, in_seconds(-quiet_seconds - 1)),
                    {{"index", 2}, {"blocked", 7}, {"allowed", 4}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), stored_circuit(closed));
  expect_report(L"disabled");
  EXPECT_EQ(events.posted()[0].integers.at(L"blocked_requests"), 7);
  EXPECT_EQ(events.posted()[0].integers.at(L"allowed_requests"), 4);
}

TEST_F(CircuitTable, AHalfOpenCircuitQuietForTooLongIsClosedAndReported) {
  make_breaker(with(stored_circuit(half_open, in_seconds(-quiet_seconds - 1)),
                    {{"index", 1}, {"counter", 2}, {"blocked", 1}, {"allowed", 2}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), stored_circuit(closed));
  expect_report(L"disabled");
}

TEST_F(CircuitTable, QuietIsLookedAtBeforeASuccessIsCounted) {
  make_breaker(with(stored_circuit(open, in_seconds(-quiet_seconds - 1)), {{"index", 2}}));
  succeed();
  EXPECT_EQ(stored(), stored_circuit(closed));
  expect_report(L"disabled");
}

TEST_F(CircuitTable, QuietIsLookedAtBeforeAFailureIsCounted) {
  make_breaker(with(stored_circuit(half_open, in_seconds(-quiet_seconds - 1)), {{"index", 2}}));
  fail();
  EXPECT_EQ(stored(), with(stored_circuit(closed), {{"counter", 1}}));
  expect_report(L"disabled");
}

TEST_F(CircuitTable, QuietHasToBeLongerThanTheThreshold) {
  make_breaker(with(stored_circuit(open, in_seconds(-quiet_seconds)), {{"index", 2}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, open);
  folder.seam().hold_clock(remembered().next_request_time + quiet_seconds * ticks_per_second);
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, open);
  folder.seam().hold_clock(remembered().next_request_time + quiet_seconds * ticks_per_second + 1);
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().state, closed);
}

TEST_F(CircuitTable, AClosedCircuitQuietForTooLongForgetsItsFailures) {
  make_breaker(with(stored_circuit(closed, in_seconds(-quiet_seconds - 1)),
                    {{"counter", 2}, {"errors", {stored_failure("5", 0, "m")}}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), stored_circuit(closed));
  expect_no_report();
}

TEST_F(CircuitTable, AClosedCircuitWithErrorsAloneKeepsItsTime) {
  make_breaker(with(stored_circuit(closed, in_seconds(-quiet_seconds - 1)),
                    {{"errors", {stored_failure("5", 0, "m")}}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), stored_circuit(closed, in_seconds(-quiet_seconds - 1)));
}

TEST_F(CircuitTable, AClosedCircuitWithNothingToForgetIsNotWritten) {
  make_breaker(stored_circuit(closed, in_seconds(-quiet_seconds - 1)));
  const CallCount count(folder.seam());
  EXPECT_TRUE(ask());
  EXPECT_EQ(count.writes(), 0u);
  EXPECT_EQ(stored(), stored_circuit(closed, in_seconds(-quiet_seconds - 1)));
}

// closed

TEST_F(CircuitTable, AClosedCircuitLetsPassAndChangesNothing) {
  const Json before = with(stored_circuit(closed, in_seconds(-10)),
                           {{"counter", 2}, {"errors", {stored_failure("5", 0, "m")}}});
  make_breaker(before);
  const CallCount count(folder.seam());
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), before);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(CircuitTable, ASuccessClearsAClosedCircuit) {
  make_breaker(with(stored_circuit(closed, in_seconds(-10)),
                    {{"counter", 2}, {"errors", {stored_failure("5", 0, "m")}}}));
  succeed();
  EXPECT_EQ(stored(), stored_circuit(closed));
}

TEST_F(CircuitTable, ASuccessWithErrorsButNoCountKeepsTheTime) {
  make_breaker(
      with(stored_circuit(closed, in_seconds(-10)), {{"errors", {stored_failure("5", 0, "m")}}}));
  succeed();
  EXPECT_EQ(stored(), stored_circuit(closed, in_seconds(-10)));
}

TEST_F(CircuitTable, ASuccessWithNothingToClearIsNotWritten) {
  make_breaker(stored_circuit(closed, in_seconds(-10)));
  const CallCount count(folder.seam());
  succeed();
  EXPECT_EQ(count.writes(), 0u);
  EXPECT_EQ(stored(), stored_circuit(closed, in_seconds(-10)));
}

TEST_F(CircuitTable, AFailureBelowTheThresholdIsCountedAndRemembered) {
  make_breaker(with(stored_circuit(closed, in_seconds(-10)),
                    {{"counter", 1}, {"errors", {stored_failure("5", 0, "m")}}}));
  fail(failure);
  EXPECT_EQ(stored(),
            with(stored_circuit(closed),
                 {{"counter", 2},
                  {"errors", {stored_failure("5", 0, "m"), stored_failure("32005", 1, "ask")}}}));
  expect_no_report();
}

TEST_F(CircuitTable, AFailureWithoutDetailIsCountedOnly) {
  const Json errors = Json::array({stored_failure("5", 0, "m")});
  make_breaker(with(stored_circuit(closed, in_seconds(-10)), {{"counter", 1}, {"errors", errors}}));
  fail();
  EXPECT_EQ(stored(), with(stored_circuit(closed), {{"counter", 2}, {"errors", errors}}));
}

TEST_F(CircuitTable, TheFailureThatReachesTheThresholdOpens) {
  make_breaker(with(stored_circuit(closed, in_seconds(-10)),
                    {{"counter", 2}, {"errors", {stored_failure("5", 0, "m")}}}));
  fail(failure);
  EXPECT_EQ(stored(), stored_circuit(open, in_seconds(60)));
  expect_report(L"enabled");
  const auto errors = events.posted()[0].child_lists.at(L"errors");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].strings.at(L"value"), L"5");
  EXPECT_EQ(errors[1].strings.at(L"value"), L"32005");
  EXPECT_EQ(errors[1].strings.at(L"method"), L"ask");
}

TEST_F(CircuitTable, OpeningCapsTheIndexAndTakesThatBreak) {
  make_breaker(with(stored_circuit(closed), {{"counter", 2}, {"index", 9}}));
  fail();
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(300)), {{"index", 2}}));
}

TEST_F(CircuitTable, OpeningKeepsAnIndexWithinTheLadder) {
  make_breaker(with(stored_circuit(closed), {{"counter", 2}, {"index", 1}}));
  fail();
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(120)), {{"index", 1}}));
}

// open

TEST_F(CircuitTable, AnOpenCircuitRefusesDuringTheBreak) {
  const Json before =
      with(stored_circuit(open, in_seconds(20)), {{"index", 1}, {"blocked", 3}, {"allowed", 1}});
  make_breaker(before);
  EXPECT_FALSE(ask());
  EXPECT_EQ(stored(), with(before, {{"blocked", 4}}));
}

TEST_F(CircuitTable, AnOpenCircuitStillRefusesAtTheVeryTick) {
  make_breaker(stored_circuit(open, in_seconds(20)));
  folder.seam().hold_clock(in_ticks(20));
  EXPECT_FALSE(ask());
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(20)), {{"blocked", 1}}));
}

TEST_F(CircuitTable, AnOpenCircuitLetsAProbePassOneTickLaterAndClimbs) {
  make_breaker(with(stored_circuit(open, in_seconds(20)), {{"blocked", 3}, {"allowed", 1}}));
  folder.seam().hold_clock(in_ticks(20) + 1);
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().next_request_time, in_ticks(20) + 1 + 120 * ticks_per_second);
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(140)),
                           {{"index", 1}, {"blocked", 3}, {"allowed", 1}}));
  expect_no_report();
}

TEST_F(CircuitTable, AProbeDoesNotClimbBeyondTheLadder) {
  make_breaker(with(stored_circuit(open, in_seconds(-1)), {{"index", 2}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(300)), {{"index", 2}}));
}

TEST_F(CircuitTable, AProbeBringsAnIndexBeyondTheLadderBack) {
  make_breaker(with(stored_circuit(open, in_seconds(-1)), {{"index", 40}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(300)), {{"index", 2}}));
}

TEST_F(CircuitTable, ASuccessHalfOpensAnOpenCircuit) {
  make_breaker(
      with(stored_circuit(open, in_seconds(20)), {{"counter", 2},
                                                  {"index", 1},
                                                  {"blocked", 3},
                                                  {"allowed", 1},
                                                  {"errors", {stored_failure("5", 0, "m")}}}));
  const CallCount count(folder.seam());
  succeed();
  EXPECT_EQ(stored(), with(stored_circuit(half_open, in_seconds(120)),
                           {{"index", 1}, {"blocked", 3}, {"allowed", 2}}));
  EXPECT_EQ(count.writes(), 1u);
  expect_no_report();
}

TEST_F(CircuitTable, ASuccessCapsTheIndexOfAnOpenCircuit) {
  make_breaker(with(stored_circuit(open, in_seconds(20)), {{"index", 9}}));
  succeed();
  EXPECT_EQ(stored(),
            with(stored_circuit(half_open, in_seconds(300)), {{"index", 2}, {"allowed", 1}}));
}

TEST_F(CircuitTable, AFailureOfAnOpenCircuitCountsAsAnOutcomeOnly) {
  const Json before =
      with(stored_circuit(open, in_seconds(20)), {{"index", 1}, {"blocked", 3}, {"allowed", 1}});
  make_breaker(before);
  fail(failure);
  EXPECT_EQ(stored(), with(before, {{"allowed", 2}}));
  fail();
  EXPECT_EQ(stored(), with(before, {{"allowed", 3}}));
  expect_no_report();
}

// half open

TEST_F(CircuitTable, AHalfOpenCircuitRefusesDuringTheBreak) {
  const Json before = with(stored_circuit(half_open, in_seconds(0)),
                           {{"counter", 1}, {"index", 1}, {"blocked", 3}, {"allowed", 1}});
  make_breaker(before);
  EXPECT_FALSE(ask());
  EXPECT_EQ(stored(), with(before, {{"blocked", 4}}));
}

TEST_F(CircuitTable, AHalfOpenCircuitLetsAProbePassAndDescends) {
  const Json before = with(stored_circuit(half_open, in_seconds(-1)),
                           {{"counter", 1}, {"index", 2}, {"blocked", 3}, {"allowed", 1}});
  make_breaker(before);
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), with(before, {{"index", 1}, {"next_request_time", in_seconds(120)}}));
  expect_no_report();
}

TEST_F(CircuitTable, AHalfOpenCircuitDoesNotDescendBelowTheLadder) {
  make_breaker(stored_circuit(half_open, in_seconds(-1)));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), stored_circuit(half_open, in_seconds(60)));
}

TEST_F(CircuitTable, AHalfOpenCircuitIsCappedBeforeItDescends) {
  make_breaker(with(stored_circuit(half_open, in_seconds(-1)), {{"index", 9}}));
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored(), with(stored_circuit(half_open, in_seconds(120)), {{"index", 1}}));
}

TEST_F(CircuitTable, ASuccessBelowTheThresholdIsCountedWhileHalfOpen) {
  make_breaker(
      with(stored_circuit(half_open, in_seconds(20)), {{"counter", 1},
                                                       {"index", 1},
                                                       {"blocked", 3},
                                                       {"allowed", 1},
                                                       {"errors", {stored_failure("5", 0, "m")}}}));
  succeed();
  EXPECT_EQ(stored(), with(stored_circuit(half_open, in_seconds(20)),
                           {{"counter", 2}, {"index", 1}, {"blocked", 3}, {"allowed", 2}}));
  expect_no_report();
}

TEST_F(CircuitTable, TheSuccessThatReachesTheThresholdClosesAndReports) {
  make_breaker(with(stored_circuit(half_open, in_seconds(20)),
                    {{"counter", 2}, {"index", 1}, {"blocked", 3}, {"allowed", 1}}));
  succeed();
  EXPECT_EQ(stored(), stored_circuit(closed));
  expect_report(L"disabled");
  EXPECT_EQ(events.posted()[0].integers.at(L"blocked_requests"), 3);
  EXPECT_EQ(events.posted()[0].integers.at(L"allowed_requests"), 2);
}

TEST_F(CircuitTable, AFailureOpensAHalfOpenCircuitOnItsRungWithoutAReport) {
  make_breaker(
      with(stored_circuit(half_open, in_seconds(20)), {{"counter", 2},
                                                       {"index", 1},
                                                       {"blocked", 3},
                                                       {"allowed", 1},
                                                       {"errors", {stored_failure("5", 0, "m")}}}));
  fail(failure);
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(120)),
                           {{"index", 1}, {"blocked", 3}, {"allowed", 2}}));
  expect_no_report();
}

TEST_F(CircuitTable, AFailureCapsTheIndexOfAHalfOpenCircuit) {
  make_breaker(with(stored_circuit(half_open, in_seconds(20)), {{"index", 9}}));
  fail();
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(300)), {{"index", 2}, {"allowed", 1}}));
}

}  // namespace
