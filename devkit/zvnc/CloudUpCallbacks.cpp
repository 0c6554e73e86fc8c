#include "devkit/zvnc/CloudUpCallbacks.h"

#include <algorithm>

namespace zvnc {

void CloudUpCallbacks::add(cirrel_cloud_up_callback callback, void* context) {
  const std::lock_guard guard(mutex_);
  entries_.push_back({callback, context, next_number_++});
}

bool CloudUpCallbacks::remove(cirrel_cloud_up_callback callback) {
  std::unique_lock lock(mutex_);
  const auto removed =
      std::erase_if(entries_, [&](const Entry& entry) { return entry.callback == callback; });
  if (running_on_ != std::this_thread::get_id()) {
    ended_.wait(lock, [&] { return running_ != callback; });
  }
  return removed != 0;
}

void CloudUpCallbacks::call() {
  std::unique_lock lock(mutex_);
  // By number, since the list may change while a callback runs; those added meanwhile are left out.
  const std::uint64_t end = next_number_;
  std::uint64_t from = 0;
  for (;;) {
    const auto next = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
      return entry.number >= from && entry.number < end;
    });
    if (next == entries_.end()) return;
    const Entry entry = *next;
    from = entry.number + 1;
    running_ = entry.callback;
    running_on_ = std::this_thread::get_id();
    lock.unlock();
    entry.callback(entry.context);
    lock.lock();
    running_ = nullptr;
    running_on_ = {};
    ended_.notify_all();
  }
}

}  // namespace zvnc
