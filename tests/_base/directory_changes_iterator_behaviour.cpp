#include <gtest/gtest.h>

#include <array>
#include <string>

#include "_base/change_records.h"
#include "_base/directory_mgmt/directory_changes_iterator.h"

namespace {

using change_records::Records;
using winapi::directory_mgmt::directory_changes_iterator;

constexpr std::uint32_t far_away = 0xffffffff;

TEST(DirectoryChangesIterator, WithoutABufferIsAtTheEnd) {
  EXPECT_TRUE(directory_changes_iterator().at_end());
  EXPECT_TRUE(directory_changes_iterator(nullptr, 0).at_end());
  EXPECT_EQ(directory_changes_iterator(), directory_changes_iterator(nullptr, 0));
  EXPECT_EQ(directory_changes_iterator()->action, 0u);
  EXPECT_TRUE(directory_changes_iterator()->name.empty());
}

TEST(DirectoryChangesIterator, GivesTheRecordsInTheirOrder) {
  Records records;
  records.add(1, L"one").add(2, L"").add(3, L"the third");
  directory_changes_iterator change = records.begin();
  EXPECT_EQ(change->action, 1u);
  EXPECT_EQ(change->name, L"one");
  ++change;
  EXPECT_EQ((*change).action, 2u);
  EXPECT_EQ((*change).name, L"");
  ++change;
  EXPECT_EQ(change->action, 3u);
  EXPECT_EQ(change->name, L"the third");
  EXPECT_FALSE(change.at_end());
  ++change;
  EXPECT_TRUE(change.at_end());
}

TEST(DirectoryChangesIterator, EndsAtTheRecordThatLeadsNowhere) {
  Records records;
  records.add(1, L"one").add(1, L"left from an earlier read");
  records.first().next_entry_offset = 0;
  EXPECT_TRUE((++records.begin()).at_end());
}

TEST(DirectoryChangesIterator, GivesNamesInTheBufferItself) {
  Records records;
  records.add(1, L"one");
  EXPECT_EQ(static_cast<const void*>(records.begin()->name.data()),
            records.bytes() + sizeof(platform::change_record));
}

TEST(DirectoryChangesIterator, LeavesOutTheHalfOfACharacter) {
  Records records;
  records.add(1, L"four");
  --records.last().name_bytes;
  EXPECT_EQ(records.begin()->name, L"fou");
}

TEST(DirectoryChangesIterator, IsEqualToAnotherOnTheSameRecordOnly) {
  Records records;
  records.add(1, L"one").add(1, L"one");
  directory_changes_iterator change = records.begin();
  EXPECT_EQ(change, records.begin());
  ++change;
  EXPECT_NE(change, records.begin());
  EXPECT_NE(change, directory_changes_iterator());
  ++change;
  EXPECT_EQ(change, directory_changes_iterator());
}

TEST(DirectoryChangesIterator, StaysAtTheEnd) {
  directory_changes_iterator change;
  ++change;
  EXPECT_EQ(change, directory_changes_iterator());
}

TEST(DirectoryChangesIterator, FindsOneEmptyRecordInAZeroedBuffer) {
  alignas(32) const std::array<unsigned char, 4096> buffer{};
  directory_changes_iterator change(buffer.data(), buffer.size());
  ASSERT_FALSE(change.at_end());
  EXPECT_EQ(change->action, 0u);
  EXPECT_TRUE(change->name.empty());
  EXPECT_TRUE((++change).at_end());
}

TEST(DirectoryChangesIterator, TakesANameThatEndsWithTheBuffer) {
  Records records;
  records.add(1, L"four");
  ASSERT_EQ(records.size(), sizeof(platform::change_record) + 4 * sizeof(wchar_t));
  EXPECT_EQ(records.begin()->name, L"four");
}

TEST(DirectoryChangesIterator, EndsBeforeANameThatLeavesTheBuffer) {
  Records records;
  records.add(1, L"four");
  EXPECT_TRUE(directory_changes_iterator(records.bytes(), records.size() - 1).at_end());
  ++records.last().name_bytes;
  EXPECT_TRUE(records.begin().at_end());
  records.last().name_bytes = far_away;
  EXPECT_TRUE(records.begin().at_end());
}

TEST(DirectoryChangesIterator, EndsBeforeAHeaderThatLeavesTheBuffer) {
  Records records;
  records.add(1, L"").add(2, L"");
  for (std::size_t size = 0; size != sizeof(platform::change_record); ++size) {
    EXPECT_TRUE(directory_changes_iterator(records.bytes(), size).at_end()) << size;
    directory_changes_iterator change(records.bytes(), sizeof(platform::change_record) + size);
    ASSERT_FALSE(change.at_end());
    EXPECT_EQ(++change, directory_changes_iterator()) << size;
  }
}

TEST(DirectoryChangesIterator, EndsAtAStepOutOfTheBuffer) {
  Records records;
  records.add(1, L"one").add(2, L"two");
  for (const std::size_t step :
       {records.size(), records.size() + 4, std::size_t{0x80000000}, std::size_t{far_away - 3}}) {
    records.first().next_entry_offset = static_cast<std::uint32_t>(step);
    EXPECT_EQ(++records.begin(), directory_changes_iterator()) << step;
  }
}

TEST(DirectoryChangesIterator, EndsAtAStepIntoTheMiddleOfACharacter) {
  std::array<std::uint32_t, 16> words{};  // Zeros are a record wherever one begins.
  words[0] = sizeof(platform::change_record);
  EXPECT_FALSE((++directory_changes_iterator(words.data(), sizeof words)).at_end());
  ++words[0];
  EXPECT_TRUE((++directory_changes_iterator(words.data(), sizeof words)).at_end());
}

}  // namespace
