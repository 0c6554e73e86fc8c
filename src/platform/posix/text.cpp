#include "platform/os.h"

namespace platform::os {
namespace {

constexpr std::uint32_t error_insufficient_buffer = 122;
constexpr char32_t replacement = 0xfffd;

/// Counts what a conversion yields, and keeps it as far as there is a buffer.
template <typename Ch>
class Output {
 public:
  Output(Ch* buffer, std::uint32_t size) noexcept : buffer_(buffer), size_(size) {}

  void put(Ch unit) noexcept {
    if (buffer_ != nullptr && count_ < size_) buffer_[count_] = unit;
    ++count_;
  }

  std::uint32_t finish(std::uint32_t& error) const noexcept {
    const bool fits = buffer_ == nullptr || count_ <= size_;
    error = fits ? 0 : error_insufficient_buffer;
    return fits ? count_ : 0;
  }

 private:
  Ch* buffer_;
  std::uint32_t size_;
  std::uint32_t count_ = 0;
};

/// What a lead byte asks for: how many bytes follow, and the range of the first of them, which
/// keeps out overlong forms, surrogates and what lies above U+10FFFF.
struct Lead {
  int following;
  unsigned char low;
  unsigned char high;
  char32_t bits;
};

Lead read_lead(unsigned char byte) noexcept {
  const char32_t value = byte;
  if (byte >= 0xc2 && byte <= 0xdf) return {1, 0x80, 0xbf, value & 0x1f};
  if (byte == 0xe0) return {2, 0xa0, 0xbf, value & 0x0f};
  if (byte == 0xed) return {2, 0x80, 0x9f, value & 0x0f};
  if (byte >= 0xe1 && byte <= 0xef) return {2, 0x80, 0xbf, value & 0x0f};
  if (byte == 0xf0) return {3, 0x90, 0xbf, value & 0x07};
  if (byte == 0xf4) return {3, 0x80, 0x8f, value & 0x07};
  if (byte >= 0xf1 && byte <= 0xf3) return {3, 0x80, 0xbf, value & 0x07};
  return {0, 0, 0, replacement};
}

/// Reads one code point, or one maximal part of a malformed one as U+FFFD, and moves past it.
char32_t read_code_point(const char*& text) noexcept {
  const auto byte = static_cast<unsigned char>(*text++);
  if (byte < 0x80) return byte;
  Lead lead = read_lead(byte);
  for (; lead.following != 0; --lead.following) {
    const auto next = static_cast<unsigned char>(*text);
    if (next < lead.low || next > lead.high) return replacement;
    lead.bits = (lead.bits << 6) | (next & 0x3fu);
    lead.low = 0x80;
    lead.high = 0xbf;
    ++text;
  }
  return lead.bits;
}

char32_t valid_or_replacement(wchar_t unit) noexcept {
  const auto value = static_cast<char32_t>(unit);
  const bool surrogate = value >= 0xd800 && value <= 0xdfff;
  return surrogate || value > 0x10ffff ? replacement : value;
}

void put_utf8(Output<char>& output, char32_t value) noexcept {
  const auto put = [&](char32_t byte) { output.put(static_cast<char>(byte)); };
  if (value < 0x80) return put(value);
  if (value < 0x800) {
    put(0xc0 | (value >> 6));
  } else {
    if (value < 0x10000) {
      put(0xe0 | (value >> 12));
    } else {
      put(0xf0 | (value >> 18));
      put(0x80 | ((value >> 12) & 0x3f));
    }
    put(0x80 | ((value >> 6) & 0x3f));
  }
  put(0x80 | (value & 0x3f));
}

}  // namespace

std::uint32_t utf8_to_wide(const char* text, wchar_t* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  Output<wchar_t> output(buffer, size);
  while (*text != '\0') output.put(static_cast<wchar_t>(read_code_point(text)));
  output.put(L'\0');
  return output.finish(error);
}

std::uint32_t wide_to_utf8(const wchar_t* text, char* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  Output<char> output(buffer, size);
  for (; *text != L'\0'; ++text) put_utf8(output, valid_or_replacement(*text));
  output.put('\0');
  return output.finish(error);
}

}  // namespace platform::os
