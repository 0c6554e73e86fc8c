#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace devkit::bus {

/// Where the bus's broker listens.
struct Address {
  std::string host = "127.0.0.1";
  std::uint16_t port = 1883;

  /// "host:port", "host" or ":port"; what is left out is the default. Null if it makes no sense.
  static std::optional<Address> parse(std::string_view text);
  /// What SPLICE_BROKER names. One that makes no sense is told about on standard error, and the
  /// default taken.
  static Address from_environment();

  /// "host:port".
  std::string text() const;
};

}  // namespace devkit::bus
