#pragma once

#include <cstdint>

namespace platform {

/// In ticks of 100 ns, from the Unix epoch on.
std::int64_t now_ticks() noexcept;
/// Milliseconds of an arbitrary start; wraps around after about 49 days.
std::uint32_t now_milliseconds() noexcept;

}  // namespace platform
