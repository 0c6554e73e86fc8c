#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace bench {

/// The least that it costs to let another thread do something: one lock, one signal.
class HandOver {
 public:
  explicit HandOver(std::function<void()> work)
      : work_(std::move(work)), thread_([this] { run(); }) {}
  HandOver(const HandOver&) = delete;
  HandOver& operator=(const HandOver&) = delete;
  ~HandOver() {
    {
      const std::lock_guard guard(mutex_);
      stop_ = true;
    }
    wanted_.notify_one();
    thread_.join();
  }

  /// The work is done once more, on the thread.
  void hand() {
    {
      const std::lock_guard guard(mutex_);
      ++waiting_;
    }
    wanted_.notify_one();
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wanted_.wait(lock, [this] { return stop_ || waiting_ != 0; });
      if (stop_) return;
      --waiting_;
      lock.unlock();
      work_();
      lock.lock();
    }
  }

  const std::function<void()> work_;
  std::mutex mutex_;
  std::condition_variable wanted_;
  std::uint64_t waiting_ = 0;
  bool stop_ = false;
  std::thread thread_;  ///< last: it uses all the others
};

}  // namespace bench
