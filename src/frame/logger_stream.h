#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "_base/StringT.h"
#include "frame/CLogDLL.h"

/// One statement becomes one log line, written when the stream ends. A disabled stream formats
/// nothing. A line that memory runs out for is lost; it doesn't stop what it tells of. Belongs to
/// one thread.
class logger_stream : private std::wostringstream {
 public:
  /// `function` isn't copied.
  logger_stream(std::uint32_t level, const wchar_t* function);
  ~logger_stream() override;

  bool is_enabled() const noexcept { return enabled; }

  logger_stream& operator<<(const wchar_t* text);
  logger_stream& operator<<(std::wstring_view text);
  // Named because the base has an operator of its own for it.
  logger_stream& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }
  logger_stream& operator<<(const zv::StringT<wchar_t>& text) { return *this << text.view(); }
  /// Narrow texts are UTF-8.
  logger_stream& operator<<(const char* text);
  logger_stream& operator<<(std::string_view text);
  logger_stream& operator<<(const zv::StringT<char>& text) { return *this << text.view(); }
  logger_stream& operator<<(std::int32_t number);
  logger_stream& operator<<(std::uint32_t number);
  logger_stream& operator<<(std::int64_t number);
  logger_stream& operator<<(std::uint64_t number);

 private:
  template <class MakeText>
  logger_stream& put(MakeText make);

  bool enabled;
  std::uint32_t level;
  const wchar_t* function;
};

/// `LOG_LINE(level, L"function") << ...` does nothing at all while logging is off: no stream is
/// built and the arguments aren't evaluated.
#define LOG_LINE(level, function) \
  if (!::logging::is_on()) {      \
  } else                          \
    ::logger_stream((level), (function))
