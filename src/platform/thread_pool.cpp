#include "platform/thread_pool.h"

#include "platform/os.h"

namespace platform {

bool submit_to_pool(void (*callback)(void* context), void* context) noexcept {
  if (injected_failure(Call::submit) != 0) return false;
  return os::submit_to_pool(callback, context);
}

}  // namespace platform
