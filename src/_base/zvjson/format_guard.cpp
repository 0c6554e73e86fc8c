#include "_base/zvjson/format_guard.h"

#include <cstddef>

namespace zv {
namespace {

bool IsDelimiter(char character) noexcept {
  switch (character) {
    case '{':
    case '[':
    case ']':
    case '}':
    case ',':
    case ':':
    case ' ':
    case '\t':
      return true;
    default:
      return false;
  }
}

std::size_t TokenLength(const char* text) noexcept {
  std::size_t length = 0;
  while (text[length] != '\0' && !IsDelimiter(text[length])) ++length;
  return length;
}

}  // namespace

// The tokens are measured where they stand: without a copy there is nothing that could run out of
// memory, and nothing to pay on each request.
bool FormatAllowed(const char* format) noexcept {
  if (format == nullptr) return true;
  while (*format != '\0') {
    const std::size_t length = TokenLength(format);
    if (length == 1 && *format == 'o') return false;
    // An empty token stands before a delimiter, which is stepped over.
    format += length != 0 ? length : 1;
  }
  return true;
}

}  // namespace zv
