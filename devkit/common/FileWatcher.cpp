#include "devkit/common/FileWatcher.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>

namespace devkit {

namespace {

constexpr std::chrono::milliseconds pause(25);

}  // namespace

std::optional<std::string> read_file(const std::filesystem::path& path, std::error_code& reason) {
  reason.clear();
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (file.is_open()) {
    // By the stream's own operation: an iterator over its buffer would throw what the stream turns
    // into a state, and a folder, which opens like a file on some systems, fails only here.
    std::string content;
    char part[16384];
    while (file.read(part, sizeof part) || file.gcount() > 0)
      content.append(part, static_cast<std::size_t>(file.gcount()));
    if (!file.bad()) return content;
  }
  const int error = errno != 0 ? errno : EIO;
  std::error_code ignored;
  reason = std::filesystem::is_directory(path, ignored)
               ? std::make_error_code(std::errc::is_a_directory)
               : std::error_code(error, std::generic_category());
  return std::nullopt;
}

std::optional<std::string> read_file(const std::filesystem::path& path) {
  std::error_code ignored;
  return read_file(path, ignored);
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

// What is called may be another module's, and an exception that left this thread would end the
// process.
void FileWatcher::tell() noexcept {
  try {
    changed_(known_);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "an observer of a file's changes threw: %s. The watching goes on.\n",
                 error.what());
  } catch (...) {
    std::fprintf(stderr, "an observer of a file's changes threw. The watching goes on.\n");
  }
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
      tell();
    }
    lock.lock();
  }
}

}  // namespace devkit
