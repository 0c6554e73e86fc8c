#pragma once

#include <string>

namespace platform {

/// A path in the system's own bytes, which are UTF-8, and back.
std::string to_native(const wchar_t* path);
std::wstring from_native(const char* path);

}  // namespace platform
