#include <windows.h>

#include "platform/os.h"

namespace platform::os {

std::uint32_t utf8_to_wide(const char* text, wchar_t* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  SetLastError(0);
  const int written = MultiByteToWideChar(CP_UTF8, 0, text, -1, buffer,
                                          buffer != nullptr ? static_cast<int>(size) : 0);
  error = written != 0 ? 0 : GetLastError();
  return static_cast<std::uint32_t>(written);
}

std::uint32_t wide_to_utf8(const wchar_t* text, char* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  SetLastError(0);
  const int written =
      WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer,
                          buffer != nullptr ? static_cast<int>(size) : 0, nullptr, nullptr);
  error = written != 0 ? 0 : GetLastError();
  return static_cast<std::uint32_t>(written);
}

}  // namespace platform::os
