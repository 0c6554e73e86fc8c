#include "platform/file.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/long_folder.h"

namespace {

std::string content(const std::filesystem::path& path) {
  std::ifstream stream = platform::open_for_reading(path);
  EXPECT_TRUE(stream.is_open());
  return {std::istreambuf_iterator<char>(stream), {}};
}

class File : public testing::Test {
 protected:
  void write(std::string_view text) const {
    std::ofstream stream = platform::open_for_writing(path_);
    ASSERT_TRUE(stream);
    stream << text;
    ASSERT_TRUE(stream.flush());
  }

  support::TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "file";
};

TEST_F(File, KeepsEveryByte) {
  write(std::string_view("a\r\nb\n\x1a\0c", 8));
  EXPECT_EQ(content(path_), std::string("a\r\nb\n\x1a\0c", 8));
}

TEST_F(File, IsCutWhenOpenedForWriting) {
  write("something long");
  write("x");
  EXPECT_EQ(content(path_), "x");
}

TEST_F(File, IsNotOpenWhenItIsAbsent) {
  EXPECT_FALSE(platform::open_for_reading(path_).is_open());
  EXPECT_FALSE(platform::open_for_writing(folder_ / "absent" / "file"));
}

TEST_F(File, MayHaveALongNameBeyondAscii) {
  path_ = platform::file_path(support::make_long_folder(folder_.path())) /
          platform::file_path(L"\u00e9\u4e2d.json");
  write("x");
  EXPECT_EQ(content(path_), "x");
  EXPECT_GT(platform::wide_text(path_).size(), 300u);
  EXPECT_TRUE(std::filesystem::exists(support::reachable(platform::wide_text(path_))));
}

TEST_F(File, GivesItsWideNameBack) {
  const std::wstring name = L"a\u00e9\u4e2d\U0001f600";
  EXPECT_EQ(platform::wide_text(platform::file_path(name)), name);
}

TEST_F(File, FailsToOpenWhenASeamSaysSo) {
  write("x");
  support::TestSeam seam;
  seam.fail_call(platform::Call::open, 5, 2, 2);
  EXPECT_TRUE(platform::open_for_reading(path_).is_open());
  const std::ifstream reader = platform::open_for_reading(path_);
  EXPECT_FALSE(reader.is_open());
  EXPECT_FALSE(reader);
  EXPECT_FALSE(platform::open_for_writing(path_));
  EXPECT_EQ(content(path_), "x");
  EXPECT_EQ(seam.calls(platform::Call::open), 4u);
}

TEST_F(File, FailsToReadWhenASeamSaysSo) {
  write("x");
  support::TestSeam seam;
  seam.fail_call(platform::Call::read, 30);
  std::ifstream stream = platform::open_for_reading(path_);
  ASSERT_TRUE(stream.is_open());
  char letter = 0;
  EXPECT_FALSE(stream.get(letter));
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(content(path_), "x");
}

TEST_F(File, FailsToWriteWhenASeamSaysSo) {
  write("old");
  support::TestSeam seam;
  seam.fail_call(platform::Call::write, 112);
  {
    std::ofstream stream = platform::open_for_writing(path_);
    EXPECT_FALSE(stream << "new");
    EXPECT_TRUE(stream.bad());
  }
  // What a full disk leaves: the file was cut, and nothing came after.
  EXPECT_EQ(content(path_), "");
}

}  // namespace
