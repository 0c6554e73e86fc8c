#include "devkit/log/format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "devkit/common/text.h"

namespace devkit {

namespace {

/// What stands between a percent sign and the letter of its conversion.
struct Conversion {
  enum class Size { none, narrow, wide, bits64, pointer };

  std::string flags;
  int width = 0;
  int precision = -1;
  Size size = Size::none;
};

class Formatter {
 public:
  Formatter(const wchar_t* pattern, va_list arguments) : at_(pattern) {
    va_copy(arguments_, arguments);
  }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;
  ~Formatter() { va_end(arguments_); }

  std::wstring run() {
    while (*at_ != L'\0') {
      if (*at_ != L'%') {
        text_ += *at_++;
      } else {
        ++at_;
        convert();
      }
    }
    return std::move(text_);
  }

 private:
  void convert() {
    Conversion conversion;
    const wchar_t* const start = at_;
    while (*at_ != L'\0' && std::wcschr(L"-+ #0", *at_) != nullptr) {
      conversion.flags += static_cast<char>(*at_++);
    }
    conversion.width = number();
    if (conversion.width < 0) {
      conversion.flags += '-';
      conversion.width = -conversion.width;
    }
    if (*at_ == L'.') {
      ++at_;
      conversion.precision = number();
    }
    conversion.size = size();
    if (*at_ == L'\0') {
      text_ += L'%';
      text_.append(start, at_);
      return;
    }
    write(conversion, *at_++, start);
  }

  int number() {
    if (*at_ == L'*') {
      ++at_;
      return va_arg(arguments_, int);
    }
    int value = 0;
    while (*at_ >= L'0' && *at_ <= L'9') value = std::min(value * 10 + (*at_++ - L'0'), 100000);
    return value;
  }

  bool skip(std::wstring_view prefix) {
    if (std::wcsncmp(at_, prefix.data(), prefix.size()) != 0) return false;
    at_ += prefix.size();
    return true;
  }

  Conversion::Size size() {
    using Size = Conversion::Size;
    if (skip(L"hh") || skip(L"h")) return Size::narrow;
    if (skip(L"ll") || skip(L"I64") || skip(L"j")) return Size::bits64;
    if (skip(L"I32")) return Size::none;
    if (skip(L"l") || skip(L"w")) return Size::wide;
    if (skip(L"I") || skip(L"z") || skip(L"t")) return Size::pointer;
    return Size::none;
  }

  void write(const Conversion& conversion, wchar_t letter, const wchar_t* start) {
    using Size = Conversion::Size;
    switch (letter) {
      case L'%':
        text_ += L'%';
        break;
      case L's':
        write_text(conversion, conversion.size != Size::narrow);
        break;
      case L'S':
        write_text(conversion, conversion.size == Size::wide);
        break;
      case L'c':
        write_character(conversion, conversion.size != Size::narrow);
        break;
      case L'C':
        write_character(conversion, conversion.size == Size::wide);
        break;
      case L'd':
      case L'i':
        write_integer(conversion, 'd');
        break;
      case L'u':
      case L'o':
      case L'x':
      case L'X':
        write_integer(conversion, static_cast<char>(letter));
        break;
      case L'p':
        write_pointer(conversion);
        break;
      case L'e':
      case L'E':
      case L'f':
      case L'F':
      case L'g':
      case L'G':
      case L'a':
      case L'A':
        write_narrow(conversion, "", static_cast<char>(letter), va_arg(arguments_, double));
        break;
      default:
        text_.append(L"%").append(start, at_);
        break;
    }
  }

  void write_text(const Conversion& conversion, bool is_wide) {
    if (is_wide) {
      const auto* const text = va_arg(arguments_, const wchar_t*);
      pad(conversion, text == nullptr ? L"(null)" : bounded(text, conversion.precision));
    } else {
      const auto* const text = va_arg(arguments_, const char*);
      pad(conversion, text == nullptr ? L"(null)" : to_wide(bounded(text, conversion.precision)));
    }
  }

  /// Never reads past the precision: such a text need not be terminated.
  template <class Ch>
  static std::basic_string<Ch> bounded(const Ch* text, int precision) {
    std::size_t length = 0;
    while ((precision < 0 || length < static_cast<std::size_t>(precision)) && text[length] != Ch())
      ++length;
    return {text, length};
  }

  void write_character(const Conversion& conversion, bool is_wide) {
    const int value = va_arg(arguments_, int);
    pad(conversion, is_wide ? std::wstring(1, static_cast<wchar_t>(value))
                            : to_wide(std::string(1, static_cast<char>(value))));
  }

  void write_integer(const Conversion& conversion, char letter) {
    using Size = Conversion::Size;
    if (conversion.size == Size::bits64 || conversion.size == Size::pointer) {
      write_narrow(conversion, "ll", letter, va_arg(arguments_, long long));
    } else if (conversion.size == Size::narrow && letter == 'd') {
      write_narrow(conversion, "", letter,
                   static_cast<int>(static_cast<std::int16_t>(va_arg(arguments_, int))));
    } else if (conversion.size == Size::narrow) {
      write_narrow(conversion, "", letter,
                   static_cast<int>(static_cast<std::uint16_t>(va_arg(arguments_, int))));
    } else {
      write_narrow(conversion, "", letter, va_arg(arguments_, int));
    }
  }

  /// Sixteen capital digits and no prefix.
  void write_pointer(Conversion conversion) {
    conversion.precision = 2 * static_cast<int>(sizeof(void*));
    const auto address = reinterpret_cast<std::uintptr_t>(va_arg(arguments_, void*));
    write_narrow(conversion, "ll", 'X', static_cast<unsigned long long>(address));
  }

  template <class T>
  void write_narrow(const Conversion& conversion, const char* length, char letter, T value) {
    const std::string pattern = "%" + conversion.flags + "*.*" + length + letter;
    // The pattern is made here of known parts: this is what the warning can't see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    const int size =
        std::snprintf(nullptr, 0, pattern.c_str(), conversion.width, conversion.precision, value);
    std::string text(static_cast<std::size_t>(std::max(size, 0)) + 1, '\0');
    std::snprintf(text.data(), text.size(), pattern.c_str(), conversion.width, conversion.precision,
                  value);
#pragma GCC diagnostic pop
    text.pop_back();
    text_ += to_wide(text);
  }

  void pad(const Conversion& conversion, const std::wstring& text) {
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::size_t missing = width > text.size() ? width - text.size() : 0;
    const bool is_left = conversion.flags.find('-') != std::string::npos;
    if (!is_left) text_.append(missing, L' ');
    text_ += text;
    if (is_left) text_.append(missing, L' ');
  }

  const wchar_t* at_;
  va_list arguments_;
  std::wstring text_;
};

}  // namespace

std::wstring format(const wchar_t* pattern, va_list arguments) {
  return Formatter(pattern, arguments).run();
}

}  // namespace devkit
