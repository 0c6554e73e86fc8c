#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace zv::ThreadPool {

/// One piece of work on its way through a pool. Its destructor waits until the item is done, since
/// a pool's thread may still be inside: whoever makes an item has to see to it that it runs.
///
/// pending -> running -> done, or pending -> cancelled -> done. Done is final.
class WorkItem {
 public:
  enum State : std::int32_t { pending = 0, running = 1, done = 2, cancelled = 3 };

  /// Either callable may be empty as long as its turn doesn't come; Run then throws
  /// std::bad_function_call.
  WorkItem(std::string name, std::function<void()> work, std::function<void()> cancel);
  WorkItem(const WorkItem&) = delete;
  WorkItem& operator=(const WorkItem&) = delete;
  ~WorkItem();

  /// Runs `work`, or `cancel` on a cancelled item, outside the item's lock. An item runs once; what
  /// `work` throws passes through, and the item is done.
  void Run();
  /// Without effect on an item that has started.
  void Cancel();

  /// Waits until the item is done. A cancelled item is done before its `cancel` is called.
  void Wait();

  State state() const;
  const std::string& name() const noexcept { return name_; }

 private:
  friend class ThreadPool;

  /// Under the lock.
  void Finish();

  const std::string name_;
  State state_ = pending;
  std::function<void()> work_;
  std::function<void()> cancel_;
  std::condition_variable done_signal_;
  mutable std::mutex lock_;
  std::shared_ptr<WorkItem> pool_share_;  ///< from the submission to the run
};

}  // namespace zv::ThreadPool
