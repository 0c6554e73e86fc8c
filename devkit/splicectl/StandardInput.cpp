#include "devkit/splicectl/StandardInput.h"

#include <condition_variable>
#include <deque>
#include <iostream>
#include <mutex>
#include <thread>

namespace devkit {

struct StandardInput::Lines {
  void add(std::string line) {
    const std::lock_guard guard(mutex);
    waiting.push_back(std::move(line));
    changed.notify_all();
  }
  void end() {
    const std::lock_guard guard(mutex);
    ended = true;
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> waiting;
  bool ended = false;
};

StandardInput::StandardInput(const std::string& last) : lines_(std::make_shared<Lines>()) {
  // A stream shared with the C library would be locked while the thread reads, and so hold up the
  // process's end.
  std::ios::sync_with_stdio(false);
  // Nobody can be called back from reading: the thread is left to itself, and has a share in what
  // it uses.
  std::thread([lines = lines_, last] {
    std::string line;
    while (line != last && std::getline(std::cin, line)) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      lines->add(line);
    }
    lines->end();
  }).detach();
}

std::optional<std::string> StandardInput::next(std::chrono::milliseconds limit) {
  std::unique_lock lock(lines_->mutex);
  lines_->changed.wait_for(lock, limit, [&] { return lines_->ended || !lines_->waiting.empty(); });
  if (lines_->waiting.empty()) return std::nullopt;
  std::string line = std::move(lines_->waiting.front());
  lines_->waiting.pop_front();
  return line;
}

bool StandardInput::has_ended() const {
  const std::lock_guard guard(lines_->mutex);
  return lines_->ended && lines_->waiting.empty();
}

}  // namespace devkit
