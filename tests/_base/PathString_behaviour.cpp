#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "_base/ForeignString.h"
#include "_base/PathString.h"
#include "platform/library.h"
#include "support/TestSeam.h"

namespace {

using strings::all_guards;
using strings::Block;
using strings::Guard;

bool lies_inside(const zv::PathString& path) {
  const auto* const object = reinterpret_cast<const unsigned char*>(&path);
  const auto* const text = reinterpret_cast<const unsigned char*>(path.c_str());
  return text > object && text < object + sizeof(path);
}

/// A full path from a root, as this platform writes it.
std::wstring absolute(const std::wstring& name) {
  const std::wstring root = platform::path_separator == L'\\' ? L"C:\\" : L"/";
  return root + name;
}

TEST(PathString, StartsEmptyInsideItself) {
  zv::PathString path;

  EXPECT_TRUE(lies_inside(path));
  EXPECT_EQ(path.Length(), 0u);
  EXPECT_EQ(path.Capacity(), 260u);
  EXPECT_STREQ(path.c_str(), L"");
  const Block<wchar_t> block(path);
  for (const Guard guard : all_guards) EXPECT_EQ(block.value(guard), 0xABCDu);
  const zv::StringRecord* const record = block.record();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->memory_manager, &zv::StringMemMgr::instance());
  EXPECT_EQ(record->length, 0u);
  EXPECT_EQ(record->capacity, 260u);
  EXPECT_EQ(record->grow_step, 260u);
  EXPECT_EQ(record->block_on_heap, 0);
  EXPECT_EQ(record->record_on_heap, 0);
  const auto* const address = reinterpret_cast<const unsigned char*>(record);
  const auto* const object = reinterpret_cast<const unsigned char*>(&path);
  EXPECT_TRUE(address > object && address < object + sizeof(path));
}

TEST(PathString, StaysInsideItselfUpTo260Characters) {
  zv::PathString path;
  for (int i = 0; i != 260; ++i) path.AppendChar(L'x');
  EXPECT_TRUE(lies_inside(path));
  EXPECT_EQ(path.Capacity(), 260u);
  EXPECT_EQ(path.c_str(), std::wstring(260, L'x'));
}

TEST(PathString, MovesToAHeapBlockOf520CharactersByTheNextOne) {
  zv::PathString path;
  path.Append(std::wstring(260, L'x').c_str());
  ASSERT_TRUE(lies_inside(path));
  const zv::StringRecord* const record = Block<wchar_t>(path).record();

  path.AppendChar(L'y');

  EXPECT_FALSE(lies_inside(path));
  EXPECT_EQ(path.Capacity(), 520u);
  EXPECT_EQ(path.Length(), 261u);
  EXPECT_EQ(path.c_str(), std::wstring(260, L'x') + L'y');
  EXPECT_EQ(Block<wchar_t>(path).record(), record) << "the record stays where it is";
  EXPECT_EQ(record->block_on_heap, 1);
  EXPECT_EQ(record->record_on_heap, 0);
  EXPECT_TRUE(path.IsValid());
}

TEST(PathString, GrowsToWhatALongTextNeeds) {
  zv::PathString path;
  path.Append(std::wstring(600, L'x').c_str());
  EXPECT_EQ(path.Capacity(), 600u);
  EXPECT_EQ(path.c_str(), std::wstring(600, L'x'));
}

TEST(PathString, DoesNotReturnToItsInnerBlock) {
  zv::PathString path(std::wstring(261, L'x').c_str());
  path = L"short";
  EXPECT_FALSE(lies_inside(path));
  EXPECT_STREQ(path.c_str(), L"short");
  EXPECT_EQ(path.Length(), 5u);
  EXPECT_GE(path.Capacity(), 261u);
}

TEST(PathString, KeepsItsInnerBlockWhenEmptied) {
  zv::PathString path(L"abc");
  path = static_cast<const wchar_t*>(nullptr);
  EXPECT_TRUE(lies_inside(path));
  EXPECT_EQ(path.Capacity(), 260u);
  EXPECT_EQ(path.Length(), 0u);
  EXPECT_STREQ(path.c_str(), L"");
}

TEST(PathString, CopiesIntoItsOwnInnerBlock) {
  zv::PathString path(L"abc");
  const zv::PathString copy(path);
  zv::PathString assigned;
  assigned = path;
  path.AppendChar(L'd');

  EXPECT_TRUE(lies_inside(copy));
  EXPECT_STREQ(copy.c_str(), L"abc");
  EXPECT_TRUE(lies_inside(assigned));
  EXPECT_STREQ(assigned.c_str(), L"abc");
}

TEST(PathString, CopiesALongTextToAHeapBlockOfItsOwn) {
  const zv::PathString path(std::wstring(1000, L'x').c_str());
  const zv::PathString copy(path);
  zv::PathString assigned;
  assigned = path;

  EXPECT_NE(copy.c_str(), path.c_str());
  EXPECT_EQ(copy.c_str(), std::wstring(1000, L'x'));
  EXPECT_NE(assigned.c_str(), path.c_str());
  EXPECT_EQ(assigned.c_str(), std::wstring(1000, L'x'));
}

TEST(PathString, IsAnOrdinaryStringToWhoTakesOne) {
  const zv::PathString path(L"abc");
  const zv::StringT<wchar_t> string(path);
  EXPECT_STREQ(string.c_str(), L"abc");
  EXPECT_EQ(string.Length(), 3u);
}

TEST(AskExeFolder, GivesTheFolderOfTheRunningProgram) {
  zv::PathString path;
  ASSERT_TRUE(zv::PathString::AskExeFolder(path));

  std::wstring name(4096, L'\0');
  std::uint32_t error = 0;
  name.resize(platform::module_file_name(nullptr, name.data(), 4096, error));
  EXPECT_EQ(path.c_str(), name.substr(0, name.rfind(platform::path_separator) + 1));
  EXPECT_EQ(path.Length(), std::wstring(path.c_str()).size());
}

TEST(AskExeFolder, EndsInASeparator) {
  support::TestSeam seam;
  const std::wstring separator(1, platform::path_separator);
  seam.set_executable_name(absolute(L"folder" + separator + L"program.exe"));
  zv::PathString path;
  ASSERT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.c_str(), absolute(L"folder") + separator);
  EXPECT_EQ(path.Length(), absolute(L"folder").size() + 1);
}

TEST(AskExeFolder, OfAProgramInTheRootIsTheRoot) {
  support::TestSeam seam;
  seam.set_executable_name(absolute(L"program.exe"));
  zv::PathString path;
  ASSERT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.c_str(), absolute(L""));
}

TEST(AskExeFolder, ReplacesWhatThePathHeld) {
  support::TestSeam seam;
  const std::wstring separator(1, platform::path_separator);
  seam.set_executable_name(absolute(L"folder" + separator + L"program.exe"));
  zv::PathString path(std::wstring(200, L'x').c_str());
  ASSERT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.c_str(), absolute(L"folder") + separator);
}

TEST(AskExeFolder, FailsWhenTheNameCannotBeHad) {
  support::TestSeam seam;
  seam.set_executable_name(L"", 5);
  zv::PathString path;
  EXPECT_FALSE(zv::PathString::AskExeFolder(path));
  EXPECT_TRUE(path.IsValid());
}

TEST(AskExeFolder, TakesANameThatFillsTheBufferForACutOne) {
  support::TestSeam seam;
  const std::wstring folder = absolute(L"folder") + platform::path_separator;
  zv::PathString path;

  seam.set_executable_name(folder + std::wstring(260 - folder.size(), L'x'));
  EXPECT_FALSE(zv::PathString::AskExeFolder(path));
  EXPECT_TRUE(path.IsValid());

  seam.set_executable_name(folder + std::wstring(259 - folder.size(), L'x'));
  EXPECT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.c_str(), folder);
}

TEST(AskExeFolder, FailsForANameThatWasCut) {
  support::TestSeam seam;
  seam.set_executable_name(absolute(L"folder") + platform::path_separator +
                           std::wstring(400, L'x'));
  zv::PathString path;
  EXPECT_FALSE(zv::PathString::AskExeFolder(path));
  EXPECT_TRUE(path.IsValid());
}

TEST(AskExeFolder, HasRoomForAsMuchAsThePathHas) {
  support::TestSeam seam;
  const std::wstring folder = absolute(L"folder") + platform::path_separator;
  seam.set_executable_name(folder + std::wstring(400, L'x'));
  zv::PathString path;
  ASSERT_TRUE(path.Reserve(520));
  EXPECT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.c_str(), folder);
}

TEST(AskExeFolder, FailsForANameWithoutAFolder) {
  support::TestSeam seam;
  seam.set_executable_name(L"program.exe");
  zv::PathString path;
  EXPECT_FALSE(zv::PathString::AskExeFolder(path));
  EXPECT_TRUE(path.IsValid());
}

}  // namespace
