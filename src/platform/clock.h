#pragma once

#include <cstdint>

namespace platform {

/// Ticks of 100 ns since 1 January 1970 UTC.
std::int64_t now_ticks() noexcept;
/// Milliseconds of an arbitrary start; wraps around after about 49 days.
std::uint32_t now_milliseconds() noexcept;

}  // namespace platform
