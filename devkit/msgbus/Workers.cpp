#include "devkit/msgbus/Workers.h"

#include <chrono>

namespace devkit::bus {

namespace {

/// For so long a job may keep its thread from the next turn.
constexpr std::chrono::milliseconds patience{1};

}  // namespace

Workers::Workers(Turn take_turn) : take_turn_(std::move(take_turn)) {
  const std::lock_guard guard(mutex_);
  watcher_ = std::thread([this] { watch_turns(); });
  start_thread();
}

Workers::~Workers() {
  {
    const std::lock_guard guard(mutex_);
    stop_ = true;
  }
  work_there_.notify_all();
  watcher_wanted_.notify_all();
  // The watcher first: after it the list of threads doesn't grow.
  watcher_.join();
  for (std::thread& thread : threads_) thread.join();
}

void Workers::run(Job job) {
  const std::lock_guard guard(mutex_);
  jobs_.push_back(std::move(job));
}

void Workers::need_turns() {
  const std::lock_guard guard(mutex_);
  if (!in_turn_) relieve();
}

void Workers::work() {
  std::unique_lock lock(mutex_);
  --idle_;
  for (;;) {
    if (!jobs_.empty()) {
      do_job(lock);
    } else if (!in_turn_ && !turns_over_) {
      take_turn(lock);
    } else if (!stop_) {
      ++idle_;
      work_there_.wait(lock);
      --idle_;
    } else {
      return;
    }
  }
}

void Workers::do_job(std::unique_lock<std::mutex>& lock) {
  // Awake it looks by itself, so that not every job has to wake it.
  if (!watching_) watcher_wanted_.notify_one();
  watching_ = true;
  Job job = std::move(jobs_.front());
  jobs_.pop_front();
  lock.unlock();
  job();
  // What it holds ends without the lock.
  job = nullptr;
  lock.lock();
}

void Workers::take_turn(std::unique_lock<std::mutex>& lock) {
  in_turn_ = true;
  ++turns_;
  lock.unlock();
  const bool goes_on = take_turn_();
  lock.lock();
  in_turn_ = false;
  turns_over_ = !goes_on;
}

void Workers::relieve() {
  if (idle_ == 0) return start_thread();
  work_there_.notify_one();
}

void Workers::start_thread() {
  threads_.emplace_back([this] { work(); });
  ++idle_;
}

void Workers::watch_turns() {
  std::unique_lock lock(mutex_);
  while (!stop_) {
    const std::uint64_t turns_before = turns_;
    watcher_wanted_.wait_for(lock, patience, [this] { return stop_; });
    if (stop_ || turns_ != turns_before) continue;
    if (!in_turn_ && !turns_over_) {
      relieve();
    } else {
      watching_ = false;
      watcher_wanted_.wait(lock, [this] { return stop_ || watching_; });
    }
  }
}

}  // namespace devkit::bus
