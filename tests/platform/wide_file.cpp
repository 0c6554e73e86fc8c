#include "platform/wide_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/file.h"
#include "platform/library.h"
#include "support/TemporaryFolder.h"
#include "support/long_folder.h"

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File open(const std::wstring& path, const char* mode) {
  return {platform::open_wide(path.c_str(), mode), &std::fclose};
}

void expect_to_keep_a_text(const std::wstring& path) {
  {
    const File file = open(path, "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_GE(std::fputs("kept", file.get()), 0);
  }
  const File file = open(path, "rb");
  ASSERT_NE(file, nullptr);
  char text[8] = {};
  EXPECT_EQ(std::fread(text, 1, sizeof text, file.get()), 4u);
  EXPECT_STREQ(text, "kept");
}

TEST(WideFile, MayHaveANameBeyondAscii) {
  const support::TemporaryFolder folder;
  expect_to_keep_a_text(platform::wide_text(folder.path()) + platform::path_separator +
                        L"d\u00e9j\u00e0 \u4e2d.txt");
}

TEST(WideFile, MayHaveALongPath) {
  const support::TemporaryFolder folder;
  expect_to_keep_a_text(support::make_long_folder(folder.path()) + platform::path_separator +
                        L"file.txt");
}

TEST(WideFile, IsNullIfItCannotBeOpened) {
  const support::TemporaryFolder folder;
  EXPECT_EQ(open(platform::wide_text(folder / "absent"), "rb"), nullptr);
  EXPECT_EQ(platform::open_wide(nullptr, "rb"), nullptr);
}

}  // namespace
