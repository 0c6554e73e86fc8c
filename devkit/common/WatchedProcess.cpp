#include "devkit/common/WatchedProcess.h"

#include <cstdio>

namespace devkit {

WatchedProcess::WatchedProcess(const std::filesystem::path& program,
                               const std::vector<std::string>& arguments, os::Process::Input input)
    : process_(program, arguments, input), reader_([this] { read(); }) {}

WatchedProcess::~WatchedProcess() {
  // Its end is the end of its output, for which the thread waits.
  process_.stop();
  reader_.join();
}

std::optional<std::string> WatchedProcess::wait_for(const Condition& condition,
                                                    std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  std::unique_lock lock(mutex_);
  for (std::size_t at = next_;; ++at) {
    if (!changed_.wait_until(lock, end, [&] { return at < lines_.size() || ended_; }) ||
        at >= lines_.size()) {
      return std::nullopt;
    }
    if (condition(lines_[at])) {
      next_ = at + 1;
      return lines_[at];
    }
  }
}

std::vector<std::string> WatchedProcess::lines() const {
  const std::lock_guard guard(mutex_);
  return lines_;
}

std::optional<int> WatchedProcess::wait(std::chrono::milliseconds limit) {
  {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [&] { return ended_; })) return std::nullopt;
  }
  return process_.wait();
}

void WatchedProcess::read() {
  try {
    while (auto line = process_.read_line()) {
      const std::lock_guard guard(mutex_);
      lines_.push_back(std::move(*line));
      changed_.notify_all();
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "the output of process %llu can't be read: %s\n",
                 static_cast<unsigned long long>(process_.id()), error.what());
  }
  const std::lock_guard guard(mutex_);
  ended_ = true;
  changed_.notify_all();
}

}  // namespace devkit
