#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/file.h"
#include "platform/library.h"

namespace support {

/// Makes folders below `base` whose path has letters beyond ASCII and more than 300 characters, and
/// gives it in its ordinary form.
inline std::wstring make_long_folder(const std::filesystem::path& base) {
  // The prefix lifts the system's limit for the folders' making; who opens them has to cope alone.
  const std::wstring prefix = platform::path_separator == L'\\' ? L"\\\\?\\" : L"";
  std::wstring path = platform::wide_text(base);
  while (path.size() <= 300) {
    path +=
        platform::path_separator + std::wstring(L"d\u00e9\u4e2d\u0434") + std::wstring(40, L'x');
    std::filesystem::create_directory(platform::file_path(prefix + path));
  }
  return path;
}

/// The form of a path of make_long_folder that the standard library can open anywhere.
inline std::filesystem::path reachable(const std::wstring& path) {
  return platform::file_path((platform::path_separator == L'\\' ? L"\\\\?\\" : L"") + path);
}

}  // namespace support
