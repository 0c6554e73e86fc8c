#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "_base/ThreadPool.h"
#include "_base/WorkItem.h"

/// Work that may run side by side and in any order, on the process's pool. What the pool refuses,
/// or what there is no memory for, is dropped without a report. Any thread may call anything; Stop
/// must not be called from an item.
class ParallelWorkers {
 public:
  ParallelWorkers();
  ParallelWorkers(const ParallelWorkers&) = delete;
  ParallelWorkers& operator=(const ParallelWorkers&) = delete;
  /// As Stop.
  ~ParallelWorkers();

  void Submit(std::string name, std::function<void()> work);
  /// Ends all items: those that run are waited for, the others don't come to run. Nothing is
  /// accepted afterwards.
  void Stop();

 private:
  using Item = std::shared_ptr<zv::ThreadPool::WorkItem>;

  /// Null, or the item that the pool refused: cancelled, and still to be run.
  Item Dispatch(std::string name, std::function<void()>& work, std::list<Item>& entry);
  void Sweep();
  std::list<Item> TakeFinished();

  std::mutex lock_;
  bool stopping_ = false;
  std::list<Item> running_;  ///< an entry is empty where the pool refused
  std::list<void*> timers_;  ///< platform timers that Stop calls off
  std::shared_ptr<zv::ThreadPool::ThreadPool> pool_;
};
