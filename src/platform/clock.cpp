#include "platform/clock.h"

#include "platform/os.h"

namespace platform {

std::int64_t now_ticks() noexcept {
  if (Seam* const installed = seam()) {
    if (const auto ticks = installed->ticks()) return *ticks;
  }
  return os::now_ticks();
}

std::uint32_t now_milliseconds() noexcept {
  if (Seam* const installed = seam()) {
    if (const auto milliseconds = installed->milliseconds()) return *milliseconds;
  }
  return os::now_milliseconds();
}

}  // namespace platform
