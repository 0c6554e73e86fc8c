#include "devkit/log/Log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

constexpr std::uint32_t progress = 16;
constexpr int deepest = 40;

std::uint32_t level_named(const std::string& name) {
  if (name == "failure") return 4;
  if (name == "warning") return 8;
  if (name == "progress") return progress;
  if (name == "trace") return 32;
  const auto number = static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 10));
  return number != 0 ? number : progress;
}

const char* name_of(std::uint32_t level) {
  if (level <= 4) return "FAILURE ";
  if (level <= 8) return "WARNING ";
  return level <= progress ? "progress" : "trace   ";
}

/// Universal time, so that the lines of several machines can be merged.
std::string time_text() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto fraction = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  // Called under the log's lock, which is what gmtime's shared record needs.
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", std::gmtime(&seconds));
  char text[48];
  std::snprintf(text, sizeof text, "%s.%03d", date, static_cast<int>(fraction));
  return text;
}

}  // namespace

void Log::open() {
  const auto target = os::environment("SPLICE_LOG").value_or("");
  const auto name = os::environment("SPLICE_LOG_LEVEL").value_or("progress");
  const bool terminal_too = os::environment("SPLICE_LOG_TERMINAL").value_or("0") != "0";
  {
    const std::lock_guard guard(mutex_);
    if (users_++ != 0) return;
    level_ = level_named(name);
    to_terminal_ = terminal_too || target == "-";
    enabled_ = to_terminal_;
  }
  if (!target.empty() && target != "-" && !set_path(to_path(target))) {
    std::fprintf(stderr, "The log can't be written to %s; name another file in SPLICE_LOG.\n",
                 target.c_str());
  }
}

void Log::close() {
  const std::lock_guard guard(mutex_);
  if (users_ == 0 || --users_ != 0) return;
  file_.close();
  std::filesystem::path().swap(path_);  // a cleared one would keep its memory for ever
  enabled_ = false;
  to_terminal_ = false;
  depths_.clear();
}

bool Log::is_enabled() const {
  const std::lock_guard guard(mutex_);
  return enabled_;
}

std::uint32_t Log::level() const {
  const std::lock_guard guard(mutex_);
  return level_;
}

void Log::set_enabled(bool enabled) {
  const std::lock_guard guard(mutex_);
  enabled_ = enabled;
}

void Log::set_level(std::uint32_t level) {
  const std::lock_guard guard(mutex_);
  level_ = level;
}

bool Log::set_path(const std::filesystem::path& path) {
  const std::lock_guard guard(mutex_);
  std::ofstream file(path, std::ios::binary | std::ios::app);
  if (!file.is_open()) return false;
  file_ = std::move(file);
  path_ = path;
  enabled_ = true;
  return true;
}

void Log::set_max_size(std::uint64_t bytes) {
  const std::lock_guard guard(mutex_);
  max_size_ = bytes;
}

void Log::write(int depth_change, std::uint32_t level, const std::wstring& function,
                const std::wstring& text) {
  const std::uint32_t thread = os::thread_id();
  const std::lock_guard guard(mutex_);
  // Depth is followed even where nothing is written: logging may come on in the middle of a call.
  int& depth = depths_[thread];
  if (depth_change < 0) depth = std::max(depth - 1, 0);
  const int indentation = std::min(depth, deepest);
  if (depth_change > 0) ++depth;
  if (depth == 0) depths_.erase(thread);
  if (!enabled_ || level > level_) return;

  const std::string line = time_text() + " [" + std::to_string(os::process_id()) + ":" +
                           std::to_string(thread) + "] " + name_of(level) + " " +
                           std::string(static_cast<std::size_t>(indentation) * 2, ' ') +
                           to_utf8(function) + ": " + to_utf8(text) + "\n";
  if (file_.is_open()) {
    put_aside();
    file_ << line << std::flush;
  }
  if (to_terminal_) std::fwrite(line.data(), 1, line.size(), stderr);
}

void Log::put_aside() {
  if (max_size_ == 0 || static_cast<std::uint64_t>(file_.tellp()) < max_size_) return;
  std::filesystem::path old = path_;
  old += ".1";
  file_.close();
  std::error_code ignored;  // what can't be moved is written on to
  std::filesystem::rename(path_, old, ignored);
  file_.open(path_, std::ios::binary | std::ios::app);
}

}  // namespace devkit
