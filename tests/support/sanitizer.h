#pragma once

#include <cstdint>
#include <string>

#include "platform/library.h"

namespace support {

/// Whether this program runs under the address sanitizer ("asan") or the thread sanitizer ("tsan").
inline bool runs_under(const char* sanitizer) {
  std::uint32_t error = 0;
  const std::string symbol = std::string("__") + sanitizer + "_init";
  return platform::find_symbol(platform::executable(), symbol.c_str(), error) != nullptr;
}

/// Why a fake bus isn't asked to write without memory there: it keeps its fields in variants.
inline constexpr const char* variant_trouble =
    "the undefined behaviour sanitizer stops in libstdc++'s variant, copied without memory";

}  // namespace support
