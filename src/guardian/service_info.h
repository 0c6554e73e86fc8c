#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "guardian/request_failure.h"
#include "platform/clock.h"

inline constexpr std::int64_t ticks_per_second = 10'000'000;
inline constexpr std::int64_t ticks_per_minute = 60 * ticks_per_second;

/// As it is stored. A file may hold any other number: that is not closed, and neither of the
/// others.
enum class circuit_state : std::int32_t { closed = 0, open = 1, half_open = 2 };

/// The record of one circuit.
struct service_info {
  circuit_state state = circuit_state::closed;
  std::uint32_t counter =
      0;  ///< in a row: failures of a closed circuit, successes of a half open one
  std::uint32_t index = 0;  ///< the rung of the ladder
  /// In ticks since the Unix epoch: the end of the break, or, while closed, the last counted event
  /// (the closing itself, to begin with).
  std::int64_t next_request_time = platform::now_ticks();
  std::vector<request_failure> errors;  ///< while closed
  std::uint32_t blocked = 0;            ///< requests refused since it left closed
  std::uint32_t allowed = 0;            ///< outcomes of requests let through since then
};

using services_map = std::unordered_map<std::string, service_info>;  ///< by service name
