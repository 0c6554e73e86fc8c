#pragma once

#include <cstdio>

namespace platform {

/// std::fopen for a wide path of any length. Null on failure, of a null path too. The caller closes
/// the file.
std::FILE* open_wide(const wchar_t* path, const char* mode) noexcept;

}  // namespace platform
