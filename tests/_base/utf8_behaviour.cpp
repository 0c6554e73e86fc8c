#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "_base/utf8.h"
#include "_base/win_error.h"

namespace {

struct Pair {
  std::string utf8;
  std::wstring wide;
};

const Pair pairs[] = {
    {"", L""},
    {"plain", L"plain"},
    {"\xC3\xA9\xE4\xB8\xAD\xD0\xB4", L"\u00e9\u4e2d\u0434"},
    {"<\xF0\x9F\x98\x80>", L"<\U0001F600>"},
    {std::string(100'000, 'x'), std::wstring(100'000, L'x')},
};

std::error_code something_else() {
  return winapi::make_error_code(87);
}

TEST(Utf8, BecomesWideText) {
  for (const Pair& pair : pairs) EXPECT_EQ(zv::to_wide(pair.utf8), pair.wide);
}

TEST(Utf8, ComesOfWideText) {
  for (const Pair& pair : pairs) EXPECT_EQ(zv::to_utf8(pair.wide), pair.utf8);
}

TEST(Utf8, BecomesWideTextQuietly) {
  for (const Pair& pair : pairs) {
    std::error_code error = something_else();
    EXPECT_EQ(zv::to_wide(pair.utf8, error), pair.wide);
    EXPECT_FALSE(error) << error.message();
  }
}

TEST(Utf8, ComesOfWideTextQuietly) {
  for (const Pair& pair : pairs) {
    std::error_code error = something_else();
    EXPECT_EQ(zv::to_utf8(pair.wide, error), pair.utf8);
    EXPECT_FALSE(error) << error.message();
  }
}

TEST(Utf8, IsReadUpToItsFirstNul) {
  std::error_code error;
  EXPECT_EQ(zv::to_wide(std::string("ab\0cd", 5)), L"ab");
  EXPECT_EQ(zv::to_wide(std::string("ab\0cd", 5), error), L"ab");
  EXPECT_EQ(zv::to_utf8(std::wstring(L"ab\0cd", 5)), "ab");
  EXPECT_EQ(zv::to_utf8(std::wstring(L"ab\0cd", 5), error), "ab");
  EXPECT_EQ(zv::to_wide(std::string(1, '\0')), L"");
  EXPECT_FALSE(error);
}

TEST(Utf8, ThatIsMalformedIsReplacedAndNotRefused) {
  std::error_code error;
  EXPECT_EQ(zv::to_wide("a\xFF"
                        "b"),
            L"a\uFFFDb");
  EXPECT_EQ(zv::to_wide("a\xFF"
                        "b",
                        error),
            L"a\uFFFDb");
  EXPECT_FALSE(error);
}

TEST(Utf8, ReplacesASurrogateThatStandsAlone) {
  std::wstring text = L"a_b";
  text[1] = static_cast<wchar_t>(0xD800);
  std::error_code error;
  EXPECT_EQ(zv::to_utf8(text),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(zv::to_utf8(text, error),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_FALSE(error);
}

}  // namespace
