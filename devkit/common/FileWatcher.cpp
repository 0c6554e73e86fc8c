#include "devkit/common/FileWatcher.h"

#include <chrono>
#include <fstream>
#include <iterator>

namespace devkit {

namespace {

constexpr std::chrono::milliseconds pause(25);

}  // namespace

std::optional<std::string> read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::error_code ignored;
  // A folder opens like a file on some systems, and fails only when it is read.
  if (!file.is_open() || std::filesystem::is_directory(path, ignored)) return std::nullopt;
  std::string content{std::istreambuf_iterator<char>(file), {}};
  if (file.bad()) return std::nullopt;
  return content;
}

FileWatcher::FileWatcher(std::filesystem::path path, std::optional<std::string> known,
                         Changed changed)
    : path_(std::move(path)),
      known_(std::move(known)),
      changed_(std::move(changed)),
      thread_([this] { run(); }) {}

FileWatcher::~FileWatcher() {
  stop();
}

bool FileWatcher::stop() {
  {
    const std::lock_guard guard(mutex_);
    stop_ = true;
  }
  stopped_.notify_all();
  if (thread_.get_id() == std::this_thread::get_id()) return false;
  if (thread_.joinable()) thread_.join();
  return true;
}

void FileWatcher::run() {
  std::optional<std::string> last = known_;
  std::unique_lock lock(mutex_);
  while (!stopped_.wait_for(lock, pause, [&] { return stop_; })) {
    lock.unlock();
    std::optional<std::string> content = read_file(path_);
    const bool settled = content == last;
    last = content;
    if (settled && content != known_) {
      known_ = std::move(content);
      changed_(known_);
    }
    lock.lock();
  }
}

}  // namespace devkit
