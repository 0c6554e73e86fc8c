#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "_base/ForeignString.h"
#include "_base/StringT.h"
#include "_base/StringTest.h"

namespace {

using strings::Block;
using strings::ForeignString;
using strings::Guard;
using strings::MemoryCall;

template <class Ch>
class StringReserve : public strings::StringTest<Ch> {};
TYPED_TEST_SUITE(StringReserve, strings::Characters, strings::CharacterNames);

TYPED_TEST(StringReserve, MakesAnEmptyBlockOfZerosOutOfNothing) {
  zv::StringT<TypeParam> string;
  ASSERT_TRUE(string.Reserve(500));
  EXPECT_EQ(string.Capacity(), 500u);
  EXPECT_EQ(string.Length(), 0u);
  EXPECT_TRUE(std::all_of(string.buffer(), string.buffer() + 501,
                          [](TypeParam c) { return c == TypeParam{}; }));
  EXPECT_TRUE(string.IsValid());
}

TYPED_TEST(StringReserve, KeepsRecordAndTextWhenItsBlockIsReallocated) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  const zv::StringRecord* const record = foreign.block().record();

  ASSERT_TRUE(foreign.string.Reserve(200));

  EXPECT_EQ(foreign.block().record(), record);
  EXPECT_EQ(record->memory_manager, &this->manager);
  EXPECT_EQ(record->capacity, 200u);
  EXPECT_EQ(record->block_on_heap, 1);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  EXPECT_EQ(foreign.string.buffer()[200], TypeParam{});
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, CutsItsTextToASmallerBlock) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abcdef"));
  ASSERT_TRUE(foreign.string.Reserve(4));
  EXPECT_EQ(foreign.string.Capacity(), 4u);
  EXPECT_EQ(foreign.string.Length(), 4u);
  EXPECT_EQ(foreign.string.c_str(), this->text("abcd"));
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, MovesToANewBlockWhenReallocationIsRefused) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  const void* const block = foreign.block().start();
  this->manager.refuses_reallocate = true;

  ASSERT_TRUE(foreign.string.Reserve(200));

  const std::uint64_t size = Block<TypeParam>::size(200);
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::reallocate, block, size},
                                                          {MemoryCall::allocate, nullptr, size},
                                                          {MemoryCall::free, block, 0}}));
  EXPECT_NE(foreign.block().start(), block);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  EXPECT_EQ(foreign.string.Capacity(), 200u);
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, CopiesOnlyWhatASmallerNewBlockHolds) {
  ForeignString<TypeParam> foreign(this->manager, this->repeated(64));
  this->manager.refuses_reallocate = true;
  ASSERT_TRUE(foreign.string.Reserve(8));
  EXPECT_EQ(foreign.string.c_str(), this->repeated(8));
  EXPECT_EQ(foreign.string.Length(), 8u);
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, StaysAsItWasWhenMemoryRanOut) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  const void* const block = foreign.block().start();
  this->manager.refuses_reallocate = true;
  this->manager.refuses_allocate = true;

  EXPECT_FALSE(foreign.string.Reserve(200));

  const std::uint64_t size = Block<TypeParam>::size(200);
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::reallocate, block, size},
                                                          {MemoryCall::allocate, nullptr, size}}));
  EXPECT_EQ(foreign.block().start(), block);
  EXPECT_EQ(foreign.string.Capacity(), 64u);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, StaysNullWhenThereIsNotMemoryEnough) {
  zv::StringT<TypeParam> string;
  EXPECT_FALSE(string.Reserve(zv::StringT<TypeParam>::npos));
  EXPECT_EQ(string.buffer(), nullptr);
}

TYPED_TEST(StringReserve, LeavesAnInnerBlockForAZeroedOneOnTheHeap) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"),
                                   {.capacity = 10, .block_on_heap = false});
  const Block<TypeParam> inner = foreign.block();

  ASSERT_TRUE(foreign.string.Reserve(200));

  EXPECT_EQ(
      this->manager.calls,
      (std::vector<MemoryCall>{{MemoryCall::reallocate, nullptr, Block<TypeParam>::size(200)}}));
  EXPECT_NE(foreign.block().start(), inner.start());
  EXPECT_EQ(foreign.block().record(), inner.record());
  EXPECT_EQ(inner.record()->block_on_heap, 1);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  const unsigned char* const start = foreign.block().start();
  const unsigned char* const end = foreign.block().address(Guard::tail);
  EXPECT_TRUE(std::all_of(start + Block<TypeParam>::size(10), end,
                          [](unsigned char byte) { return byte == 0; }));
  EXPECT_TRUE(foreign.string.IsValid());
}

TYPED_TEST(StringReserve, LeavesAnInnerBlockByPlainAllocationToo) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"),
                                   {.capacity = 10, .block_on_heap = false});
  this->manager.refuses_reallocate = true;

  ASSERT_TRUE(foreign.string.Reserve(200));

  const std::uint64_t size = Block<TypeParam>::size(200);
  EXPECT_EQ(std::count(this->manager.calls.begin(), this->manager.calls.end(),
                       MemoryCall{MemoryCall::allocate, nullptr, size}),
            1);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  const unsigned char* const start = foreign.block().start();
  const unsigned char* const end = foreign.block().address(Guard::tail);
  EXPECT_TRUE(std::all_of(start + Block<TypeParam>::size(10), end,
                          [](unsigned char byte) { return byte == 0; }));
}

TYPED_TEST(StringReserve, StaysInnerWhenMemoryRanOut) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"),
                                   {.capacity = 10, .block_on_heap = false});
  const Block<TypeParam> inner = foreign.block();
  this->manager.refuses_reallocate = true;
  this->manager.refuses_allocate = true;

  EXPECT_FALSE(foreign.string.Reserve(200));

  EXPECT_EQ(foreign.block().start(), inner.start());
  EXPECT_EQ(inner.record()->block_on_heap, 0);
  EXPECT_EQ(foreign.string.Capacity(), 10u);
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
}

TYPED_TEST(StringReserve, CutsTheTextOfAnInnerBlockToASmallerOne) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abcdef"),
                                   {.capacity = 10, .block_on_heap = false});
  ASSERT_TRUE(foreign.string.Reserve(3));
  EXPECT_EQ(foreign.string.c_str(), this->text("abc"));
  EXPECT_EQ(foreign.string.Length(), 3u);
  EXPECT_TRUE(foreign.string.IsValid());
}

template <class Ch>
class StringGrowth : public strings::StringTest<Ch> {};
TYPED_TEST_SUITE(StringGrowth, strings::Characters, strings::CharacterNames);

TYPED_TEST(StringGrowth, DoublesUpTo1024CharactersAndThenGrowsBy1024) {
  zv::StringT<TypeParam> string;
  std::vector<std::uint64_t> capacities{string.Capacity()};
  for (int i = 0; i != 2500; ++i) {
    string.AppendChar(TypeParam{'x'});
    if (string.Capacity() != capacities.back()) capacities.push_back(string.Capacity());
  }
  EXPECT_EQ(capacities, (std::vector<std::uint64_t>{0, 64, 128, 256, 512, 1024, 2048, 3072}));
  EXPECT_EQ(string.c_str(), this->repeated(2500));
}

TYPED_TEST(StringGrowth, GrowsToWhatIsNeededWhereDoublingIsTooLittle) {
  struct Case {
    std::uint64_t capacity, length, grow_step, appended, expected;
  };
  const Case cases[] = {
      {0, 0, 64, 1, 64},          // the least growth
      {0, 0, 64, 1000, 1000},     // what is needed
      {64, 10, 64, 200, 210},     // what is needed, with what was there
      {64, 10, 64, 54, 64},       // fits exactly
      {64, 10, 64, 55, 128},      // doubles
      {100, 100, 300, 1, 400},    // the least growth is more than doubling
      {1000, 1000, 64, 1, 2000},  // still doubles
      {1023, 1023, 64, 1, 2046},  // still doubles
      {1024, 1024, 64, 1, 2048},  // adds 1024
      {1500, 1500, 64, 1, 2524},  // adds 1024
      {1500, 1500, 64, 5000, 6500},
      {1500, 1500, 2000, 1, 3500},
  };
  for (const Case& each : cases) {
    ForeignString<TypeParam> foreign(this->manager, this->repeated(each.length),
                                     {.capacity = each.capacity, .grow_step = each.grow_step});
    foreign.string.Append(this->repeated(each.appended).c_str());
    EXPECT_EQ(foreign.string.Capacity(), each.expected)
        << each.capacity << '+' << each.appended << " by " << each.grow_step;
    EXPECT_EQ(foreign.string.c_str(), this->repeated(each.length + each.appended));
  }
}

TYPED_TEST(StringGrowth, GrowsForACharacterAsForAText) {
  ForeignString<TypeParam> by_character(this->manager, this->repeated(1500), {.capacity = 1500});
  by_character.string.AppendChar(TypeParam{'x'});
  EXPECT_EQ(by_character.string.Capacity(), 2524u);
  EXPECT_EQ(by_character.string.Length(), 1501u);
}

}  // namespace
