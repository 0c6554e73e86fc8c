#include "_base/SerialWorker.h"

#include <new>
#include <utility>

#include "_base/ThreadPool.h"

using zv::ThreadPool::ThreadPool;
using zv::ThreadPool::WorkItem;

namespace {

// noexcept, so that work that throws ends the process right here. Unwinding the drain would destroy
// the items behind it, and each would wait for ever for its run.
void RunItem(WorkItem& item) noexcept {
  item.Run();
}

}  // namespace

SerialWorker::SerialWorker(std::string name) : name_(std::move(name)) {}

SerialWorker::~SerialWorker() {
  Stop();
}

void SerialWorker::Submit(std::string name, std::function<void()> work,
                          std::function<void()> cancel) {
  const std::lock_guard section(lock_);
  if (stopping_) return;
  try {
    // The place comes before the item: one that exists has to run, so no failure may follow it.
    std::list<Item> added(1);
    added.front() = std::make_shared<WorkItem>(std::move(name), std::move(work), std::move(cancel));
    pending_.splice(pending_.end(), added);
    // Only an item that finds the queue empty starts a drain, and it is meant so: while the queue
    // holds more, a drain is on its way. After a refusal none is, and later items don't try again.
    if (pending_.size() < 2 && drain_state_ != draining) StartDrain(pending_.front()->name());
  } catch (const std::bad_alloc&) {
    // What was to be queued is dropped; what is queued waits, as after a refusal.
  }
}

void SerialWorker::StartDrain(const std::string& name) {
  std::list<Item> dispatch(1);
  Item& drain = dispatch.front();
  drain = std::make_shared<WorkItem>(
      name, [this] { Drain(); }, [] {});
  if (ThreadPool::TrySubmit(drain, environment_)) {
    dispatches_.splice(dispatches_.end(), dispatch);
    return;
  }
  // An item has to run before it may end. Cancelled first, it does nothing, so it may run under the
  // lock.
  drain->Cancel();
  drain->Run();
}

void SerialWorker::Drain() {
  std::unique_lock section(lock_);
  if (drain_state_ == draining) return;
  drain_state_ = draining;
  do {
    std::list<Item> batch;
    batch.swap(pending_);
    section.unlock();
    for (; !batch.empty(); batch.pop_front()) RunItem(*batch.front());
    section.lock();
    // The item of this very drain is still running and stays, for Stop or a later drain.
    std::erase_if(dispatches_, [](const Item& item) { return item->state() == WorkItem::done; });
  } while (!pending_.empty());
  drain_state_ = idle;
  idle_signal_.notify_all();
}

void SerialWorker::CancelPending() {
  const std::lock_guard section(lock_);
  for (const auto& item : pending_) item->Cancel();
}

void SerialWorker::Stop() {
  std::unique_lock section(lock_);
  stopping_ = true;
  idle_signal_.wait(section, [this] { return pending_.empty() && drain_state_ != draining; });
  // The drain that gave the signal may still be leaving this object. It needs the lock no more, so
  // waiting for it with the lock held is safe.
  for (; !dispatches_.empty(); dispatches_.pop_front()) dispatches_.front()->Wait();
}
