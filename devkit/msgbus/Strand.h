#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "devkit/msgbus/Workers.h"

namespace devkit::bus {

/// A queue of tasks that run on the workers one after the other, in order. Strands don't wait for
/// each other. Its own tasks may post and close.
class Strand : public std::enable_shared_from_this<Strand> {
 public:
  using Task = std::function<void()>;

  /// `workers` outlives all that was posted.
  explicit Strand(Workers& workers) : workers_(workers) {}

  /// Dropped once it is closed.
  void post(Task task);
  /// Nothing starts after it. Waits for a running task, except within that task. Repeating it is
  /// harmless.
  void close();

 private:
  void run_one();
  void schedule();

  Workers& workers_;
  std::mutex mutex_;
  std::condition_variable idle_;
  std::deque<Task> tasks_;
  bool scheduled_ = false;  ///< at the workers, or running
  bool closed_ = false;
  std::thread::id running_on_;
};

}  // namespace devkit::bus
