// A logging library for the host's checks, built for the MSVC ABI as the real one is.

#include "log/lines.h"
#include "runtime/kernel32.h"
#include "runtime/text.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

constexpr uint32_t most_lines = 4096;
log_lines::line lines[most_lines];
uint32_t used = 0;
void* lock = nullptr;
uint32_t inits = 0;
char removed[64];

}  // namespace

EXPORTED uint32_t LogWrite(int16_t depth, const uint32_t* level, void* module,
                           const wchar_t* function, const wchar_t* format, ...) {
  AcquireSRWLockExclusive(&lock);
  log_lines::line& line = lines[used < most_lines - 1 ? used++ : most_lines - 1];
  line.depth = depth;
  line.level = *level;
  line.module = module;
  copy_text(line.function, function);
  copy_text(line.format, format);

  __builtin_va_list rest;
  __builtin_va_start(rest, format);
  bool first = true;
  for (const wchar_t* at = format; *at; ++at) {
    if (at[0] != L'%') continue;
    if (at[1] == L's') {
      if (!first) append_text(line.text, L"|");
      append_text(line.text, __builtin_va_arg(rest, const wchar_t*));
      first = false;
    } else if (at[1] == L'd') {
      line.number = __builtin_va_arg(rest, int32_t);
    }
  }
  __builtin_va_end(rest);
  ReleaseSRWLockExclusive(&lock);
  return 0;
}

EXPORTED bool LogIsEnabled() {
  return true;
}
EXPORTED void LogInit() {
  ++inits;
}
EXPORTED void LogRemoveModule(const char* text) {
  copy_text(removed, text);
}

EXPORTED uint32_t log_line_count() {
  return used;
}
EXPORTED const log_lines::line* log_line(uint32_t index) {
  return index < used ? &lines[index] : nullptr;
}
EXPORTED uint32_t log_inits() {
  return inits;
}
EXPORTED const char* log_removed() {
  return removed;
}
