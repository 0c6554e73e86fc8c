#include "devkit/common/text.h"

#include <array>
#include <cstdint>

namespace devkit {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr bool wide_is_utf16 = sizeof(wchar_t) == 2;

bool is_scalar(char32_t code) {
  return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
}

void append_wide(std::wstring& text, char32_t code) {
  if (wide_is_utf16 && code > 0xFFFF) {
    text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
    text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
  } else {
    text += static_cast<wchar_t>(code);
  }
}

void append_utf8(std::string& text, char32_t code) {
  const auto tail = [&](unsigned shift) {
    text += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
  };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0 | (code >> 6));
    tail(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0 | (code >> 12));
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0 | (code >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

/// Takes one character off the front.
char32_t take_utf8(std::string_view& text) {
  const auto first = static_cast<std::uint8_t>(text.front());
  text.remove_prefix(1);
  if (first < 0x80) return first;
  const unsigned length = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC2 ? 1 : 0;
  if (length == 0 || first > 0xF4 || text.size() < length) return replacement;
  char32_t code = first & (0x3Fu >> length);
  for (unsigned i = 0; i < length; ++i) {
    const auto next = static_cast<std::uint8_t>(text[i]);
    if ((next & 0xC0) != 0x80) return replacement;
    code = (code << 6) | (next & 0x3F);
  }
  constexpr std::array<char32_t, 4> least = {0, 0x80, 0x800, 0x10000};
  if (code < least[length] || !is_scalar(code)) return replacement;
  text.remove_prefix(length);
  return code;
}

char32_t take_wide(std::wstring_view& text) {
  const auto first = static_cast<char32_t>(text.front());
  text.remove_prefix(1);
  if (wide_is_utf16 && (first & 0xFC00) == 0xD800 && !text.empty() &&
      (static_cast<char32_t>(text.front()) & 0xFC00) == 0xDC00) {
    const auto second = static_cast<char32_t>(text.front());
    text.remove_prefix(1);
    return 0x10000 + ((first & 0x3FF) << 10) + (second & 0x3FF);
  }
  return is_scalar(first) ? first : replacement;
}

}  // namespace

std::wstring to_wide(std::string_view text) {
  std::wstring wide;
  while (!text.empty()) append_wide(wide, take_utf8(text));
  return wide;
}

std::string to_utf8(std::wstring_view text) {
  std::string narrow;
  while (!text.empty()) append_utf8(narrow, take_wide(text));
  return narrow;
}

std::string path_text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::filesystem::path to_path(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

}  // namespace devkit
