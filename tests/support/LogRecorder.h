#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/library.h"
#include "support/log_call.h"

namespace support {

/// One line as LogWrite got it.
struct LogLine {
  int depth = 0;
  std::uint32_t level = 0;
  std::wstring function;
  std::wstring text;  ///< the format with its arguments put in

  bool operator==(const LogLine&) const = default;
};
std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// One call of any export of the logging library.
struct LogCall {
  std::string export_name;
  LogLine line;  ///< of LogWrite
  void* module = nullptr;
  std::wstring format;
  std::string removed_module;
};

/// A recording logging library in this process. Holds one reference to it, so that what it recorded
/// can still be read after the module under test gave its own back. Any thread may call.
class LogRecorder {
 public:
  /// Loads the library at `path`; if the process has it already, what it recorded so far is kept.
  explicit LogRecorder(const std::filesystem::path& path);
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;
  /// Takes the hook away and gives the reference back.
  ~LogRecorder();

  platform::module_handle library() const noexcept { return library_; }

  std::vector<LogCall> calls() const;
  /// The names of the exports called, LogIsEnabled left out: it is asked before every line.
  std::vector<std::string> call_names() const;
  std::vector<LogLine> lines() const;
  void clear();

  /// What LogIsEnabled answers; true at first.
  void set_enabled(bool enabled);
  /// Runs within every later call, on the thread that logs; it may block. Empty for none.
  void set_hook(std::function<void(const log_call&)> hook);

 private:
  template <class Function>
  Function symbol(const char* name) const;

  platform::module_handle library_;
  std::function<void(const log_call&)> hook_;
};

}  // namespace support
