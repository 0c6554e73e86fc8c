#include <windows.h>
// After windows.h, on whose types it stands.
#include <mmsystem.h>

#include "platform/os.h"

namespace platform::os {
namespace {

/// 1 January 1970 in the system's ticks, which count from 1601.
constexpr std::int64_t unix_epoch = 116'444'736'000'000'000;

}  // namespace

std::int64_t now_ticks() noexcept {
  FILETIME now;
  GetSystemTimePreciseAsFileTime(&now);
  return ((static_cast<std::int64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime) - unix_epoch;
}

std::uint32_t now_milliseconds() noexcept {
  return timeGetTime();
}

}  // namespace platform::os
