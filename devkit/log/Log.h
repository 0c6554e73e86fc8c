#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace devkit {

/// Where lines go. Any thread.
///
/// SPLICE_LOG names the file that lines are appended to, or is "-" for the terminal (standard
/// error); without it logging is off until the host sets a path. SPLICE_LOG_LEVEL is the highest
/// level written: failure, warning, progress (the default), trace, or a number.
/// SPLICE_LOG_TERMINAL=1 writes to the terminal besides.
class Log {
 public:
  /// Reads the environment anew; a second one changes nothing until the first has ended.
  void open();
  void close();

  bool is_enabled() const;
  std::uint32_t level() const;
  void set_enabled(bool enabled);
  void set_level(std::uint32_t level);
  /// False if the file can't be opened.
  bool set_path(const std::filesystem::path& path);
  /// The size at which the file is put aside as <name>.1; 0 for never.
  void set_max_size(std::uint64_t bytes);

  /// `depth_change` moves the thread's indentation: +1 after this line, -1 before it.
  void write(int depth_change, std::uint32_t level, const std::wstring& function,
             const std::wstring& text);

 private:
  void put_aside();

  mutable std::mutex mutex_;
  std::uint32_t users_ = 0;
  bool enabled_ = false;
  bool to_terminal_ = false;
  std::uint32_t level_ = 16;
  std::uint64_t max_size_ = 0;
  std::filesystem::path path_;
  std::ofstream file_;
  std::map<std::uint32_t, int> depths_;  ///< by thread; a thread at depth 0 has no entry
};

}  // namespace devkit
