#pragma once

#include <string>

namespace devkit::bus {

/// A name that a process announces on a channel.
struct Listener {
  std::string channel;
  std::string name;

  friend bool operator==(const Listener&, const Listener&) = default;
  // NOLINTNEXTLINE(modernize-use-nullptr): it takes the comparison that the compiler writes for one
  friend auto operator<=>(const Listener&, const Listener&) = default;
};

}  // namespace devkit::bus
