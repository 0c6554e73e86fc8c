#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

#include "guardian/break_time.h"

namespace {

using cloud::guardian::draw_break;

constexpr std::uint32_t biggest = std::numeric_limits<std::uint32_t>::max();

/// The twister by its recurrence, so that the standard library's isn't compared with itself.
class Twister {
 public:
  explicit Twister(std::uint32_t seed) {
    state_[0] = seed;
    for (std::uint32_t i = 1; i < size; ++i) {
      state_[i] = 1812433253U * (state_[i - 1] ^ (state_[i - 1] >> 30)) + i;
    }
  }

  std::uint32_t next() {
    const std::size_t at = position_;
    const std::size_t after = (at + 1) % size;
    const std::uint32_t joined = (state_[at] & 0x80000000U) | (state_[after] & 0x7fffffffU);
    state_[at] =
        state_[(at + 397) % size] ^ (joined >> 1) ^ ((joined & 1U) != 0 ? 0x9908b0dfU : 0U);
    position_ = after;

    std::uint32_t word = state_[at];
    word ^= word >> 11;
    word ^= (word << 7) & 0x9d2c5680U;
    word ^= (word << 15) & 0xefc60000U;
    return word ^ (word >> 18);
  }

 private:
  static constexpr std::size_t size = 624;
  std::array<std::uint32_t, size> state_{};
  std::size_t position_ = 0;
};

/// How many words are drawn for `seed`, and what comes of the last one.
struct Draw {
  std::size_t words = 0;
  std::uint32_t seconds = 0;
};

Draw by_hand(const break_interval& interval, std::uint32_t seed) {
  constexpr std::uint64_t all = 0x100000000U;
  const std::uint64_t choices = std::uint64_t{interval.max} - interval.min + 1;
  const std::uint64_t whole_rounds = all / choices;
  Twister twister(seed);
  Draw draw;
  for (;;) {
    const std::uint64_t word = twister.next();
    ++draw.words;
    if (word / choices < whole_rounds) {
      draw.seconds = interval.min + static_cast<std::uint32_t>(word % choices);
      return draw;
    }
  }
}

struct Known {
  break_interval interval;
  std::uint32_t seed;
  std::uint32_t seconds;
};

TEST(BreakTime, IsTheOneThatTheSeedGives) {
  // Worked out outside this program.
  const std::vector<Known> all{
      {{60U, 120U}, 0U, 90U},
      {{60U, 120U}, 1U, 119U},
      {{60U, 120U}, 5489U, 108U},
      {{60U, 120U}, 4294967295U, 109U},
      {{0U, 1U}, 42U, 0U},
      {{0U, 4294967295U}, 5489U, 3499211612U},
      {{0U, 2147483648U}, 1U, 1791095845U},
      {{0U, 2147483648U}, 2U, 1872583848U},
      {{0U, 2147483648U}, 3U, 303761048U},
      {{3600U, 86400U}, 1700000000U, 66141U},
      {{4294967280U, 4294967295U}, 99U, 4294967281U},
  };
  for (const Known& known : all) {
    EXPECT_EQ(draw_break(known.interval, known.seed), known.seconds)
        << known.interval.min << " to " << known.interval.max << " from " << known.seed;
  }
}

TEST(BreakTime, OfAnIntervalWithoutWidthIsItsOnlySecond) {
  for (const std::uint32_t second : {0U, 60U, biggest}) {
    EXPECT_EQ(draw_break({second, second}, 1), second);
  }
}

TEST(BreakTime, OfAnIntervalTurnedAroundIsTheSecondNamedFirst) {
  EXPECT_EQ(draw_break({120, 60}, 1), 120U);
  EXPECT_EQ(draw_break({biggest, 0}, 1), biggest);
  EXPECT_EQ(draw_break({1, 0}, 1), 1U);
}

TEST(BreakTime, OverTheWholeRangeIsTheFirstWord) {
  for (const std::uint32_t seed : {0U, 1U, 5489U, biggest}) {
    EXPECT_EQ(draw_break({0, biggest}, seed), Twister(seed).next());
  }
}

TEST(BreakTime, PassesOverTheWordsOfAnIncompleteRound) {
  // Of an interval of a little more than half of all words, every other word is passed over.
  const break_interval half{0, 0x80000000U};
  std::size_t passed_over = 0;
  for (std::uint32_t seed = 0; seed < 500; ++seed) {
    const Draw expected = by_hand(half, seed);
    EXPECT_EQ(draw_break(half, seed), expected.seconds) << "from " << seed;
    if (expected.words > 1) ++passed_over;
  }
  EXPECT_GT(passed_over, 150U);
  EXPECT_LT(passed_over, 350U);
}

TEST(BreakTime, PassesOverTheVeryFirstWordOfAnIncompleteRound) {
  Twister twister(5489);
  const std::uint32_t first = twister.next();
  const std::uint32_t second = twister.next();
  ASSERT_EQ(first, 3'499'211'612U);
  EXPECT_EQ(draw_break({0, first}, 5489), first);
  EXPECT_EQ(draw_break({0, first - 1}, 5489), second);
}

TEST(BreakTime, FollowsTheWordsForIntervalsOfAllWidths) {
  Twister choice(20240607);
  for (int i = 0; i < 3000; ++i) {
    const std::uint32_t min = choice.next() >> (choice.next() % 32);
    const std::uint32_t width = choice.next() >> (choice.next() % 32);
    const break_interval interval{min, width > biggest - min ? biggest : min + width};
    const std::uint32_t seed = choice.next();
    const std::uint32_t seconds = draw_break(interval, seed);
    ASSERT_EQ(seconds, by_hand(interval, seed).seconds)
        << interval.min << " to " << interval.max << " from " << seed;
    ASSERT_GE(seconds, interval.min);
    ASSERT_LE(seconds, interval.max);
  }
}

TEST(BreakTime, IsTheSameTwiceForOneSeed) {
  EXPECT_EQ(draw_break({60, 7200}, 77), draw_break({60, 7200}, 77));
}

TEST(BreakTime, TakesEverySecondOfTheIntervalAboutAsOften) {
  // Seeds as they come in life, a little apart. 61 seconds, 1000 draws of each to be expected: a
  // count 5.5 standard deviations away would be a fault.
  const break_interval minute{60, 120};
  std::array<std::size_t, 61> counts{};
  for (std::uint32_t i = 0; i < 61'000; ++i) {
    const std::uint32_t seconds = draw_break(minute, 0x9e3779b9U + i * 156'250U);
    ASSERT_GE(seconds, 60U);
    ASSERT_LE(seconds, 120U);
    ++counts[seconds - 60];
  }
  for (std::size_t second = 0; second < counts.size(); ++second) {
    EXPECT_NEAR(static_cast<double>(counts[second]), 1000.0, 175.0) << second + 60 << " s";
  }
}

}  // namespace
