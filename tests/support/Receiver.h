#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace support {

/// Somebody that a fake calls, one call at a time, until it is closed. No lock is held meanwhile.
/// Any thread may call.
class Receiver {
 public:
  Receiver() = default;
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  /// Closes it and ends its thread. Not from within a call.
  ~Receiver();

  /// Runs `call` on this thread when the one under way has ended; within a call of this thread at
  /// once. False, and nothing runs, if it is closed.
  bool run(const std::function<void()>& call);
  /// Runs `call` on the receiver's own thread, after what was posted before. Dropped if it is
  /// closed before its turn.
  void post(std::function<void()> call);
  /// No call starts any more. Waits for the one under way, unless that is where this comes from.
  void close();

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  bool closed_ = false;
  std::size_t depth_ = 0;  ///< calls under way, all of `caller_`
  std::thread::id caller_;
  std::deque<std::function<void()>> posted_;
  std::thread thread_;  ///< from the first post on
};

}  // namespace support
