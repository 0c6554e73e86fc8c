#pragma once

#include <cstdint>

namespace platform {

/// Both read `text` up to its NUL and count the terminator in what they return. With a null
/// `buffer` they return the size needed, otherwise they write into `buffer` of `size` characters.
/// 0 is a failure if `error` isn't 0. Malformed input becomes U+FFFD.
std::uint32_t utf8_to_wide(const char* text, wchar_t* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept;
std::uint32_t wide_to_utf8(const wchar_t* text, char* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept;

}  // namespace platform
