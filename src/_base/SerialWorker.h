#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "_base/WorkItem.h"

/// Runs its items one after the other in the order of their submission, borrowing a thread of the
/// process's pool while there are any. An item may submit further ones and cancel what is pending,
/// as it runs without the worker's lock. Any thread may call anything; Stop must not be called from
/// an item of this worker.
class SerialWorker {
 public:
  explicit SerialWorker(std::string name);
  SerialWorker(const SerialWorker&) = delete;
  SerialWorker& operator=(const SerialWorker&) = delete;
  /// As Stop.
  ~SerialWorker();

  /// Queues `work`; `cancel` runs in its place if CancelPending caught it. After Stop both are
  /// dropped, and so they are without the memory to queue them: a caller has no way to do better.
  /// If the pool refuses, the work waits in the queue until an item that finds the queue empty
  /// starts a drain; it doesn't do so itself.
  void Submit(std::string name, std::function<void()> work, std::function<void()> cancel);
  /// Has the cancel handler run, in its turn, for each item that no drain has taken up yet.
  void CancelPending();
  /// Accepts nothing more and waits for what there is. Where the work itself is no longer wanted,
  /// CancelPending comes before.
  void Stop();

  const std::string& name() const noexcept { return name_; }

 private:
  enum DrainState : std::int32_t { idle = 0, draining = 1 };
  using Item = std::shared_ptr<zv::ThreadPool::WorkItem>;

  void StartDrain(const std::string& name);
  void Drain();

  std::mutex lock_;
  std::condition_variable idle_signal_;
  std::list<Item> pending_;
  DrainState drain_state_ = idle;
  const std::string name_;
  void* const environment_ = nullptr;  ///< of the default pool
  std::list<Item> dispatches_;         ///< drains that were handed to the pool
  bool stopping_ = false;
};
