#include "platform/windows/long_path.h"

#include <windows.h>

namespace platform {
namespace {

/// A folder's limit, which is below that of a file by the room for a short name.
constexpr std::size_t ordinary_limit = MAX_PATH - 12;

bool names_a_place(const std::wstring& path) {
  return path.find_first_of(L"\\/") != std::wstring::npos;
}

std::wstring full_path(const std::wstring& path) {
  const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(size, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  return full;
}

}  // namespace

std::wstring long_path(std::wstring path) {
  if (path.size() < ordinary_limit || !names_a_place(path)) return path;
  if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) return path;
  // The prefix also turns off the reading of "..", of "/" and of relative paths.
  const std::wstring full = full_path(path);
  if (full.empty()) return path;
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

}  // namespace platform
