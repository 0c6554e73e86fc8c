#pragma once

#include <memory>

#include "_base/WorkItem.h"

namespace zv::ThreadPool {

/// A pool of the platform. Without one of its own, as everywhere in this module, it stands for the
/// process's default pool.
class ThreadPool {
 public:
  ThreadPool() = default;
  /// Closes its own pool, if it has one.
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// What leads a submission to this pool; null means the default one.
  void* environment() const noexcept { return environment_; }

  /// Hands the item to the pool that `environment` leads to, which runs it once. An item is handed
  /// over once at most. False if the platform refuses; the item is then as it was.
  [[nodiscard]] static bool TrySubmit(const std::shared_ptr<WorkItem>& item,
                                      void* environment) noexcept;

 private:
  static void RunSubmitted(void* context) noexcept;

  void* pool_ = nullptr;
  void* environment_ = nullptr;
};

}  // namespace zv::ThreadPool
