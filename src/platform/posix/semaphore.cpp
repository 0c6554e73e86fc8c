#include "platform/semaphore.h"

#include <condition_variable>
#include <mutex>
#include <new>

namespace platform {
namespace {

constexpr std::uint32_t maximum = 0x7fffffff;
constexpr std::uint32_t error_invalid_handle = 6;
constexpr std::uint32_t error_out_of_memory = 14;
constexpr std::uint32_t error_too_many_posts = 298;

struct State {
  std::mutex mutex;
  std::condition_variable released;
  std::uint32_t count = 0;
};

}  // namespace

semaphore::semaphore() noexcept : handle_(new (std::nothrow) State) {
  if (handle_ == nullptr) error_ = error_out_of_memory;
}

semaphore::~semaphore() {
  delete static_cast<State*>(handle_);
}

std::uint32_t semaphore::acquire() noexcept {
  if (handle_ == nullptr) return error_invalid_handle;
  State& state = *static_cast<State*>(handle_);
  std::unique_lock lock(state.mutex);
  state.released.wait(lock, [&] { return state.count != 0; });
  --state.count;
  return 0;
}

std::uint32_t semaphore::release(std::uint32_t count) noexcept {
  if (handle_ == nullptr) return error_invalid_handle;
  State& state = *static_cast<State*>(handle_);
  const std::lock_guard lock(state.mutex);
  if (count > maximum - state.count) return error_too_many_posts;
  state.count += count;
  // Under the mutex, as whoever acquires may destroy the semaphore at once.
  count == 1 ? state.released.notify_one() : state.released.notify_all();
  return 0;
}

}  // namespace platform
