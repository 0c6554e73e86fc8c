#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "_base/ThreadPool.h"
#include "_base/WorkItem.h"

/// Items on the process's pool with no order among them. Work that the pool refuses is lost without
/// a word. Any thread may call anything; Stop must not be called from an item.
class ParallelWorkers {
 public:
  ParallelWorkers();
  ParallelWorkers(const ParallelWorkers&) = delete;
  ParallelWorkers& operator=(const ParallelWorkers&) = delete;
  /// As Stop.
  ~ParallelWorkers();

  void Submit(std::string name, std::function<void()> work);
  /// Cancels what has not started and waits for all the rest; nothing is accepted afterwards.
  void Stop();

 private:
  using Item = std::shared_ptr<zv::ThreadPool::WorkItem>;

  void Sweep();
  std::list<Item> TakeFinished();

  std::mutex lock_;
  bool stopping_ = false;
  std::list<Item> running_;  ///< an entry is empty where the pool refused
  std::list<void*> timers_;  ///< platform timers that Stop calls off
  std::shared_ptr<zv::ThreadPool::ThreadPool> pool_;
};
