#include "guardian/break_time.h"

#include <random>

namespace cloud::guardian {

std::uint32_t draw_break(const break_interval& interval, std::uint32_t seed) {
  if (interval.min >= interval.max) return interval.min;

  // Not std::uniform_int_distribution, which each standard library fills in its own way.
  constexpr std::uint64_t words = std::uint64_t{1} << 32;
  const std::uint64_t choices = std::uint64_t{interval.max} - interval.min + 1;
  // Words from here on belong to a last, incomplete round: taken, they would favour small numbers.
  const std::uint64_t rejected = words - words % choices;

  std::mt19937 generator(seed);
  std::uint64_t word = generator();
  while (word >= rejected) word = generator();
  return interval.min + static_cast<std::uint32_t>(word % choices);
}

}  // namespace cloud::guardian
