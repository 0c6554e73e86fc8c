#pragma once

#include <cstdarg>
#include <string>

namespace devkit {

/// Writes out a wide format as Microsoft's runtime reads it, on every platform: %s and %c are wide
/// and %S and %C narrow, unless an "h" or an "l" says otherwise; `long` has 32 bits; I32 and I64
/// tell sizes; a null text is "(null)". Narrow texts are UTF-8. What isn't a conversion is copied.
std::wstring format(const wchar_t* pattern, va_list arguments);

}  // namespace devkit
