#pragma once

namespace platform {

/// Asks a pool to call `callback(context)` once, on one of its threads. `environment` leads to the
/// pool; null to the process's default one, which grows when its threads are blocked. False if it
/// refuses; nothing is called then. What the caller did before is visible to the callback.
[[nodiscard]] bool submit_to_pool(void (*callback)(void* context), void* context,
                                  void* environment = nullptr) noexcept;

/// Gives up a pool and the environment that leads to it; either may be null.
void close_pool(void* pool, void* environment) noexcept;

/// Calls off a timer of the pool.
void cancel_pool_timer(void* timer) noexcept;

}  // namespace platform
