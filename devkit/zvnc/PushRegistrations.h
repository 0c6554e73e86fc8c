#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "cloud/cirrel_client.h"

namespace zvnc {

/// Whose pushes are meant: an application on a device.
struct PushTarget {
  std::string app_id;
  std::string device_id;

  bool operator==(const PushTarget&) const = default;
};

/// What an instance has registered for pushes, oldest first. Any thread.
class PushRegistrations {
 public:
  struct Registration {
    PushTarget target;
    cirrel_push_callbacks callbacks;
    std::string token;
    std::uint64_t number;  ///< rises from one to the next
  };

  /// Adds it for the time being and gives its number: to be followed by `confirm` or `take_back`.
  std::uint64_t add(const PushTarget& target, const cirrel_push_callbacks& callbacks,
                    const std::string& token);
  /// It stays, in the place of older ones of the same target with the same callbacks.
  void confirm(std::uint64_t number);
  void take_back(std::uint64_t number);

  /// Those after the number.
  std::vector<Registration> list(std::uint64_t after = 0) const;
  /// Whom a push for the target concerns, each once: those registered for exactly it, or all if it
  /// names no application.
  std::vector<cirrel_push_callbacks> callbacks(const PushTarget& target) const;

 private:
  mutable std::mutex mutex_;
  std::vector<Registration> registrations_;
  std::uint64_t last_number_ = 0;
};

}  // namespace zvnc
