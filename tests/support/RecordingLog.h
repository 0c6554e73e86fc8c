#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/log_handle.h"
#include "support/LogRecorder.h"

namespace support {

/// Turns logging on for as long as it lives and records every line.
///
///   support::RecordingLog log;
///   ... run the code under test ...
///   EXPECT_LOGGED(log, 4, L"cloud::requests::Init", L"services_settings::load failed");
///   EXPECT_TRUE(log.traced(L"cloud::requests::Init"));
///
/// Make it before the first plug-in object of the test and let it outlive the last one: the binding
/// is made with the first log handle of the process and stays until the last is gone.
class RecordingLog {
 public:
  RecordingLog();
  RecordingLog(const RecordingLog&) = delete;
  RecordingLog& operator=(const RecordingLog&) = delete;

  /// Every line since the construction or the last clear, the trace scopes' included.
  std::vector<LogLine> lines() const { return recorder_.lines(); }
  /// Those of one level.
  std::vector<LogLine> lines(std::uint32_t level) const;
  /// The texts alone of all ordinary lines, in order; those of trace scopes left out.
  std::vector<std::wstring> texts() const;
  void clear() { recorder_.clear(); }

  /// How often exactly this line was written.
  std::size_t count(std::uint32_t level, const std::wstring& function,
                    const std::wstring& text) const;
  /// Whether it was written at least once; a failure shows all lines.
  testing::AssertionResult logged(std::uint32_t level, const std::wstring& function,
                                  const std::wstring& text) const;
  /// Whether no line of this level was written; a failure shows all lines.
  testing::AssertionResult nothing_logged(std::uint32_t level) const;
  /// Whether a trace scope of this function was entered and, later, left.
  testing::AssertionResult traced(const std::wstring& function) const;

  LogRecorder& recorder() noexcept { return recorder_; }

 private:
  std::string all_lines() const;

  LogRecorder recorder_;  ///< before the handle: the binding then finds it in the process
  logging::held_log_handle handle_;
};

}  // namespace support

/// The line `text` of this level and function is among those recorded.
#define EXPECT_LOGGED(log, level, function, text) \
  EXPECT_TRUE((log).logged((level), (function), (text)))
