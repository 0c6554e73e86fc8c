#include "_base/ThreadPool.h"

#include <utility>

#include "platform/thread_pool.h"

namespace zv::ThreadPool {

ThreadPool::~ThreadPool() {
  platform::close_pool(pool_, environment_);
}

bool ThreadPool::TrySubmit(const std::shared_ptr<WorkItem>& item, void* environment) noexcept {
  // The pool's share lies in the item itself: handing over allocates nothing that could fail.
  item->pool_share_ = item;
  if (platform::submit_to_pool(&RunSubmitted, item.get(), environment)) return true;
  item->pool_share_.reset();
  return false;
}

// noexcept, because above a pool thread there is nobody to catch: work that throws ends the
// process.
void ThreadPool::RunSubmitted(void* context) noexcept {
  // Held until the run is over: were it the last share, the item would else wait for itself.
  const auto item = std::move(static_cast<WorkItem*>(context)->pool_share_);
  item->Run();
}

}  // namespace zv::ThreadPool
