#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace devkit::bus {

/// Threads for jobs that may block for as long as they like: when all of them are stuck, another
/// one is started within milliseconds. None ends before all do.
class Workers {
 public:
  using Job = std::function<void()>;

  Workers() = default;
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  /// Waits for all jobs. No job may do it.
  ~Workers();

  void run(Job job);

 private:
  void start_thread();
  void work();
  void watch_progress();

  std::mutex mutex_;
  std::condition_variable work_there_;
  std::condition_variable watcher_wanted_;
  std::deque<Job> jobs_;
  std::uint64_t taken_ = 0;
  std::size_t idle_ = 0;
  bool stop_ = false;
  std::vector<std::thread> threads_;
  std::thread watcher_;
};

}  // namespace devkit::bus
