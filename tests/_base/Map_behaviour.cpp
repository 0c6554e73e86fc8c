#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "_base/List.h"
#include "_base/Map.h"
#include "_base/StringT.h"
#include "_base/slots.h"

namespace {

using Text = zv::StringT<wchar_t>;
using Texts = zv::Map<Text, Text>;
using Numbers = zv::Map<Text, std::int64_t>;

class ChildEvent;  // what a map of pointers points at doesn't matter to it

/// Everything in the map, as its enumerator tells it.
std::map<std::wstring, std::int64_t> content(const zv::IMap<Text, std::int64_t>& map) {
  std::map<std::wstring, std::int64_t> found;
  zv::IConstEnum<Text, std::int64_t>* const each = map.GetConstEnum();
  while (each->HasNext()) {
    const std::wstring key = each->Key()->c_str();
    EXPECT_TRUE(found.emplace(key, *each->Next()).second) << "an entry came twice";
  }
  zv::ReleaseEnum(each);
  return found;
}

TEST(Map, InsertsAndFinds) {
  Numbers map;
  EXPECT_EQ(map.Insert(L"one", 1), 0u);
  EXPECT_EQ(map.Insert(L"two", 2), 0u);

  ASSERT_NE(map.Find(L"one"), nullptr);
  EXPECT_EQ(*map.Find(L"one"), 1);
  EXPECT_EQ(*std::as_const(map).Find(L"two"), 2);
  EXPECT_EQ(map.Find(L"three"), nullptr);
  EXPECT_EQ(std::as_const(map).Find(L"three"), nullptr);
  EXPECT_EQ(map.Count(), 2u);
}

TEST(Map, RefusesAPresentKeyAndKeepsItsValue) {
  Numbers map;
  map.Insert(L"key", 1);
  EXPECT_EQ(map.Insert(L"key", 2), 183u);
  EXPECT_EQ(*map.Find(L"key"), 1);
  EXPECT_EQ(map.Count(), 1u);
}

TEST(Map, LetsAFoundValueBeChanged) {
  Numbers map;
  map.Insert(L"key", 1);
  *map.Find(L"key") = 7;
  EXPECT_EQ(*std::as_const(map).Find(L"key"), 7);
}

TEST(Map, GetsACopy) {
  Texts map;
  map.Insert(L"key", L"value");
  Text value;
  EXPECT_EQ(map.Get(L"key", value), 0u);
  EXPECT_STREQ(value.c_str(), L"value");
  value.AppendChar(L'!');
  EXPECT_STREQ(map.Find(L"key")->c_str(), L"value");
}

TEST(Map, LeavesTheValueAloneWhenThereIsNothingToGet) {
  Numbers map;
  std::int64_t value = 5;
  EXPECT_EQ(map.Get(L"key", value), 1168u);
  EXPECT_EQ(value, 5);
}

TEST(Map, HoldsDeepCopiesOfKeyAndValue) {
  Texts map;
  Text key(L"key");
  Text value(L"value");
  map.Insert(key, value);
  key.AppendChar(L'!');
  value.AppendChar(L'!');

  const Text* const held = map.Find(L"key");
  ASSERT_NE(held, nullptr);
  EXPECT_STREQ(held->c_str(), L"value");
  EXPECT_NE(held->c_str(), value.c_str());
}

TEST(Map, DoesNotOwnWhatItsPointersPointAt) {
  int object = 0;
  auto* const pointer = reinterpret_cast<ChildEvent*>(&object);
  zv::Map<Text, ChildEvent*> children;
  zv::Map<Text, zv::IList<Text>*> lists;
  zv::List<Text> list;
  list.PushBack(L"text");
  children.Insert(L"child", pointer);
  lists.Insert(L"list", &list);

  EXPECT_EQ(*children.Find(L"child"), pointer);
  EXPECT_EQ(*lists.Find(L"list"), &list);
  children.Clear();
  lists.Remove(L"list");
  EXPECT_EQ(list.Count(), 1u);
}

TEST(Map, Removes) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  EXPECT_EQ(map.Remove(L"one"), 0u);
  EXPECT_EQ(map.Find(L"one"), nullptr);
  EXPECT_EQ(map.Count(), 1u);
  EXPECT_EQ(map.Insert(L"one", 11), 0u);
}

TEST(Map, DoesNotFindAnAbsentKeyToRemove) {
  Numbers map;
  EXPECT_EQ(map.Remove(L"key"), 1168u);
  map.Insert(L"key", 1);
  EXPECT_EQ(map.Remove(L"other"), 1168u);
  EXPECT_EQ(map.Count(), 1u);
}

TEST(Map, TellsKeysThatDifferInCaseApart) {
  Numbers map;
  EXPECT_EQ(map.Insert(L"key", 1), 0u);
  EXPECT_EQ(map.Insert(L"Key", 2), 0u);
  EXPECT_EQ(*map.Find(L"key"), 1);
  EXPECT_EQ(*map.Find(L"Key"), 2);
  EXPECT_EQ(map.Find(L"KEY"), nullptr);
}

TEST(Map, TellsKeysOfOneHashApart) {
  // 'A' * 33 + 'b' == 'B' * 33 + 'A'
  Numbers map;
  EXPECT_EQ(map.Insert(L"Ab", 1), 0u);
  EXPECT_EQ(map.Insert(L"BA", 2), 0u);
  EXPECT_EQ(*map.Find(L"Ab"), 1);
  EXPECT_EQ(map.Remove(L"Ab"), 0u);
  EXPECT_EQ(*map.Find(L"BA"), 2);
}

TEST(Map, ComparesKeysAsTheirTextsStand) {
  Numbers map;
  EXPECT_EQ(map.Insert(L"", 1), 0u);
  EXPECT_EQ(map.Insert(L"prefix", 2), 0u);
  EXPECT_EQ(map.Insert(L"prefixed", 3), 0u);
  EXPECT_EQ(map.Insert(L"\u00e9\u4e2d", 4), 0u);
  EXPECT_EQ(*map.Find(L""), 1);
  EXPECT_EQ(*map.Find(L"prefix"), 2);
  EXPECT_EQ(*map.Find(L"\u00e9\u4e2d"), 4);
  EXPECT_EQ(map.Find(L"pre"), nullptr);
}

TEST(Map, HoldsManyEntries) {
  Numbers map;
  for (int i = 0; i != 2000; ++i) ASSERT_EQ(map.Insert(std::to_wstring(i).c_str(), i), 0u);
  EXPECT_EQ(map.Count(), 2000u);
  for (int i = 0; i != 2000; i += 2) ASSERT_EQ(map.Remove(std::to_wstring(i).c_str()), 0u);
  EXPECT_EQ(map.Count(), 1000u);
  for (int i = 0; i != 2000; ++i) {
    const std::int64_t* const found = map.Find(std::to_wstring(i).c_str());
    ASSERT_EQ(found != nullptr, i % 2 == 1);
    if (found == nullptr) continue;
    EXPECT_EQ(*found, i);
  }
}

TEST(Map, IsEmptyAfterClear) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  map.Clear();
  EXPECT_EQ(map.Count(), 0u);
  EXPECT_EQ(map.Find(L"one"), nullptr);
  EXPECT_TRUE(content(map).empty());
  EXPECT_EQ(map.Insert(L"one", 1), 0u);
}

TEST(MapEnum, StandsOnNothingInAnEmptyMap) {
  Numbers map;
  zv::IEnum<Text, std::int64_t>* const each = map.GetEnum();
  EXPECT_FALSE(each->HasNext());
  zv::ReleaseEnum(each);
  zv::IConstEnum<Text, std::int64_t>* const reading = map.GetConstEnum();
  EXPECT_FALSE(reading->HasNext());
  zv::ReleaseEnum(reading);
}

TEST(MapEnum, VisitsEachEntryOnce) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  map.Insert(L"three", 3);
  const std::map<std::wstring, std::int64_t> all{{L"one", 1}, {L"two", 2}, {L"three", 3}};
  EXPECT_EQ(content(map), all);

  std::map<std::wstring, std::int64_t> found;
  zv::IEnum<Text, std::int64_t>* const each = map.GetEnum();
  for (int i = 0; i != 3; ++i) {
    ASSERT_TRUE(each->HasNext());
    const std::wstring key = each->Key()->c_str();
    found[key] = *each->Next();
  }
  EXPECT_FALSE(each->HasNext());
  EXPECT_EQ(found, all);
  zv::ReleaseEnum(each);
}

TEST(MapEnum, ReadsWithoutSteppingAndReturnsWhatItLeaves) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  zv::IEnum<Text, std::int64_t>* const each = map.GetEnum();
  const Text* const first_key = each->Key();
  std::int64_t* const first = each->Value();
  EXPECT_EQ(each->Key(), first_key);
  EXPECT_EQ(each->Value(), first);
  EXPECT_EQ(first, map.Find(*first_key)) << "it points at what is stored";
  EXPECT_EQ(each->Next(), first);
  EXPECT_NE(each->Value(), first);
  zv::ReleaseEnum(each);

  zv::IConstEnum<Text, std::int64_t>* const reading = map.GetConstEnum();
  const std::int64_t* const also_first = reading->Value();
  EXPECT_EQ(also_first, map.Find(*reading->Key()));
  EXPECT_EQ(reading->Next(), also_first);
  EXPECT_NE(reading->Value(), also_first);
  zv::ReleaseEnum(reading);
}

TEST(MapEnum, ReturnsToTheFirstEntry) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  zv::IEnum<Text, std::int64_t>* const each = map.GetEnum();
  const std::int64_t* const first = each->Value();
  each->Next();
  each->Reset();
  EXPECT_EQ(each->Value(), first);
  each->Next();
  each->Next();
  EXPECT_FALSE(each->HasNext());
  each->Reset();
  EXPECT_TRUE(each->HasNext());
  EXPECT_EQ(each->Value(), first);
  zv::ReleaseEnum(each);

  zv::IConstEnum<Text, std::int64_t>* const reading = map.GetConstEnum();
  reading->Next();
  reading->Next();
  reading->Reset();
  EXPECT_EQ(reading->Value(), first);
  zv::ReleaseEnum(reading);
}

TEST(MapEnum, MovesOnWhenItsEntryIsErased) {
  Numbers map;
  map.Insert(L"one", 1);
  map.Insert(L"two", 2);
  map.Insert(L"three", 3);
  zv::IEnum<Text, std::int64_t>* const each = map.GetEnum();
  each->Next();
  const std::wstring second = each->Key()->c_str();
  each->Next();
  const std::wstring third = each->Key()->c_str();
  each->Reset();
  each->Next();

  map.Erase(each);

  EXPECT_EQ(map.Count(), 2u);
  EXPECT_EQ(map.Find(second.c_str()), nullptr);
  ASSERT_TRUE(each->HasNext());
  EXPECT_EQ(each->Key()->c_str(), third);
  map.Erase(each);
  EXPECT_FALSE(each->HasNext());
  EXPECT_EQ(map.Count(), 1u);
  each->Reset();
  map.Erase(each);
  EXPECT_FALSE(each->HasNext());
  EXPECT_EQ(map.Count(), 0u);
  zv::ReleaseEnum(each);
}

TEST(MapEnum, MayBeReleasedAsNull) {
  zv::ReleaseEnum<zv::IEnum<Text, std::int64_t>>(nullptr);
  zv::ReleaseEnum<zv::IConstEnum<Text, std::int64_t>>(nullptr);
}

TEST(MapEnum, IsEndedByItsDestructorToo) {
  Numbers map;
  msvc_abi::destroy(map.GetEnum());
  msvc_abi::destroy(map.GetConstEnum());
}

TEST(IMap, HasItsOperationsInOrder) {
  using Map = zv::IMap<Text, std::int64_t>;
  using slots::slot;
  EXPECT_EQ(slot(&Map::Insert), 0u);
  EXPECT_EQ(slot(static_cast<std::int64_t* (Map::*)(const Text&)>(&Map::Find)), 1u);
  EXPECT_EQ(slot(static_cast<const std::int64_t* (Map::*)(const Text&) const>(&Map::Find)), 2u);
  EXPECT_EQ(slot(&Map::Get), 3u);
  EXPECT_EQ(slot(&Map::Erase), 4u);
  EXPECT_EQ(slot(&Map::Remove), 5u);
  EXPECT_EQ(slot(&Map::GetConstEnum), 6u);
  EXPECT_EQ(slot(&Map::GetEnum), 7u);
  EXPECT_EQ(slot(&Map::Clear), 8u);
  EXPECT_EQ(slot(&Map::Count), 9u);
}

TEST(IEnum, HasItsOperationsInOrder) {
  using Enum = zv::IEnum<Text, std::int64_t>;
  using slots::slot;
  EXPECT_EQ(slot(&Enum::HasNext), 0u);
  EXPECT_EQ(slot(&Enum::Next), 1u);
  EXPECT_EQ(slot(&Enum::Value), 2u);
  EXPECT_EQ(slot(&Enum::Key), 3u);
  EXPECT_EQ(slot(&Enum::Release), 4u);
  EXPECT_EQ(slot(&Enum::Reset), 5u);
  EXPECT_EQ(slot(&Enum::scalar_deleting_destructor), 6u);
}

TEST(IConstEnum, HasKeyBeforeValue) {
  using Enum = zv::IConstEnum<Text, std::int64_t>;
  using slots::slot;
  EXPECT_EQ(slot(&Enum::HasNext), 0u);
  EXPECT_EQ(slot(&Enum::Next), 1u);
  EXPECT_EQ(slot(&Enum::Key), 2u);
  EXPECT_EQ(slot(&Enum::Value), 3u);
  EXPECT_EQ(slot(&Enum::Release), 4u);
  EXPECT_EQ(slot(&Enum::Reset), 5u);
  EXPECT_EQ(slot(&Enum::scalar_deleting_destructor), 6u);
}

TEST(IMemMgr, HasItsOperationsInOrder) {
  using slots::slot;
  EXPECT_EQ(slot(&zv::IMemMgr::Allocate), 0u);
  EXPECT_EQ(slot(&zv::IMemMgr::Reallocate), 1u);
  EXPECT_EQ(slot(&zv::IMemMgr::Free), 2u);
  EXPECT_EQ(slot(&zv::IMemMgr::Release), 3u);
}

}  // namespace
