#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "_base/WorkItem.h"

/// A named queue whose items run strictly one at a time, on threads of the process's pool. Owns no
/// thread: a pool thread is used only while there is work. Work and cancel handlers never run under
/// the worker's lock, and may submit. Any thread may call anything; Stop must not be called from an
/// item of this worker.
class SerialWorker {
 public:
  explicit SerialWorker(std::string name);
  SerialWorker(const SerialWorker&) = delete;
  SerialWorker& operator=(const SerialWorker&) = delete;
  /// As Stop.
  ~SerialWorker();

  /// Queues `work`; `cancel` runs in its place if CancelPending caught it. After Stop both are
  /// dropped. If the pool refuses, the work waits in the queue until an item that finds the queue
  /// empty starts a drain; it doesn't do so itself.
  void Submit(std::string name, std::function<void()> work, std::function<void()> cancel);
  /// Marks every item that is still in the queue as cancelled. It still passes through a drain.
  void CancelPending();
  /// Waits until the queue is drained; nothing is accepted afterwards. Owners call CancelPending
  /// first.
  void Stop();

  const std::string& name() const noexcept { return name_; }

 private:
  enum DrainState : std::int32_t { idle = 0, draining = 1 };
  using Item = std::shared_ptr<zv::ThreadPool::WorkItem>;

  void StartDrain(std::string name);
  void Drain();

  std::mutex lock_;
  std::condition_variable idle_signal_;
  std::deque<Item> pending_;
  DrainState drain_state_ = idle;
  const std::string name_;
  std::deque<Item> dispatches_;
  bool stopping_ = false;
};
