#pragma once

#include <string>

namespace devkit {

/// Whom a push is for, or who registered for pushes: an application on a device. Where a push is
/// addressed an empty text means any.
struct PushTarget {
  std::string app_id;
  std::string device_id;

  bool operator==(const PushTarget&) const = default;
};

}  // namespace devkit
