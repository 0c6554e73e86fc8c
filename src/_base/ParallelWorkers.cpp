#include "_base/ParallelWorkers.h"

#include <new>
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
  try {
    // The place comes before the item: one that exists has to run, so no failure may follow it.
    std::list<Item> entry(1);
    std::function<void()> swept_work = [this, work = std::move(work)] {
      work();
      Sweep();
    };
    // Without the lock, as whatever the work holds goes with it and may submit again.
    if (const Item refused = Dispatch(std::move(name), swept_work, entry)) refused->Run();
  } catch (const std::bad_alloc&) {
    // Lost, as after a refusal.
  }
}

ParallelWorkers::Item ParallelWorkers::Dispatch(std::string name, std::function<void()>& work,
                                                std::list<Item>& entry) {
  const std::lock_guard section(lock_);
  if (stopping_) return nullptr;
  Item refused;
  Item& item = entry.front();
  item = std::make_shared<WorkItem>(std::move(name), std::move(work), [] {});
  if (!ThreadPool::TrySubmit(item, pool_->environment())) {
    item->Cancel();
    refused.swap(item);
  }
  running_.splice(running_.end(), entry);
  return refused;
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
