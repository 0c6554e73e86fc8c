#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// Waits with a deadline that only a failing test reaches.
namespace waiting {

inline constexpr std::chrono::seconds deadline{60};

/// True as soon as `condition` holds, which has no signal of its own.
template <class Condition>
bool until(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Opened once, for all who wait. Copies are the same gate, and outlive who made it: a test that
/// failed may leave a thread behind.
class Gate {
 public:
  void open() const {
    const std::lock_guard lock(state_->mutex);
    state_->open = true;
    state_->signal.notify_all();
  }
  bool is_open() const {
    const std::lock_guard lock(state_->mutex);
    return state_->open;
  }
  /// False if it didn't open in time.
  bool wait() const {
    std::unique_lock lock(state_->mutex);
    return state_->signal.wait_for(lock, deadline, [this] { return state_->open; });
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable signal;
    bool open = false;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Something that may block, tried on a thread of its own. It must not use what a test that failed
/// has destroyed, for its thread is left behind if it is still blocked then.
class Attempt {
 public:
  explicit Attempt(std::function<void()> action)
      : thread_(std::make_unique<std::thread>([action = std::move(action), done = done_] {
          action();
          done.open();
        })) {}
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;
  // Never detached: mingw's thread library may hand the record of a thread detached at its very end
  // to two new threads at once.
  ~Attempt() {
    if (is_done()) {
      thread_->join();
    } else {
      left_behind().push_back(std::move(thread_));
    }
  }

  bool is_done() const { return done_.is_open(); }
  /// False if it doesn't come to an end in time.
  bool ends() const { return done_.wait(); }
  /// False as soon as it comes to its end. Where something holds it up, only a fault can do that.
  bool stays_blocked() const {
    for (int i = 0; i != 100; ++i) {
      if (is_done()) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

 private:
  /// Kept for ever: the end of a thread's object would end the process.
  static std::vector<std::unique_ptr<std::thread>>& left_behind() {
    static auto& threads = *new std::vector<std::unique_ptr<std::thread>>;
    return threads;
  }

  Gate done_;
  std::unique_ptr<std::thread> thread_;
};

}  // namespace waiting
