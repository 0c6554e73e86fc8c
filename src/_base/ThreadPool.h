#pragma once

#include <memory>

#include "_base/WorkItem.h"

namespace zv::ThreadPool {

/// A handle on the platform's pool; here always the process's default one.
class ThreadPool {
 public:
  ThreadPool();
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Hands the item to the pool, which runs it once. False if the platform refuses; the item is
  /// then untouched.
  [[nodiscard]] static bool TrySubmit(std::shared_ptr<WorkItem> item);
};

}  // namespace zv::ThreadPool
