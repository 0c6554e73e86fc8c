#pragma once

#include <string>
#include <system_error>

/// UTF-8 to the platform's wide text and back. Input is read up to its first NUL. Malformed input
/// is replaced by U+FFFD, never refused. The throwing forms raise a std::system_error of the
/// category "win_error" whose text names the step that failed; the quiet forms set `error` and
/// return an empty string.
namespace zv {

std::wstring to_wide(const std::string& text);
std::wstring to_wide(const std::string& text, std::error_code& error) noexcept;
std::string to_utf8(const std::wstring& text);
std::string to_utf8(const std::wstring& text, std::error_code& error) noexcept;

}  // namespace zv
