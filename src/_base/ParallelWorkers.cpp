#include "_base/ParallelWorkers.h"

#include <utility>

#include "platform/thread_pool.h"

using zv::ThreadPool::ThreadPool;
using zv::ThreadPool::WorkItem;

ParallelWorkers::ParallelWorkers() : pool_(std::make_shared<ThreadPool>()) {}

ParallelWorkers::~ParallelWorkers() {
  Stop();
  pool_.reset();
}

void ParallelWorkers::Submit(std::string name, std::function<void()> work) {
  if (pool_ == nullptr) return;
  const std::lock_guard section(lock_);
  if (stopping_) return;
  auto item = std::make_shared<WorkItem>(
      std::move(name),
      [this, work = std::move(work)] {
        work();
        Sweep();
      },
      [] {});
  if (!ThreadPool::TrySubmit(item)) {
    // An item has to run before it may end; cancelled first, it does nothing.
    item->Cancel();
    item->Run();
    item.reset();
  }
  running_.push_back(std::move(item));
}

void ParallelWorkers::Sweep() {
  // Outlives the lock: what ends with an item may submit again.
  std::list<Item> finished;
  const std::lock_guard section(lock_);
  if (!stopping_) finished = TakeFinished();
}

std::list<ParallelWorkers::Item> ParallelWorkers::TakeFinished() {
  std::list<Item> finished;
  for (auto entry = running_.begin(); entry != running_.end();) {
    const auto here = entry++;
    if (*here != nullptr && (*here)->state() == WorkItem::done) {
      finished.splice(finished.end(), running_, here);
    }
  }
  return finished;
}

void ParallelWorkers::Stop() {
  std::list<Item> running;
  std::list<void*> timers;
  {
    const std::lock_guard section(lock_);
    stopping_ = true;
    if (pool_ != nullptr) {
      for (const auto& item : running_) {
        if (item != nullptr) item->Cancel();
      }
    }
    for (void* const timer : timers_) platform::cancel_pool_timer(timer);
    running.swap(running_);
    timers.swap(timers_);
  }
  // Without the lock, which an item takes once its work is over.
  for (const auto& item : running) {
    if (item != nullptr) item->Wait();
  }
}
