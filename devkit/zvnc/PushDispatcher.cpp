#include "devkit/zvnc/PushDispatcher.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "devkit/zvnc/GuardedBuffer.h"

namespace zvnc {

namespace {

constexpr std::size_t most_waiting = 1000;

}  // namespace

PushDispatcher::PushDispatcher(const PushRegistrations& registrations, std::size_t threads)
    : registrations_(registrations) {
  const std::lock_guard guard(mutex_);
  for (std::size_t i = 0; i < threads; ++i) {
    threads_.emplace_back([this] { run(); });
    ids_.push_back(threads_.back().get_id());
  }
}

PushDispatcher::~PushDispatcher() {
  stop();
}

bool PushDispatcher::offer(const PushTarget& target, std::string text) {
  std::unique_lock lock(mutex_);
  has_room_.wait(lock, [&] { return stopped_ || waiting_.size() < most_waiting; });
  if (stopped_) return false;
  waiting_.push_back({target, std::move(text)});
  has_push_.notify_one();
  return true;
}

bool PushDispatcher::is_own_thread() const {
  const std::lock_guard guard(mutex_);
  return std::find(ids_.begin(), ids_.end(), std::this_thread::get_id()) != ids_.end();
}

void PushDispatcher::refuse() {
  const std::lock_guard guard(mutex_);
  stopped_ = true;
  waiting_.clear();
  has_push_.notify_all();
  has_room_.notify_all();
}

void PushDispatcher::stop() {
  refuse();
  const std::lock_guard guard(join_mutex_);
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

void PushDispatcher::run() {
  GuardedBuffer buffer;
  std::unique_lock lock(mutex_);
  for (;;) {
    has_push_.wait(lock, [&] { return stopped_ || !waiting_.empty(); });
    if (stopped_) return;
    const Push push = std::move(waiting_.front());
    waiting_.pop_front();
    has_room_.notify_one();
    lock.unlock();
    try {
      for (const cirrel_push_callbacks& callbacks : registrations_.callbacks(push.target)) {
        const cirrel_response response = {nullptr, buffer.hold(push.text), push.text.size()};
        callbacks.on_event(&response, callbacks.context);
      }
    } catch (const std::bad_alloc&) {
      std::fprintf(stderr, "zvnc: a push is lost for want of memory\n");
    }
    lock.lock();
  }
}

}  // namespace zvnc
