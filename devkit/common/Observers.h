#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace devkit {

/// Observers with the promises of zv::iobservable. They are called without any lock, so they may
/// add and remove, themselves included. Any thread may add and remove; one at a time notifies.
template <class Observer>
class Observers {
 public:
  /// False for a null, and for one that is there already, whatever its context.
  bool add(Observer* observer, std::uint64_t context) {
    const std::lock_guard guard(mutex_);
    if (observer == nullptr || find(observer) != entries_.end()) return false;
    entries_.push_back({observer, context, next_number_++});
    return true;
  }

  /// Once it returns the observer isn't called any more; on the thread of a running call it returns
  /// at once. False unless the observer is there with that context.
  bool remove(Observer* observer, std::uint64_t context) {
    std::unique_lock lock(mutex_);
    const auto found = find(observer);
    if (found == entries_.end() || found->context != context) return false;
    entries_.erase(found);
    if (running_on_ != std::this_thread::get_id()) {
      ended_.wait(lock, [&] { return running_ != observer; });
    }
    return true;
  }

  /// Calls `call(observer)` for each that is there when its turn comes, but for those added
  /// meanwhile. What one throws comes out of here, and the rest aren't called; all may be removed
  /// then as ever.
  template <class Call>
  void notify(const Call& call) {
    std::unique_lock lock(mutex_);
    const std::uint64_t end = next_number_;
    std::uint64_t from = 0;
    for (;;) {
      // By number, since the list may change while one is called.
      const auto next = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.number >= from && entry.number < end;
      });
      if (next == entries_.end()) return;
      from = next->number + 1;
      Observer* const observer = next->observer;
      const Turn turn(*this, lock, observer);
      call(*observer);
    }
  }

 private:
  struct Entry {
    Observer* observer;
    std::uint64_t context;
    std::uint64_t number;
  };

  /// The time of one call: without the lock, and over for those who wait for it even if the call
  /// throws.
  class Turn {
   public:
    Turn(Observers& all, std::unique_lock<std::mutex>& lock, const Observer* observer)
        : all_(all), lock_(lock) {
      all_.running_ = observer;
      all_.running_on_ = std::this_thread::get_id();
      lock_.unlock();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
      lock_.lock();
      all_.running_ = nullptr;
      all_.running_on_ = {};
      all_.ended_.notify_all();
    }

   private:
    Observers& all_;
    std::unique_lock<std::mutex>& lock_;
  };

  auto find(const Observer* observer) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.observer == observer; });
  }

  std::mutex mutex_;
  std::condition_variable ended_;
  std::vector<Entry> entries_;
  std::uint64_t next_number_ = 0;
  const Observer* running_ = nullptr;
  std::thread::id running_on_;
};

}  // namespace devkit
