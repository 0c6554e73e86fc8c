#pragma once

#include <string>

/// A configuration's members, all good.
inline const char* const good_config =
    R"({"threshold": 4, "intervals": [{"min": 1, "max": 2}, {"min": 30, "max": 40}],
        "reset_threshold": 9})";

/// A whole configuration text of these members; `more` stands beside them.
inline std::string with_config(const std::string& config, const std::string& more = "") {
  return R"({"circuit_config": )" + config + more + "}";
}
