#include "frame/trace_scope.h"

#include <algorithm>
#include <cwchar>
#include <new>

#include "frame/log_handle.h"
#include "platform/clock.h"
#include "platform/library.h"

namespace {

constexpr std::uint32_t level = logging::trace;

/// Copies at most `limit` characters and terminates.
void copy_bounded(wchar_t* field, const wchar_t* text, std::size_t limit) {
  const std::size_t length = std::min(std::wcslen(text), limit);
  std::wmemcpy(field, text, length);
  field[length] = L'\0';
}

}  // namespace

trace_scope::trace_scope(const wchar_t* function) : start_(platform::now_milliseconds()) {
  // Both texts are kept even while logging is off: it may have come on by the time of the exit.
  copy_bounded(label_, function, longest_name);
  std::wcscat(label_, L"()");
  copy_bounded(function_, function, longest_function);

  if (!logging::is_on()) return;
  const logging::held_log_handle handle;
  handle.binding()->log_write()(+1, &level, platform::own_module(), function_, L"-> %s", label_);
}

trace_scope::~trace_scope() {
  if (!logging::is_on()) return;
  try {
    WriteExit();
  } catch (const std::bad_alloc&) {
    // As with a line: without memory it is lost, and nothing else.
  }
}

void trace_scope::WriteExit() const {
  const logging::held_log_handle handle;
  const std::uint32_t elapsed = platform::now_milliseconds() - start_;
  handle.binding()->log_write()(-1, &level, platform::own_module(), function_, L"<- %s [%d]",
                                label_, elapsed);
}
