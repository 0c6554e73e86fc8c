#include <chrono>
#include <ctime>

#include "platform/os.h"

namespace platform::os {

std::int64_t now_ticks() noexcept {
  using ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<ticks>(since_1970).count();
}

std::uint32_t now_milliseconds() noexcept {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1'000'000);
}

}  // namespace platform::os
