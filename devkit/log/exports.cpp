// The logging library's C functions. None lets an exception out.

#include <cstdarg>
#include <cwchar>

#include "_base/abi.h"
#include "devkit/common/Immortal.h"
#include "devkit/log/Log.h"
#include "devkit/log/format.h"

namespace {

constexpr std::uint32_t ok = 0;
constexpr std::uint32_t invalid_argument = 0x80070057;
constexpr std::uint32_t failed = 0x80004005;

/// A late line of another library's end must find it.
devkit::Log& the_log() {
  static devkit::Immortal<devkit::Log> one;
  return one.get();
}

template <class Call>
std::uint32_t guarded(Call call) noexcept {
  try {
    return call();
  } catch (...) {
    return failed;
  }
}

}  // namespace

ABI_EXPORT std::uint32_t LogInit() {
  return guarded([] {
    the_log().open();
    return ok;
  });
}

ABI_EXPORT std::uint32_t LogDeinit() {
  return guarded([] {
    the_log().close();
    return ok;
  });
}

ABI_EXPORT std::uint32_t LogEnable(std::uint8_t enabled) {
  return guarded([&] {
    the_log().set_enabled(enabled != 0);
    return ok;
  });
}

ABI_EXPORT std::uint8_t LogIsEnabled() {
  return guarded([] { return the_log().is_enabled() ? 1u : 0u; }) == 1 ? 1 : 0;
}

ABI_EXPORT std::uint32_t LogSetLevel(std::uint32_t level) {
  return guarded([&] {
    the_log().set_level(level);
    return ok;
  });
}

ABI_EXPORT std::uint32_t LogGetLevel() {
  return guarded([] { return the_log().level(); });
}

ABI_EXPORT std::uint32_t LogSetPath(const wchar_t* path) {
  if (path == nullptr) return invalid_argument;
  return guarded([&] { return the_log().set_path(path) ? ok : failed; });
}

ABI_EXPORT std::uint32_t LogSetMaxSize(std::uint64_t bytes) {
  return guarded([&] {
    the_log().set_max_size(bytes);
    return ok;
  });
}

ABI_EXPORT std::uint32_t LogWrite(std::int16_t depth, const std::uint32_t* level, void*,
                                  const wchar_t* function, const wchar_t* pattern, ...) {
  if (level == nullptr || pattern == nullptr) return invalid_argument;
  va_list arguments;
  va_start(arguments, pattern);
  const std::uint32_t result = guarded([&] {
    the_log().write(depth, *level, function != nullptr ? function : L"",
                    devkit::format(pattern, arguments));
    return ok;
  });
  va_end(arguments);
  return result;
}

// Settings that this log doesn't have, and reports that it doesn't make: accepted, without effect.
// They read nothing, so any arguments are safe.
ABI_EXPORT std::uint32_t LogApplySettings() {
  return ok;
}
ABI_EXPORT std::uint32_t LogSetSettingsFile() {
  return ok;
}
ABI_EXPORT std::uint32_t LogSetType() {
  return ok;
}
ABI_EXPORT std::uint32_t LogSetMode() {
  return ok;
}
ABI_EXPORT std::uint32_t LogSetDepth() {
  return ok;
}
ABI_EXPORT std::uint32_t LogMonitorSettings() {
  return ok;
}
ABI_EXPORT std::uint32_t LogUninitDeskMetrics() {
  return ok;
}
ABI_EXPORT std::uint32_t LogTrackEvent() {
  return ok;
}
ABI_EXPORT std::uint32_t LogTrackEventData() {
  return ok;
}
ABI_EXPORT std::uint32_t LogRemoveModule() {
  return ok;
}
