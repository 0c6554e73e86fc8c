#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "support/RecordingLog.h"

/// What the campaigns of faults share.
namespace support {

/// How many times its usual size a campaign is to have: SPLICE_CAMPAIGN of the environment, else 1.
inline unsigned campaign_factor() {
  const char* const text = std::getenv("SPLICE_CAMPAIGN");
  return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : 1;
}

/// The failures that were logged, but for those of watchers: these run beside the test, which keeps
/// them from watching.
inline std::vector<LogLine> complaints(const RecordingLog& log) {
  auto lines = log.lines(4);
  std::erase_if(lines, [](const LogLine& line) {
    return line.function == L"winapi::directory_mgmt::directories_changes::worker";
  });
  return lines;
}

}  // namespace support
