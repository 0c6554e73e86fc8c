#include "frame/logger_stream.h"

#include <new>
#include <string>

#include "_base/utf8.h"
#include "frame/log_handle.h"
#include "platform/library.h"

logger_stream::logger_stream(std::uint32_t the_level, const wchar_t* the_function)
    : enabled(false), level(the_level), function(the_function) {
  if (!logging::is_on()) return;
  const logging::held_log_handle handle;
  enabled = handle.binding()->IsEnabled();
}

logger_stream::~logger_stream() {
  if (!enabled || !logging::is_on()) return;
  try {
    // A handle of its own: the last other one may be released while the line is on its way out.
    const logging::held_log_handle handle;
    const std::wstring line = str();
    handle.binding()->log_write()(0, &level, platform::own_module(), function, L"%s", line.c_str());
  } catch (const std::bad_alloc&) {
    // There is no memory to say that there is no memory; losing the line is all that is left.
  }
}

logger_stream& logger_stream::operator<<(const wchar_t* text) {
  return *this << std::wstring_view(text != nullptr ? text : L"");
}

logger_stream& logger_stream::operator<<(std::wstring_view text) {
  if (enabled) write(text.data(), static_cast<std::streamsize>(text.size()));
  return *this;
}

logger_stream& logger_stream::operator<<(const char* text) {
  return *this << std::string_view(text != nullptr ? text : "");
}

template <class MakeText>
logger_stream& logger_stream::put(MakeText make) {
  if (!enabled) return *this;
  try {
    return *this << std::wstring_view(make());
  } catch (const std::bad_alloc&) {
    enabled = false;
    return *this;
  }
}

logger_stream& logger_stream::operator<<(std::string_view text) {
  return put([text] {
    std::error_code error;
    return zv::to_wide(std::string(text), error);
  });
}

// Through to_wstring: a locale's digit grouping has no place in a log line.
logger_stream& logger_stream::operator<<(std::int32_t number) {
  return put([number] { return std::to_wstring(number); });
}

logger_stream& logger_stream::operator<<(std::uint32_t number) {
  return put([number] { return std::to_wstring(number); });
}

logger_stream& logger_stream::operator<<(std::int64_t number) {
  return put([number] { return std::to_wstring(number); });
}

logger_stream& logger_stream::operator<<(std::uint64_t number) {
  return put([number] { return std::to_wstring(number); });
}
