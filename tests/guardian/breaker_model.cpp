// Random sequences of all that may happen to a breaker, played beside its reference.
//
// RC_PARAMS sets the number of sequences and repeats a failure, as rapidcheck knows it:
//   RC_PARAMS="max_success=50000" test_guardian_breaker_model

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>

#ifdef HAS_RAPIDCHECK
#include <rapidcheck.h>

#include "rapidcheck/detail/TestListenerAdapter.h"
#endif

#include "support/breaker_duel.h"

namespace {

namespace duel = support::duel;
using support::duel::Step;

class BreakerModel : public testing::Test {
 protected:
  /// That the sequences went everywhere is part of what they show.
  void expect_every_passage() const {
    for (const auto& passage : {std::pair{0, 1}, {1, 2}, {2, 1}, {2, 0}, {1, 0}}) {
      EXPECT_TRUE(tally.passages.contains(passage))
          << passage.first << " to " << passage.second << " never happened";
    }
    EXPECT_GT(tally.refusals, 0u);
    std::cout << tally.sequences << " sequences, " << tally.steps << " steps, " << tally.refusals
              << " refusals, " << tally.reports << " reports";
    for (const auto& [passage, count] : tally.passages) {
      std::cout << ", " << passage.first << "->" << passage.second << ": " << count;
    }
    std::cout << '\n';
  }

  duel::Stage stage;
  duel::Tally tally;
};

TEST_F(BreakerModel, DoesWhatItsReferenceDoesInTheSameSequencesEverywhere) {
  for (std::uint32_t seed = 1; seed <= 100; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<Step> steps(100);
    for (Step& step : steps) {
      // One after the other: the order of arguments is each compiler's own.
      step.kind = duel::kinds[below(duel::kinds.size())];
      step.instance = below(duel::instances);
      step.service = below(duel::services);
      step.choice = below(duel::choices);
    }
    const auto complaint = play(stage, tally, steps);
    ASSERT_FALSE(complaint) << "seed " << seed << ", " << *complaint;
  }
  expect_every_passage();
}

#ifdef HAS_RAPIDCHECK

// Whatever the size of the sequence.
rc::Gen<unsigned> below(unsigned limit) {
  return rc::gen::resize(100, rc::gen::inRange(0u, limit));
}

rc::Gen<Step> any_step() {
  return rc::gen::map(rc::gen::tuple(rc::gen::elementOf(duel::kinds), below(duel::instances),
                                     below(duel::services), below(duel::choices)),
                      [](const std::tuple<duel::Kind, unsigned, unsigned, unsigned>& parts) {
                        return std::apply([](auto... part) { return Step{part...}; }, parts);
                      });
}

TEST_F(BreakerModel, DoesWhatItsReferenceDoesInAnySequence) {
  const rc::detail::TestMetadata metadata = {"breaker", "the breaker does what its reference does"};
  const auto& given = rc::detail::configuration();
  auto parameters = given.testParams;
  if (std::getenv("RC_PARAMS") == nullptr) {
    parameters.maxSuccess = 3000;
    parameters.maxSize = 120;
  }
  rc::detail::TestListenerAdapter listener;
  const auto result = rc::detail::checkTestable(
      [this] {
        const auto steps = *rc::gen::container<std::vector<Step>>(any_step());
        const auto complaint = play(stage, tally, steps);
        if (complaint) RC_FAIL(*complaint);
      },
      metadata, parameters, listener, given.reproduce);
  if (result.is<rc::detail::SuccessResult>()) {
    if (given.reproduce.empty()) expect_every_passage();
    return;
  }
  std::ostringstream message;
  rc::detail::printResultMessage(result, message);
  if (result.is<rc::detail::FailureResult>()) {
    rc::detail::Configuration again;
    again.reproduce.emplace(metadata.id, result.get<rc::detail::FailureResult>().reproduce);
    message << "\nTo see it again: RC_PARAMS=\"" << rc::detail::configToMinimalString(again)
            << "\"";
  }
  FAIL() << message.str();
}

#else

TEST_F(BreakerModel, DoesWhatItsReferenceDoesInAnySequence) {
  GTEST_SKIP() << "no rapidcheck for this platform: it is played where that is packaged";
}

#endif

}  // namespace
