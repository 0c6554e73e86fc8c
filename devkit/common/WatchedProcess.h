#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "devkit/common/os.h"

namespace devkit {

/// A child process whose lines are collected as they come, so that one thread can wait for those of
/// several children. Ends the child with itself.
class WatchedProcess {
 public:
  using Condition = std::function<bool(const std::string& line)>;

  WatchedProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                 os::Process::Input input = os::Process::Input::shared);
  WatchedProcess(const WatchedProcess&) = delete;
  WatchedProcess& operator=(const WatchedProcess&) = delete;
  ~WatchedProcess();

  std::uint64_t id() const noexcept { return process_.id(); }
  /// The first line after those that earlier calls gave away that fulfils the condition. Null if
  /// none comes in the time, or the child's output ends before; then nothing is given away.
  std::optional<std::string> wait_for(const Condition& condition, std::chrono::milliseconds limit);
  std::vector<std::string> lines() const;

  bool write_line(std::string_view line) { return process_.write_line(line); }
  void close_input() noexcept { process_.close_input(); }
  /// Politely where the system knows how to, and at once.
  void stop() { process_.stop(); }
  void kill() { process_.kill(); }
  /// Waits for the child's own end. Null if it doesn't come in the time.
  std::optional<int> wait(std::chrono::milliseconds limit);

 private:
  void read();

  os::Process process_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
  bool ended_ = false;
  std::thread reader_;  ///< last: it uses all the others
};

}  // namespace devkit
