#include "devkit/msgbus/Workers.h"

#include <chrono>

namespace devkit::bus {

namespace {

/// How many start without waiting for the others to be stuck.
constexpr std::size_t usual_threads = 2;
/// Nobody taking a job for this long means that all are stuck.
constexpr std::chrono::milliseconds patience{5};

}  // namespace

Workers::~Workers() {
  {
    const std::lock_guard guard(mutex_);
    stop_ = true;
  }
  work_there_.notify_all();
  watcher_wanted_.notify_all();
  // The watcher first: after it the list of threads doesn't grow.
  if (watcher_.joinable()) watcher_.join();
  for (std::thread& thread : threads_) thread.join();
}

void Workers::run(Job job) {
  {
    const std::lock_guard guard(mutex_);
    jobs_.push_back(std::move(job));
    if (jobs_.size() > idle_ && threads_.size() < usual_threads) start_thread();
    if (!watcher_.joinable()) watcher_ = std::thread([this] { watch_progress(); });
    if (jobs_.size() > idle_) watcher_wanted_.notify_one();
  }
  work_there_.notify_one();
}

void Workers::start_thread() {
  threads_.emplace_back([this] { work(); });
}

void Workers::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    work_there_.wait(lock, [this] { return stop_ || !jobs_.empty(); });
    --idle_;
    if (jobs_.empty()) return;
    {
      const Job job = std::move(jobs_.front());
      jobs_.pop_front();
      ++taken_;
      lock.unlock();
      job();
    }
    lock.lock();
  }
}

void Workers::watch_progress() {
  std::unique_lock lock(mutex_);
  while (!stop_) {
    watcher_wanted_.wait(lock, [this] { return stop_ || jobs_.size() > idle_; });
    const std::uint64_t taken_before = taken_;
    watcher_wanted_.wait_for(lock, patience, [this] { return stop_; });
    if (!stop_ && taken_ == taken_before && jobs_.size() > idle_) start_thread();
  }
}

}  // namespace devkit::bus
