#pragma once

#include <cstdint>
#include <string>

namespace devkit::os {

/// Throws std::system_error with the system's last error.
[[noreturn]] void fail(const std::string& what);

/// A handle as others keep it, who don't know the system's types.
inline void* as_handle(std::intptr_t value) noexcept {
  return reinterpret_cast<void*>(value);
}
inline std::intptr_t as_number(void* handle) noexcept {
  return reinterpret_cast<std::intptr_t>(handle);
}

}  // namespace devkit::os
