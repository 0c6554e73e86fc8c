#include "_base/WorkItem.h"

#include <utility>

namespace zv::ThreadPool {

WorkItem::WorkItem(std::string name, std::function<void()> work, std::function<void()> cancel)
    : name_(std::move(name)), work_(std::move(work)), cancel_(std::move(cancel)) {}

WorkItem::~WorkItem() {
  Wait();
}

void WorkItem::Run() {
  std::unique_lock section(lock_);
  if (state_ == done) return;
  // What the work holds is let go before the item counts as done: whoever waits for the item may
  // then take down what the work refers to.
  std::function<void()> work = std::exchange(work_, nullptr);
  if (state_ == cancelled) {
    const std::function<void()> cancel = std::exchange(cancel_, nullptr);
    section.unlock();
    work = nullptr;
    section.lock();
    // Done comes before the call, and is meant to: a handler may wait for its own item.
    Finish();
    section.unlock();
    cancel();
    return;
  }

  state_ = running;
  section.unlock();
  try {
    work();
  } catch (...) {
    work = nullptr;
    section.lock();
    // Without this the item's own destructor would wait for ever.
    Finish();
    throw;
  }
  work = nullptr;
  section.lock();
  Finish();
}

void WorkItem::Cancel() {
  const std::lock_guard section(lock_);
  if (state_ == pending) state_ = cancelled;
}

void WorkItem::Wait() {
  std::unique_lock section(lock_);
  done_signal_.wait(section, [this] { return state_ == done; });
}

WorkItem::State WorkItem::state() const {
  const std::lock_guard section(lock_);
  return state_;
}

void WorkItem::Finish() {
  state_ = done;
  done_signal_.notify_all();
}

}  // namespace zv::ThreadPool
