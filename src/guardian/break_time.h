#pragma once

#include <cstdint>

#include "guardian/guardian_config.h"

namespace cloud::guardian {

/// A whole number of seconds of `interval`, each as likely as the other, from a Mersenne twister of
/// that seed: the same for the same seed, on every platform. `min` if that is above `max`.
std::uint32_t draw_break(const break_interval& interval, std::uint32_t seed);

}  // namespace cloud::guardian
