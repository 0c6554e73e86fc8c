#include "platform/thread.h"

#include <unistd.h>

namespace platform {

std::uint32_t current_thread_id() noexcept {
  return static_cast<std::uint32_t>(gettid());
}

}  // namespace platform
