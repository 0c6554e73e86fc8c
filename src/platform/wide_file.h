#pragma once

#include <cstdio>

namespace platform {

/// std::fopen for a wide path. Null on failure. The caller closes the file.
std::FILE* open_wide(const wchar_t* path, const char* mode) noexcept;

}  // namespace platform
