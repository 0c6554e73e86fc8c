#pragma once

namespace platform {

/// Asks the process's default pool to call `callback(context)` once, on a thread of its own. The
/// pool grows when its threads are blocked. False if it refuses; nothing is called then. What the
/// caller did before is visible to the callback.
[[nodiscard]] bool submit_to_pool(void (*callback)(void* context), void* context) noexcept;

/// Calls off a timer of the pool.
void cancel_pool_timer(void* timer) noexcept;

}  // namespace platform
