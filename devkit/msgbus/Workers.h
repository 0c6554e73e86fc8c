#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace devkit::bus {

/// Threads of which one takes turns: each waits for what comes in, which brings jobs, and these it
/// does before the next turn. So nobody has to be woken for a job. But jobs may block for as long
/// as they like: when there was no turn for a millisecond, another thread joins in, whether for the
/// jobs left or for the turns.
class Workers {
 public:
  using Job = std::function<void()>;
  /// False: there are no more.
  using Turn = std::function<bool()>;

  explicit Workers(Turn take_turn);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  /// Waits for all jobs, and the turns' end. No job may do it.
  ~Workers();

  /// Only within a turn or a job: who is there does it next.
  void run(Job job);
  /// Somebody, perhaps a job, is about to wait for what a turn has to bring.
  void need_turns();

 private:
  void work();
  void watch_turns();
  // Under the lock.
  void do_job(std::unique_lock<std::mutex>& lock);
  void take_turn(std::unique_lock<std::mutex>& lock);
  void relieve();
  void start_thread();

  const Turn take_turn_;
  std::mutex mutex_;
  std::condition_variable work_there_;
  std::condition_variable watcher_wanted_;
  std::deque<Job> jobs_;
  bool in_turn_ = false;
  bool turns_over_ = false;
  std::uint64_t turns_ = 0;  ///< begun
  std::size_t idle_ = 0;     ///< threads that wait, or are only starting
  bool watching_ = false;    ///< there were jobs lately
  bool stop_ = false;
  std::vector<std::thread> threads_;
  std::thread watcher_;
};

}  // namespace devkit::bus
