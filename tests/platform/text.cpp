#include "platform/text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::wstring wide(const std::string& text) {
  std::uint32_t error = 0;
  std::wstring result(platform::utf8_to_wide(text.c_str(), nullptr, 0, error), L'?');
  const auto size = static_cast<std::uint32_t>(result.size());
  EXPECT_EQ(platform::utf8_to_wide(text.c_str(), result.data(), size, error), size);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(result.back(), L'\0');
  result.pop_back();
  return result;
}

std::string narrow(const std::wstring& text) {
  std::uint32_t error = 0;
  std::string result(platform::wide_to_utf8(text.c_str(), nullptr, 0, error), '?');
  const auto size = static_cast<std::uint32_t>(result.size());
  EXPECT_EQ(platform::wide_to_utf8(text.c_str(), result.data(), size, error), size);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(result.back(), '\0');
  result.pop_back();
  return result;
}

TEST(Text, CountsTheTerminator) {
  std::uint32_t error = 1;
  EXPECT_EQ(platform::utf8_to_wide("abc", nullptr, 0, error), 4u);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(platform::wide_to_utf8(L"\u00e9", nullptr, 0, error), 3u);
  EXPECT_EQ(platform::utf8_to_wide("", nullptr, 0, error), 1u);
}

TEST(Text, GoesBothWays) {
  const std::string utf8 = "a\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80z";
  EXPECT_EQ(wide(utf8), L"a\u00e9\u4e2d\U0001f600z");
  EXPECT_EQ(narrow(L"a\u00e9\u4e2d\U0001f600z"), utf8);
}

TEST(Text, KeepsTheEndsOfTheRanges) {
  const std::wstring ends = L"\u007f\u0080\u07ff\u0800\ud7ff\ue000\uffff\U00010000\U0010ffff";
  EXPECT_EQ(wide(narrow(ends)), ends);
}

TEST(Text, SaysWhenTheBufferIsTooSmall) {
  std::uint32_t error = 0;
  wchar_t units[2];
  EXPECT_EQ(platform::utf8_to_wide("ab", units, 2, error), 0u);
  EXPECT_EQ(error, 122u);
  char bytes[2];
  EXPECT_EQ(platform::wide_to_utf8(L"ab", bytes, 2, error), 0u);
  EXPECT_EQ(error, 122u);
  EXPECT_EQ(platform::wide_to_utf8(L"", bytes, 0, error), 0u);
  EXPECT_EQ(error, 122u);
}

TEST(Text, RefusesNoTextAtAll) {
  std::uint32_t error = 0;
  EXPECT_EQ(platform::utf8_to_wide(nullptr, nullptr, 0, error), 0u);
  EXPECT_EQ(error, 87u);
  EXPECT_EQ(platform::wide_to_utf8(nullptr, nullptr, 0, error), 0u);
  EXPECT_EQ(error, 87u);
}

TEST(Text, PutsTheReplacementForEachMalformedPart) {
  EXPECT_EQ(wide("a\xff"
                 "b"),
            L"a\ufffd"
            L"b");
  EXPECT_EQ(wide("\x80\x80"), L"\ufffd\ufffd");
  EXPECT_EQ(wide("\xc3"), L"\ufffd");
  EXPECT_EQ(wide("\xe4\xb8"), L"\ufffd");
  EXPECT_EQ(wide("\xe4\xb8z"), L"\ufffdz");
  EXPECT_EQ(wide("\xf0\x9f\x98z"), L"\ufffdz");
  EXPECT_EQ(wide("\xc0\xaf"), L"\ufffd\ufffd");
}

TEST(Text, LetsNoSurrogateNorAnythingBeyondTheLastCodePointIn) {
  // How many replacements stand for it differs between systems.
  for (const char* const malformed : {"\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    const std::wstring text = wide(malformed);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text, std::wstring(text.size(), L'\ufffd'));
  }
}

TEST(Text, PutsTheReplacementForALoneSurrogate) {
  const std::wstring lone{L'a', static_cast<wchar_t>(0xd800), L'b'};
  EXPECT_EQ(narrow(lone),
            "a\xef\xbf\xbd"
            "b");
}

}  // namespace
