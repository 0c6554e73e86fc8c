#include "platform/posix/native_path.h"

#include <cwchar>

#include "platform/text.h"

namespace platform {

std::string to_native(const wchar_t* path) {
  // Nearly every path is ASCII, and the guardian opens its lock file twice for each request.
  std::string ascii(std::wcslen(path), '\0');
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i != ascii.size(); ++i) {
    bits |= static_cast<std::uint32_t>(path[i]);
    ascii[i] = static_cast<char>(path[i]);
  }
  if (bits < 0x80) return ascii;

  std::uint32_t error = 0;
  std::string native(wide_to_utf8(path, nullptr, 0, error), '\0');
  wide_to_utf8(path, native.data(), static_cast<std::uint32_t>(native.size()), error);
  if (!native.empty()) native.pop_back();
  return native;
}

std::wstring from_native(const char* path) {
  std::uint32_t error = 0;
  std::wstring wide(utf8_to_wide(path, nullptr, 0, error), L'\0');
  utf8_to_wide(path, wide.data(), static_cast<std::uint32_t>(wide.size()), error);
  if (!wide.empty()) wide.pop_back();
  return wide;
}

}  // namespace platform
