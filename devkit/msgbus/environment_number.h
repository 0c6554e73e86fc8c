#pragma once

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>

#include "devkit/common/os.h"

namespace devkit::bus {

/// The number that a variable holds, or `usual`. What is no number is told about on standard error.
inline std::uint16_t environment_number(const char* name, std::uint16_t usual) {
  const std::optional<std::string> text = os::environment(name);
  if (!text) return usual;
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error == std::errc() && end == text->data() + text->size()) return number;
  std::fprintf(stderr, "%s: \"%s\" is no number up to 65535.\n", name, text->c_str());
  return usual;
}

/// How long processes may take to come back after the broker has.
inline std::chrono::milliseconds grace_from_environment() {
  return std::chrono::milliseconds(environment_number("SPLICE_BUS_GRACE_MS", 2000));
}

}  // namespace devkit::bus
