#include "devkit/host/SerialQueue.h"

#include "_base/win_error.h"
#include "devkit/host/host_failure.h"

namespace devkit {

SerialQueue::SerialQueue() : thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
  {
    const std::lock_guard guard(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
  for (EqWorkItem* const task : tasks_) task->Release();
}

std::uint32_t SerialQueue::enqueue_task(const wchar_t*, std::uint64_t, EqWorkItem* task,
                                        std::uint64_t, std::uint64_t, std::uint64_t) {
  if (task == nullptr) return win_error::invalid_parameter;
  if (const std::uint32_t failure = host_failure("enqueue_task")) return failure;
  const std::lock_guard guard(mutex_);
  tasks_.push_back(task);
  changed_.notify_all();
  return win_error::success;
}

void SerialQueue::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stop_ || !tasks_.empty(); });
    if (stop_) return;
    EqWorkItem* const task = tasks_.front();
    tasks_.pop_front();
    lock.unlock();
    task->Execute();
    task->Release();
    lock.lock();
  }
}

}  // namespace devkit
