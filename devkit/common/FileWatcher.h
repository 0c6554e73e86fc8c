#pragma once

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

namespace devkit {

/// A file's bytes; null, and the reason, if there is no such file or it can't be read.
std::optional<std::string> read_file(const std::filesystem::path& path, std::error_code& reason);
std::optional<std::string> read_file(const std::filesystem::path& path);

/// Watches one small file by reading it again and again: that works on every file system, and a
/// rewriting that changes nothing goes by in silence. A content counts once two readings in a row
/// agree on it, so that a file caught half written doesn't. A change is seen within some 100 ms.
class FileWatcher {
 public:
  /// Null: the file went away.
  using Changed = std::function<void(const std::optional<std::string>& content)>;

  /// Its own thread calls `changed` whenever the content differs from the last one, at first from
  /// `known`. What that throws is told about on standard error; the watching goes on.
  FileWatcher(std::filesystem::path path, std::optional<std::string> known, Changed changed);
  FileWatcher(const FileWatcher&) = delete;
  FileWatcher& operator=(const FileWatcher&) = delete;
  /// Waits for a running call; so it must not end within one.
  ~FileWatcher();

  /// No call begins after it. Waits for a running one and gives true; on that call's own thread
  /// gives false at once.
  bool stop();

 private:
  void run();
  void tell() noexcept;

  const std::filesystem::path path_;
  std::optional<std::string> known_;  ///< the thread's alone
  const Changed changed_;
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stop_ = false;
  std::thread thread_;  ///< last: it uses all the others
};

}  // namespace devkit
