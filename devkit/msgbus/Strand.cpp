#include "devkit/msgbus/Strand.h"

namespace devkit::bus {

void Strand::post(Task task) {
  {
    const std::lock_guard guard(mutex_);
    if (closed_) return;
    tasks_.push_back(std::move(task));
    if (scheduled_) return;
    scheduled_ = true;
  }
  schedule();
}

void Strand::schedule() {
  workers_.run([self = shared_from_this()] { self->run_one(); });
}

void Strand::run_one() {
  std::unique_lock lock(mutex_);
  if (!tasks_.empty()) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    running_on_ = std::this_thread::get_id();
    lock.unlock();
    task();
    // What it holds ends before its end is told.
    task = nullptr;
    lock.lock();
    running_on_ = {};
    idle_.notify_all();
  }
  scheduled_ = !tasks_.empty();
  if (!scheduled_) return;
  lock.unlock();
  schedule();
}

void Strand::close() {
  std::deque<Task> dropped;  // ends after the lock
  std::unique_lock lock(mutex_);
  closed_ = true;
  dropped.swap(tasks_);
  if (running_on_ != std::this_thread::get_id())
    idle_.wait(lock, [this] { return running_on_ == std::thread::id(); });
}

}  // namespace devkit::bus
