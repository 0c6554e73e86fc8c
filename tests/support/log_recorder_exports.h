#pragma once

// The whole of a recording logging library. A variant is a source that says which exports it has
// and includes this file, once:
//
//   RECORDER_HAS_LOG_WRITE   1 or 0: LogWrite
//   RECORDER_HAS_OTHERS      1 or 0: every other export that a logging library may have

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <deque>
#include <mutex>
#include <new>
#include <string>

#include "_base/abi.h"
#include "support/log_call.h"

namespace {

struct stored_call {
  std::string export_name;
  std::int16_t depth = 0;
  std::uint32_t level = 0;
  void* module = nullptr;
  std::wstring function;
  std::wstring format;
  std::wstring text;
  std::string removed_module;

  support::log_call view() const {
    return {export_name.c_str(), depth,          level,        module,
            function.c_str(),    format.c_str(), text.c_str(), removed_module.c_str()};
  }
};

struct recorder_state {
  std::mutex mutex;
  std::deque<stored_call> calls;
  bool enabled = true;
  support::log_call_visitor hook = nullptr;
  void* hook_context = nullptr;
};

recorder_state& state() {
  static recorder_state the_state;
  return the_state;
}

void record(stored_call call) {
  support::log_call_visitor hook;
  void* context;
  {
    const std::lock_guard lock(state().mutex);
    state().calls.push_back(call);
    hook = state().hook;
    context = state().hook_context;
  }
  // Outside the lock: a hook may block, while others go on logging and reading.
  if (hook != nullptr) hook(context, call.view());
}

#if RECORDER_HAS_OTHERS
/// Nothing is thrown into the module: a test may leave its thread without memory.
void record(const char* export_name) {
  try {
    stored_call call;
    call.export_name = export_name;
    record(std::move(call));
  } catch (const std::bad_alloc&) {
    // The call goes unrecorded.
  }
}
#endif

#if RECORDER_HAS_LOG_WRITE
/// Formats one number by `directive`, which ends in its conversion.
template <class Number>
std::wstring number_text(const std::wstring& directive, Number number) {
  wchar_t buffer[64] = {};
  const int length = std::swprintf(buffer, std::size(buffer), directive.c_str(), number);
  return length < 0 ? L"<" + directive + L"?>"
                    : std::wstring(buffer, static_cast<std::size_t>(length));
}

/// Expands a wide format of Microsoft's: %s is wide and %S narrow, which the C
/// library of another platform reads the other way round.
std::wstring expand(const wchar_t* format, std::va_list arguments) {
  std::wstring text;
  for (const wchar_t* at = format; *at != L'\0'; ++at) {
    if (*at != L'%') {
      text += *at;
      continue;
    }
    std::wstring directive = L"%";
    bool is_64_bit = false;
    ++at;
    for (; *at != L'\0' && std::wcschr(L"-+ #0123456789.", *at) != nullptr; ++at) directive += *at;
    if (std::wcsncmp(at, L"I64", 3) == 0) {
      is_64_bit = true;
      at += 3;
    } else if (std::wcsncmp(at, L"ll", 2) == 0) {
      is_64_bit = true;
      at += 2;
    }
    switch (*at) {
      case L'%':
        text += L'%';
        break;
      case L's': {
        const wchar_t* const wide = va_arg(arguments, const wchar_t*);
        text += wide != nullptr ? wide : L"(null)";
        break;
      }
      case L'S': {
        const char* narrow = va_arg(arguments, const char*);
        if (narrow == nullptr) narrow = "(null)";
        for (; *narrow != '\0'; ++narrow) text += static_cast<unsigned char>(*narrow);
        break;
      }
      case L'd':
      case L'i':
      case L'u':
      case L'x':
      case L'X':
        if (is_64_bit) {
          text += number_text(directive + L"ll" + *at, va_arg(arguments, long long));
        } else {
          text += number_text(directive + *at, va_arg(arguments, int));
        }
        break;
      default:
        return text + L"<unknown directive in \"" + format + L"\">";
    }
  }
  return text;
}
#endif

}  // namespace

/// Hands out each call so far, oldest first, with the recorder locked.
ABI_EXPORT void RecorderVisit(support::log_call_visitor visit, void* context) {
  const std::lock_guard lock(state().mutex);
  for (const stored_call& call : state().calls) visit(context, call.view());
}

ABI_EXPORT void RecorderClear() {
  const std::lock_guard lock(state().mutex);
  state().calls.clear();
}

ABI_EXPORT void RecorderSetEnabled(bool enabled) {
  const std::lock_guard lock(state().mutex);
  state().enabled = enabled;
}

/// Runs `hook` within each call from now on, after it was recorded; null for none.
ABI_EXPORT void RecorderSetHook(support::log_call_visitor hook, void* context) {
  const std::lock_guard lock(state().mutex);
  state().hook = hook;
  state().hook_context = context;
}

#if RECORDER_HAS_LOG_WRITE
ABI_EXPORT std::uint32_t LogWrite(std::int16_t depth, const std::uint32_t* level, void* module,
                                  const wchar_t* function, const wchar_t* format, ...) {
  stored_call call;
  call.export_name = "LogWrite";
  call.depth = depth;
  call.level = level != nullptr ? *level : 0;
  call.module = module;
  call.function = function != nullptr ? function : L"(null)";
  call.format = format;
  std::va_list arguments;
  va_start(arguments, format);
  call.text = expand(format, arguments);
  va_end(arguments);
  record(std::move(call));
  return 0;
}
#endif

#if RECORDER_HAS_OTHERS
ABI_EXPORT void LogInit() {
  record("LogInit");
}
ABI_EXPORT void LogDeinit() {
  record("LogDeinit");
}
ABI_EXPORT void LogUninitDeskMetrics() {
  record("LogUninitDeskMetrics");
}

ABI_EXPORT void LogRemoveModule(const char* name) {
  stored_call call;
  call.export_name = "LogRemoveModule";
  call.removed_module = name != nullptr ? name : "(null)";
  record(std::move(call));
}

/// Answers in the low byte and leaves rubbish above it, as a bool returned in a register may.
ABI_EXPORT std::uint32_t LogIsEnabled() {
  record("LogIsEnabled");
  const std::lock_guard lock(state().mutex);
  return 0xCCCCCC00u | (state().enabled ? 1u : 0u);
}

ABI_EXPORT void LogApplySettings() {
  record("LogApplySettings");
}
ABI_EXPORT void LogSetSettingsFile() {
  record("LogSetSettingsFile");
}
ABI_EXPORT void LogEnable() {
  record("LogEnable");
}
ABI_EXPORT void LogSetLevel() {
  record("LogSetLevel");
}
ABI_EXPORT void LogSetPath() {
  record("LogSetPath");
}
ABI_EXPORT void LogSetType() {
  record("LogSetType");
}
ABI_EXPORT void LogSetMode() {
  record("LogSetMode");
}
ABI_EXPORT void LogSetMaxSize() {
  record("LogSetMaxSize");
}
ABI_EXPORT void LogSetDepth() {
  record("LogSetDepth");
}
ABI_EXPORT void LogMonitorSettings() {
  record("LogMonitorSettings");
}
ABI_EXPORT void LogGetLevel() {
  record("LogGetLevel");
}
ABI_EXPORT void LogTrackEvent() {
  record("LogTrackEvent");
}
ABI_EXPORT void LogTrackEventData() {
  record("LogTrackEventData");
}
#endif
