#include "frame/log_handle.h"

#include <chrono>
#include <memory>
#include <thread>

namespace logging {

namespace details {

constinit std::atomic<std::uint32_t> handles = 0;
constinit std::atomic<std::uint32_t> further_handles = 0;

}  // namespace details

namespace {

constinit std::atomic<std::uint32_t> lock_word = 0;
/// The shared binding, guarded by the lock word. A plain pointer: it has to outlive every static
/// object that may still log, and is ended by the exit hook.
CLogDLL* shared_binding = nullptr;

/// Waits by sleeping: making and ending a binding calls into the library and may take its time.
class spin_lock_holder {
 public:
  spin_lock_holder() {
    while (lock_word.exchange(1, std::memory_order_acquire) != 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  spin_lock_holder(const spin_lock_holder&) = delete;
  spin_lock_holder& operator=(const spin_lock_holder&) = delete;
  ~spin_lock_holder() { lock_word.store(0, std::memory_order_release); }
};

void end_binding() {
  delete shared_binding;
  shared_binding = nullptr;
}

/// Ends what is left of logging when the module is unloaded, or the process exits, with handles
/// still held. It doesn't wait for the lock: an exiting process has ended its other threads, one of
/// which may have held it. The system takes back what is then left.
class exit_hook {
 public:
  exit_hook() = default;
  exit_hook(const exit_hook&) = delete;
  exit_hook& operator=(const exit_hook&) = delete;
  ~exit_hook() {
    if (lock_word.exchange(1, std::memory_order_acquire) != 0) return;
    details::handles = 0;
    details::further_handles = 0;
    end_binding();
    lock_word.store(0, std::memory_order_release);
  }
};

}  // namespace

void log_handle::Acquire() {
  const spin_lock_holder holder;
  if (!is_on()) {
    end_binding();
    shared_binding = new CLogDLL();
    static const exit_hook hook;  // a module that never logs needs none
  }
  ++details::handles;
  binding_ = shared_binding;
  ++count_;
}

void log_handle::Release() {
  for (; count_ > 0; --count_) {
    const spin_lock_holder holder;
    if (details::handles > 0) {
      --details::handles;
    } else if (details::further_handles > 0) {
      details::further_handles = 0;
    }
    if (!is_on()) end_binding();
  }
  binding_ = nullptr;
}

}  // namespace logging
