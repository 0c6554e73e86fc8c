#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devkit/msgbus/Listener.h"

namespace devkit::bus {

/// What a process tells about itself, and the broker keeps.
struct PresenceNote {
  std::uint32_t process_id = 0;
  std::string program;
  std::vector<Listener> listeners;
  bool leaving = false;  ///< said once, last: so that a watcher can tell leaving from dying

  std::string text() const;
  /// Null if it is something else.
  static std::optional<PresenceNote> parse(std::string_view text);
};

}  // namespace devkit::bus
