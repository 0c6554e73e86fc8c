#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "_base/win_error.h"
#include "guardian/config_files.h"

/// What can stand in a file that should hold an object.
inline const std::vector<std::string> damaged_files{"",
                                                    " \n",
                                                    std::string(64, '\0'),
                                                    "{",
                                                    "}",
                                                    "[]",
                                                    "null",
                                                    "7",
                                                    "\"a\"",
                                                    "{}x",
                                                    "threshold = 5",
                                                    "{,}",
                                                    "{\"a\":\xff}",
                                                    "\xef\xbb\xbf"};

template <class Value>
void expect_error(const cloud::guardian::loaded<Value>& result, std::uint32_t code,
                  const std::wstring& message) {
  ASSERT_TRUE(result.has_error());
  EXPECT_EQ(result.error().code, winapi::make_error_code(code));
  EXPECT_STREQ(result.error().code.category().name(), "win_error");
  EXPECT_EQ(result.error().message, message);
}
