#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "devkit/zvnc/PushRegistrations.h"

namespace zvnc {

/// Calls back with what has been pushed, on threads of its own: with one thread in the order of
/// arrival, with several at once and in any. Whoever offers waits while a thousand pushes do.
class PushDispatcher {
 public:
  PushDispatcher(const PushRegistrations& registrations, std::size_t threads);
  PushDispatcher(const PushDispatcher&) = delete;
  PushDispatcher& operator=(const PushDispatcher&) = delete;
  ~PushDispatcher();

  /// False when it has stopped.
  bool offer(const PushTarget& target, std::string text);
  /// Whether the calling thread is one of its own.
  bool is_own_thread() const;
  /// Refuses pushes from here on and drops those that wait. Waits for nothing.
  void refuse();
  /// `refuse`, then waits for running callbacks. Not on a thread of its own.
  void stop();

 private:
  struct Push {
    PushTarget target;
    std::string text;
  };

  void run();

  const PushRegistrations& registrations_;
  mutable std::mutex mutex_;
  std::condition_variable has_push_;
  std::condition_variable has_room_;
  std::deque<Push> waiting_;
  bool stopped_ = false;
  std::mutex join_mutex_;
  std::vector<std::thread> threads_;
  std::vector<std::thread::id> ids_;
};

}  // namespace zvnc
