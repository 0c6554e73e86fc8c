#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// The system's text for a Windows error number; empty if it has none.
std::string error_text(std::uint32_t number);

/// The Windows number that says the same as `errno_value`; 31 for one without a counterpart. (Only
/// POSIX files call it, but its table is the same everywhere, so that a test can hold it.)
std::uint32_t from_errno(int errno_value) noexcept;

}  // namespace platform
