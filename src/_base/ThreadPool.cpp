#include "_base/ThreadPool.h"

#include <utility>

#include "platform/thread_pool.h"

namespace zv::ThreadPool {

namespace {

using Handover = std::shared_ptr<WorkItem>;

// noexcept, because above a pool thread there is nobody to catch: work that throws ends the
// process.
void RunHandover(void* context) noexcept {
  // Owned until the run is over, so that an item never ends, and waits for itself, before it is
  // done.
  const std::unique_ptr<Handover> item(static_cast<Handover*>(context));
  (*item)->Run();
}

}  // namespace

ThreadPool::ThreadPool() = default;
ThreadPool::~ThreadPool() = default;

bool ThreadPool::TrySubmit(std::shared_ptr<WorkItem> item) {
  auto handover = std::make_unique<Handover>(std::move(item));
  if (!platform::submit_to_pool(&RunHandover, handover.get())) return false;
  // The callback owns it now, and may have freed it already.
  static_cast<void>(handover.release());
  return true;
}

}  // namespace zv::ThreadPool
