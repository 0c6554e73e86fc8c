#include "_base/utf8.h"

#include <cstdint>
#include <new>

#include "_base/win_error.h"
#include "platform/text.h"

namespace zv {
namespace {

/// One direction: the system's call, and what its two steps are called when they fail.
template <class From, class To>
struct Conversion {
  std::uint32_t (*run)(const From* text, To* buffer, std::uint32_t size,
                       std::uint32_t& error) noexcept;
  const char* size_failed;
  const char* text_failed;
};

constexpr Conversion<char, wchar_t> utf8_to_wide{
    platform::utf8_to_wide, "MultiByteToWideChar for size failed", "MultiByteToWideChar failed"};
constexpr Conversion<wchar_t, char> wide_to_utf8{
    platform::wide_to_utf8, "WideCharToMultiByte for size failed", "WideCharToMultiByte failed"};

/// What went wrong; no step means nothing did.
struct Failure {
  const char* step = nullptr;
  std::uint32_t number = 0;
};

template <class From, class To>
std::basic_string<To> Convert(const Conversion<From, To>& conversion,
                              const std::basic_string<From>& text, Failure& failure) {
  std::uint32_t error = 0;
  const std::uint32_t size = conversion.run(text.c_str(), nullptr, 0, error);
  if (size == 0) {
    // Without an error number there was just nothing to convert.
    if (error != 0) failure = {conversion.size_failed, error};
    return {};
  }

  std::basic_string<To> converted(size, To{});
  if (conversion.run(text.c_str(), converted.data(), size, error) == 0) {
    failure = {conversion.text_failed, error};
    return {};
  }
  converted.pop_back();
  return converted;
}

template <class From, class To>
std::basic_string<To> ConvertOrThrow(const Conversion<From, To>& conversion,
                                     const std::basic_string<From>& text) {
  Failure failure;
  auto converted = Convert(conversion, text, failure);
  if (failure.step != nullptr) {
    throw std::system_error(winapi::make_error_code(failure.number), failure.step);
  }
  return converted;
}

template <class From, class To>
std::basic_string<To> ConvertQuietly(const Conversion<From, To>& conversion,
                                     const std::basic_string<From>& text,
                                     std::error_code& error) noexcept {
  Failure failure;
  std::basic_string<To> converted;
  try {
    converted = Convert(conversion, text, failure);
  } catch (const std::bad_alloc&) {
    failure.number = win_error::out_of_memory;
  }
  error = winapi::make_error_code(failure.number);
  return converted;
}

}  // namespace

std::wstring to_wide(const std::string& text) {
  return ConvertOrThrow(utf8_to_wide, text);
}

std::wstring to_wide(const std::string& text, std::error_code& error) noexcept {
  return ConvertQuietly(utf8_to_wide, text, error);
}

std::string to_utf8(const std::wstring& text) {
  return ConvertOrThrow(wide_to_utf8, text);
}

std::string to_utf8(const std::wstring& text, std::error_code& error) noexcept {
  return ConvertQuietly(wide_to_utf8, text, error);
}

}  // namespace zv
