#include "platform/semaphore.h"

#include <condition_variable>
#include <mutex>
#include <system_error>

namespace platform {
namespace {

constexpr std::uint32_t maximum = 0x7fffffff;

struct State {
  std::mutex mutex;
  std::condition_variable released;
  std::uint32_t count = 0;
};

State& state_of(void* handle) {
  return *static_cast<State*>(handle);
}

}  // namespace

semaphore::semaphore() : handle_(new State) {}

semaphore::~semaphore() {
  delete static_cast<State*>(handle_);
}

void semaphore::acquire() {
  State& state = state_of(handle_);
  std::unique_lock lock(state.mutex);
  state.released.wait(lock, [&] { return state.count != 0; });
  --state.count;
}

void semaphore::release(std::uint32_t count) {
  State& state = state_of(handle_);
  const std::lock_guard lock(state.mutex);
  if (count > maximum - state.count) {
    throw std::system_error(std::make_error_code(std::errc::invalid_argument), "release failed");
  }
  state.count += count;
  // Under the mutex, as whoever acquires may destroy the semaphore at once.
  count == 1 ? state.released.notify_one() : state.released.notify_all();
}

}  // namespace platform
