#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <system_error>
#include <type_traits>

#include "_base/win_error.h"

namespace {

static_assert(std::is_base_of_v<std::error_category, winapi::details::win_error_category>);

TEST(WinError, HasItsName) {
  EXPECT_STREQ(winapi::win_error_category().name(), "win_error");
}

TEST(WinError, HasOneCategory) {
  EXPECT_EQ(&winapi::win_error_category(), &winapi::win_error_category());
  EXPECT_EQ(&winapi::make_error_code(5).category(), &winapi::win_error_category());
  EXPECT_EQ(winapi::make_error_code(5).value(), 5);
}

TEST(WinError, HasTheNumbersOfTheSystem) {
  EXPECT_EQ(win_error::success, 0u);
  EXPECT_EQ(win_error::access_denied, 5u);
  EXPECT_EQ(win_error::invalid_data, 13u);
  EXPECT_EQ(win_error::out_of_memory, 14u);
  EXPECT_EQ(win_error::gen_failure, 31u);
  EXPECT_EQ(win_error::invalid_parameter, 87u);
  EXPECT_EQ(win_error::already_exists, 183u);
  EXPECT_EQ(win_error::no_data, 232u);
  EXPECT_EQ(win_error::bad_db, 1006u);
  EXPECT_EQ(win_error::cant_open, 1011u);
  EXPECT_EQ(win_error::not_found, 1168u);
  EXPECT_EQ(win_error::internal_error, 1359u);
  EXPECT_EQ(win_error::function_failed, 1627u);
  EXPECT_EQ(win_error::not_connected, 2250u);
}

TEST(WinError, SaysWhatTheSystemSays) {
  const std::string text = winapi::win_error_category().message(5);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.find("unknown error"), std::string::npos);
  EXPECT_EQ(text.size(), std::strlen(text.c_str())) << "it is cut to its length";
  EXPECT_NE(text, winapi::win_error_category().message(1168));
  EXPECT_EQ(text, winapi::make_error_code(5).message());
}

TEST(WinError, SaysTheNumberThatTheSystemDoesNotKnow) {
  EXPECT_EQ(winapi::win_error_category().message(536870913), "unknown error 536870913");
  EXPECT_EQ(winapi::make_error_code(65000).message(), "unknown error 65000");
}

TEST(WinError, KeepsCodeAndCategoryInACondition) {
  const std::error_condition condition = winapi::win_error_category().default_error_condition(1168);
  EXPECT_EQ(condition.value(), 1168);
  EXPECT_EQ(&condition.category(), &winapi::win_error_category());
  EXPECT_EQ(winapi::make_error_code(1168).default_error_condition(), condition);
  EXPECT_TRUE(winapi::make_error_code(1168) == condition);
  EXPECT_FALSE(winapi::make_error_code(2) == std::errc::no_such_file_or_directory);
}

TEST(WinError, IsEqualByCategoryAndValue) {
  EXPECT_TRUE(winapi::make_error_code(5) == winapi::make_error_code(5));
  EXPECT_FALSE(winapi::make_error_code(5) == winapi::make_error_code(13));
  EXPECT_FALSE(winapi::make_error_code(5) == std::error_code(5, std::system_category()));
  EXPECT_FALSE(winapi::make_error_code(5) == std::error_code(5, std::generic_category()));
}

TEST(WinError, IsNoErrorAtZero) {
  EXPECT_FALSE(winapi::make_error_code(0));
  EXPECT_TRUE(winapi::make_error_code(5));
}

}  // namespace
