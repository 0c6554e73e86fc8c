#pragma once

#include <atomic>
#include <cstdint>

#include "platform/library.h"

/// The process-wide binding of the closed logging library, which may be absent: lines then vanish.
namespace logging {

/// Levels are bits.
inline constexpr std::uint32_t failure = 4;
inline constexpr std::uint32_t warning = 8;
inline constexpr std::uint32_t progress = 16;
inline constexpr std::uint32_t trace = 32;

/// `depth` is +1 for a function's entry, -1 for its exit and 0 for a line in between. The format is
/// one of Microsoft's wide ones: %s takes a wide text, %S a narrow one.
using LogWrite_t = std::uint32_t (*)(std::int16_t depth, const std::uint32_t* level, void* module,
                                     const wchar_t* function, const wchar_t* format, ...);

/// One load of the library and what it exports. Missing exports are null, all but LogWrite, whose
/// place a function takes that refuses every line, so that callers need no test.
class CLogDLL {
 public:
  /// Takes the library that the process has already, or else the one beside this module.
  CLogDLL();
  CLogDLL(const CLogDLL&) = delete;
  CLogDLL& operator=(const CLogDLL&) = delete;
  ~CLogDLL();

  platform::module_handle module() const noexcept { return module_; }
  LogWrite_t log_write() const noexcept { return LogWrite; }
  /// False without a library or its LogIsEnabled.
  bool IsEnabled() const;

 private:
  using untyped = void*;

  platform::module_handle module_ = nullptr;
  untyped LogApplySettings = nullptr;
  untyped LogSetSettingsFile = nullptr;
  untyped LogEnable = nullptr;
  untyped LogSetLevel = nullptr;
  untyped LogSetPath = nullptr;
  untyped LogSetType = nullptr;
  untyped LogSetMode = nullptr;
  untyped LogSetMaxSize = nullptr;
  untyped LogSetDepth = nullptr;
  LogWrite_t LogWrite = nullptr;
  std::uint8_t (*LogIsEnabled)() = nullptr;
  untyped LogMonitorSettings = nullptr;
  untyped LogGetLevel = nullptr;
  void (*LogUninitDeskMetrics)() = nullptr;
  untyped LogTrackEvent = nullptr;
  untyped LogTrackEventData = nullptr;
  void (*LogRemoveModule)(const char* name) = nullptr;
};

namespace details {
/// The shared binding's two counts. Only the first is ever raised.
extern std::atomic<std::uint32_t> handles;
extern std::atomic<std::uint32_t> further_handles;
}  // namespace details

/// Whether a line would go anywhere. Costs an addition and a test; takes no lock.
inline bool is_on() noexcept {
  return details::handles.load(std::memory_order_relaxed) +
             details::further_handles.load(std::memory_order_relaxed) !=
         0;
}

}  // namespace logging
