#include "platform/thread_pool.h"

#include "platform/os.h"

namespace platform {

bool submit_to_pool(void (*callback)(void* context), void* context, void* environment) noexcept {
  if (injected_failure(Call::submit) != 0) return false;
  return os::submit_to_pool(callback, context, environment);
}

}  // namespace platform
