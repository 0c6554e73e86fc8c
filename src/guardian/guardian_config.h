#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// One rung of the ladder of breaks, in seconds, both ends included.
struct break_interval {
  std::uint32_t min = 0;
  std::uint32_t max = 0;

  friend bool operator==(const break_interval&, const break_interval&) = default;
};

/// The rules of all circuits. No value is checked for its range.
struct guardian_config {
  std::uint32_t threshold =
      0;  ///< failures that open a closed circuit, successes that close a half open one
  std::vector<break_interval> intervals;
  std::int32_t reset_threshold =
      0;  ///< minutes after the last counted event, or the end of a break, until all is forgotten
  /// The monitored services: all if absent, none if empty.
  std::optional<std::vector<std::string>> services;

  /// The order of the services counts.
  friend bool operator==(const guardian_config&, const guardian_config&) = default;
};
