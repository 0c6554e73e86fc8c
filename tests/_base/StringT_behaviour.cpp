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

using strings::all_guards;
using strings::Block;
using strings::ForeignString;
using strings::Guard;
using strings::MemoryCall;

static_assert(offsetof(zv::StringRecord, memory_manager) == 0);
static_assert(offsetof(zv::StringRecord, length) == 8);
static_assert(offsetof(zv::StringRecord, capacity) == 16);
static_assert(offsetof(zv::StringRecord, grow_step) == 24);
static_assert(offsetof(zv::StringRecord, block_on_heap) == 32);
static_assert(offsetof(zv::StringRecord, record_on_heap) == 33);

template <class Ch>
class StringT : public strings::StringTest<Ch> {};
TYPED_TEST_SUITE(StringT, strings::Characters, strings::CharacterNames);

TYPED_TEST(StringT, IsNullWithoutAText) {
  zv::StringT<TypeParam> of_nothing;
  zv::StringT<TypeParam> of_null(this->null());

  for (zv::StringT<TypeParam>* string : {&of_nothing, &of_null}) {
    EXPECT_EQ(string->buffer(), nullptr);
    EXPECT_EQ(string->Length(), 0u);
    EXPECT_EQ(string->Capacity(), 0u);
    ASSERT_NE(string->c_str(), nullptr);
    EXPECT_EQ(string->c_str()[0], TypeParam{});
    EXPECT_TRUE(string->IsValid());
  }
}

TYPED_TEST(StringT, WithoutARecordIsEmptyAndValidAndLeavesItsBlockAlone) {
  TypeParam field[32] = {};
  TypeParam* const text = field + 16;
  zv::StringT<TypeParam> owner;
  {
    zv::StringT<TypeParam> string;
    std::memcpy(static_cast<void*>(&string), &text, sizeof(text));
    EXPECT_TRUE(string.IsValid());
    EXPECT_EQ(string.Length(), 0u);
    EXPECT_EQ(string.Capacity(), 0u);
    EXPECT_EQ(string.c_str(), text);
  }
  EXPECT_TRUE(std::all_of(std::begin(field), std::end(field), [](TypeParam c) { return c == 0; }));
}

TYPED_TEST(StringT, LiesInAPackedBlockBetweenGuards) {
  zv::StringT<TypeParam> string;
  ASSERT_TRUE(string.Reserve(100));
  string.Append(this->text("abc").c_str());

  const Block<TypeParam> block(string);
  const unsigned char guard[] = {0xCD, 0xAB, 0x00, 0x00};
  EXPECT_EQ(std::memcmp(block.start(), guard, 4), 0);
  EXPECT_EQ(std::memcmp(block.start() + 12, guard, 4), 0);
  EXPECT_EQ(std::memcmp(block.start() + 16, this->text("abc").c_str(), 4 * sizeof(TypeParam)), 0);
  EXPECT_EQ(std::memcmp(block.start() + 16 + 101 * sizeof(TypeParam), guard, 4), 0);
  EXPECT_EQ(string.buffer()[100], TypeParam{});

  const zv::StringRecord* const record = block.record();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->memory_manager, &zv::StringMemMgr::instance());
  EXPECT_EQ(record->length, 3u);
  EXPECT_EQ(record->capacity, 100u);
  EXPECT_EQ(record->grow_step, 64u);
  EXPECT_EQ(record->block_on_heap, 1);
  EXPECT_EQ(record->record_on_heap, 1);
}

TYPED_TEST(StringT, AsksForABlockOfTheSizeThatItsCapacityNeeds) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  const void* const block = foreign.block().start();

  ASSERT_TRUE(foreign.string.Reserve(1000));

  // A character more or less changes the size by sizeof(Ch); everything else is 16 bytes of head,
  // 4 of tail and the terminator.
  EXPECT_EQ(this->manager.calls,
            (std::vector<MemoryCall>{{MemoryCall::reallocate, block,
                                      1000 * sizeof(TypeParam) + 20 + sizeof(TypeParam)}}));
}

TYPED_TEST(StringT, FindsAnOverwrittenByteInAnyGuard) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  const Block<TypeParam> block(string);
  for (const Guard guard : all_guards) {
    for (std::size_t byte = 0; byte != 4; ++byte) {
      EXPECT_TRUE(string.IsValid());
      block.damage(guard, byte);
      EXPECT_FALSE(string.IsValid()) << static_cast<int>(guard) << ' ' << byte;
      block.damage(guard, byte);
    }
  }
}

TYPED_TEST(StringT, IsReadWhateverItsGuardsSay) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  const std::uint64_t capacity = string.Capacity();
  const Block<TypeParam> block(string);
  for (const Guard guard : all_guards) {
    block.damage(guard);
    EXPECT_EQ(string.Length(), 3u);
    EXPECT_EQ(string.Capacity(), capacity);
    EXPECT_EQ(string.c_str(), this->text("abc"));
    EXPECT_EQ(string.view(), this->text("abc"));
    block.damage(guard);
  }
}

TYPED_TEST(StringT, DoesNotSeeAnOverrunBelowItsCapacity) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  ASSERT_TRUE(string.Reserve(64));
  string.buffer()[4] = TypeParam{'!'};
  string.buffer()[63] = TypeParam{'!'};

  EXPECT_TRUE(string.IsValid());
  string.AppendChar(TypeParam{'d'});
  const zv::StringT<TypeParam> copy(string);

  EXPECT_EQ(string.c_str(), this->text("abcd"));
  EXPECT_EQ(copy.c_str(), this->text("abcd"));
}

TYPED_TEST(StringT, AppendsTextsAndCharacters) {
  zv::StringT<TypeParam> string;
  string.Append(this->text("ab").c_str());
  string.AppendChar(TypeParam{'c'});
  string.Append(this->text("de").c_str());
  EXPECT_EQ(string.c_str(), this->text("abcde"));
  EXPECT_EQ(string.Length(), 5u);
}

TYPED_TEST(StringT, StaysNullWhenNothingIsAppended) {
  zv::StringT<TypeParam> string;
  string.Append(this->null());
  string.Append(this->text("").c_str());
  EXPECT_EQ(string.buffer(), nullptr);
}

TYPED_TEST(StringT, DoesNotLookAtItsGuardsWhenNothingIsAppended) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  const Block<TypeParam> block(string);
  block.damage(Guard::head);
  string.Append(this->null());
  string.Append(this->text("").c_str());
  EXPECT_EQ(string.c_str(), this->text("abc"));
  block.damage(Guard::head);
}

TYPED_TEST(StringT, TakesATextUpToItsEnd) {
  zv::StringT<TypeParam> string;
  string.Assign(this->text("abcdef").c_str());
  EXPECT_EQ(string.c_str(), this->text("abcdef"));
  string.Assign(this->text("uvw").c_str(), ~std::uint64_t{0});
  EXPECT_EQ(string.c_str(), this->text("uvw"));
  EXPECT_EQ(string.Length(), 3u);
}

TYPED_TEST(StringT, TakesAsManyCharactersAsItIsTold) {
  zv::StringT<TypeParam> string(this->text("something longer").c_str());
  string.Assign(this->text("abcdef").c_str(), 3);
  EXPECT_EQ(string.c_str(), this->text("abc"));
  EXPECT_EQ(string.Length(), 3u);
}

TYPED_TEST(StringT, TakesALongerTextThanItHeldRoomFor) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  string.Assign(this->repeated(5000).c_str());
  EXPECT_EQ(string.c_str(), this->repeated(5000));
  EXPECT_GE(string.Capacity(), 5000u);
  EXPECT_TRUE(string.IsValid());
}

TYPED_TEST(StringT, IgnoresItsOwnText) {
  zv::StringT<TypeParam> string(this->text("abcdef").c_str());
  const TypeParam* const before = string.c_str();
  string.Assign(string.c_str());
  string.Assign(string.c_str(), 2);
  string = string.c_str();
  EXPECT_EQ(string.c_str(), before);
  EXPECT_EQ(string.c_str(), this->text("abcdef"));
  EXPECT_EQ(string.Length(), 6u);
}

TYPED_TEST(StringT, IsLeftAloneWhenAssignedToItself) {
  zv::StringT<TypeParam> string(this->text("abcdef").c_str());
  const TypeParam* const before = string.c_str();
  const zv::StringT<TypeParam>& itself = string;
  string = itself;
  EXPECT_EQ(string.c_str(), before);
  EXPECT_EQ(string.c_str(), this->text("abcdef"));

  zv::StringT<TypeParam> null;
  const zv::StringT<TypeParam>& also_itself = null;
  null = also_itself;
  EXPECT_EQ(null.buffer(), nullptr);
}

TYPED_TEST(StringT, GetsABlockOfOneGrowStepByANullText) {
  zv::StringT<TypeParam> string;
  string = this->null();
  EXPECT_NE(string.buffer(), nullptr);
  EXPECT_EQ(string.Capacity(), 64u);
  EXPECT_EQ(string.Length(), 0u);
  EXPECT_EQ(string.c_str(), this->text(""));

  zv::StringT<TypeParam> assigned;
  assigned.Assign(this->null());
  EXPECT_EQ(assigned.Capacity(), 64u);
}

TYPED_TEST(StringT, GetsItsOwnGrowStepByANullText) {
  ForeignString<TypeParam> foreign(this->manager, this->text(""), {.capacity = 0, .grow_step = 10});
  foreign.string = this->null();
  EXPECT_EQ(foreign.string.Capacity(), 10u);
  EXPECT_EQ(foreign.string.c_str(), this->text(""));
}

TYPED_TEST(StringT, KeepsItsBlockWhenEmptiedByANullText) {
  zv::StringT<TypeParam> string(this->repeated(100).c_str());
  const TypeParam* const block = string.c_str();
  const std::uint64_t capacity = string.Capacity();
  string = this->null();
  EXPECT_EQ(string.c_str(), block);
  EXPECT_EQ(string.Capacity(), capacity);
  EXPECT_EQ(string.Length(), 0u);
  EXPECT_EQ(string.c_str(), this->text(""));
}

TYPED_TEST(StringT, IsCopiedDeeplyOntoTheManagerOfThisModule) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  zv::StringT<TypeParam> copy(foreign.string);
  foreign.string.AppendChar(TypeParam{'d'});

  EXPECT_EQ(copy.c_str(), this->text("abc"));
  EXPECT_EQ(Block<TypeParam>(copy).record()->memory_manager, &zv::StringMemMgr::instance());
}

TYPED_TEST(StringT, KeepsItsOwnRecordWhenAnotherIsAssigned) {
  ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
  const zv::StringRecord* const record = foreign.block().record();
  const zv::StringT<TypeParam> other(this->repeated(300).c_str());

  foreign.string = other;

  EXPECT_EQ(foreign.string.c_str(), this->repeated(300));
  EXPECT_NE(foreign.string.c_str(), other.c_str());
  EXPECT_EQ(foreign.block().record(), record);
  EXPECT_EQ(record->memory_manager, &this->manager);
}

TYPED_TEST(StringT, IsEmptyAfterANullStringWasAssigned) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  const zv::StringT<TypeParam> null;
  string = null;
  EXPECT_EQ(string.Length(), 0u);
  EXPECT_EQ(string.c_str(), this->text(""));
  EXPECT_NE(string.buffer(), nullptr);

  const zv::StringT<TypeParam> copy(null);
  EXPECT_EQ(copy.Length(), 0u);
}

TYPED_TEST(StringT, CountsWhatOthersWroteIntoItsBlock) {
  zv::StringT<TypeParam> string;
  ASSERT_TRUE(string.Reserve(10));
  std::fill_n(string.buffer(), 10, TypeParam{'y'});
  EXPECT_EQ(string.Length(), 0u);
  string.RefreshLength();
  EXPECT_EQ(string.Length(), 10u);
  string.buffer()[4] = TypeParam{};
  string.RefreshLength();
  EXPECT_EQ(string.Length(), 4u);
}

TYPED_TEST(StringT, FreesItsBlockThenItsRecordThenReleasesItsManager) {
  const void* block = nullptr;
  const void* record = nullptr;
  {
    ForeignString<TypeParam> foreign(this->manager, this->text("abc"));
    block = foreign.block().start();
    record = foreign.block().record();
  }
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::free, block, 0},
                                                          {MemoryCall::free, record, 0},
                                                          {MemoryCall::release, nullptr, 0}}));
  EXPECT_EQ(this->manager.held(), 0u);
}

TYPED_TEST(StringT, FreesOnlyWhatCameFromItsManager) {
  const void* record = nullptr;
  {
    ForeignString<TypeParam> foreign(this->manager, this->text("abc"), {.block_on_heap = false});
    record = foreign.block().record();
  }
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::free, record, 0},
                                                          {MemoryCall::release, nullptr, 0}}));
  this->manager.calls.clear();

  const void* block = nullptr;
  {
    ForeignString<TypeParam> foreign(this->manager, this->text("abc"), {.record_on_heap = false});
    block = foreign.block().start();
  }
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::free, block, 0},
                                                          {MemoryCall::release, nullptr, 0}}));
  this->manager.calls.clear();

  {
    ForeignString<TypeParam> foreign(this->manager, this->text("abc"),
                                     {.block_on_heap = false, .record_on_heap = false});
  }
  EXPECT_EQ(this->manager.calls, (std::vector<MemoryCall>{{MemoryCall::release, nullptr, 0}}));
}

TEST(StringMemMgr, AllocatesReallocatesAndFrees) {
  zv::IMemMgr& manager = zv::StringMemMgr::instance();
  auto* block = static_cast<char*>(manager.Allocate(4));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "abc", 4);
  block = static_cast<char*>(manager.Reallocate(block, 4000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "abc");
  manager.Free(block);
  block = static_cast<char*>(manager.Reallocate(nullptr, 10));
  ASSERT_NE(block, nullptr);
  manager.Free(block);
  manager.Free(nullptr);
}

TEST(StringMemMgr, IsOneForAllStringsAndSurvivesItsRelease) {
  zv::StringMemMgr& manager = zv::StringMemMgr::instance();
  manager.Release();
  EXPECT_EQ(&manager, &zv::StringMemMgr::instance());

  zv::StringT<char> narrow("a");
  zv::StringT<wchar_t> wide(L"b");
  EXPECT_EQ(Block<char>(narrow).record()->memory_manager, &manager);
  EXPECT_EQ(Block<wchar_t>(wide).record()->memory_manager, &manager);
}

}  // namespace
