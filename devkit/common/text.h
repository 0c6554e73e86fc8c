#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace devkit {

/// UTF-8 to wide text and back, whichever width wchar_t has. What is malformed becomes U+FFFD.
std::wstring to_wide(std::string_view text);
std::string to_utf8(std::wstring_view text);

/// A path as UTF-8 text, and back.
std::string path_text(const std::filesystem::path& path);
std::filesystem::path to_path(std::string_view text);

}  // namespace devkit
