#include "platform/error_text.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(ErrorText, IsThereForEveryNumberInUse) {
  for (const std::uint32_t number :
       {2u, 5u, 13u, 14u, 31u, 87u, 126u, 127u, 183u, 232u, 1006u, 1011u, 1168u, 1359u, 1627u}) {
    EXPECT_FALSE(platform::error_text(number).empty()) << number;
  }
}

TEST(ErrorText, DiffersFromNumberToNumber) {
  EXPECT_NE(platform::error_text(2), platform::error_text(5));
}

TEST(ErrorText, IsEmptyForAnUnknownNumber) {
  EXPECT_EQ(platform::error_text(0x12345678), "");
  EXPECT_EQ(platform::error_text(0xffffffff), "");
}

TEST(FromErrno, GivesTheNumberThatSaysTheSame) {
  EXPECT_EQ(platform::from_errno(0), 0u);
  EXPECT_EQ(platform::from_errno(ENOENT), 2u);
  EXPECT_EQ(platform::from_errno(ENOTDIR), 3u);
  EXPECT_EQ(platform::from_errno(EACCES), 5u);
  EXPECT_EQ(platform::from_errno(EPERM), 5u);
  EXPECT_EQ(platform::from_errno(ENOMEM), 14u);
  EXPECT_EQ(platform::from_errno(EINVAL), 87u);
  EXPECT_EQ(platform::from_errno(ENOSPC), 112u);
  EXPECT_EQ(platform::from_errno(EEXIST), 183u);
}

TEST(FromErrno, Gives31WithoutACounterpart) {
  EXPECT_EQ(platform::from_errno(-1), 31u);
  EXPECT_EQ(platform::from_errno(EILSEQ), 31u);
}

}  // namespace
