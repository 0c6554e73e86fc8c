#include "platform/thread.h"

#include <windows.h>

namespace platform {

std::uint32_t current_thread_id() noexcept {
  return GetCurrentThreadId();
}

}  // namespace platform
