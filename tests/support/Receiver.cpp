#include "support/Receiver.h"

#include <utility>

namespace support {

Receiver::~Receiver() {
  close();
  if (thread_.joinable()) thread_.join();
}

bool Receiver::run(const std::function<void()>& call) {
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return closed_ || depth_ == 0 || caller_ == self; });
  if (closed_) return false;
  caller_ = self;
  ++depth_;
  lock.unlock();
  call();
  lock.lock();
  --depth_;
  changed_.notify_all();
  return true;
}

void Receiver::post(std::function<void()> call) {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  posted_.push_back(std::move(call));
  if (!thread_.joinable()) thread_ = std::thread([this] { work(); });
  changed_.notify_all();
}

void Receiver::close() {
  // What was captured by a call that is dropped ends after the lock: it may call anything.
  std::deque<std::function<void()>> dropped;
  std::unique_lock lock(mutex_);
  closed_ = true;
  dropped.swap(posted_);
  changed_.notify_all();
  changed_.wait(lock, [&] { return depth_ == 0 || caller_ == std::this_thread::get_id(); });
}

void Receiver::work() {
  while (true) {
    std::function<void()> call;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return closed_ || !posted_.empty(); });
      if (closed_) return;
      call = std::move(posted_.front());
      posted_.pop_front();
    }
    run(call);
  }
}

}  // namespace support
