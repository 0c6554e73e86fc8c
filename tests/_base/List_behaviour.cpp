#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "_base/List.h"
#include "_base/StringT.h"
#include "_base/slots.h"

namespace {

using Text = zv::StringT<wchar_t>;
using Texts = zv::List<Text>;

std::vector<std::wstring> content(const zv::IList<Text>& list) {
  std::vector<std::wstring> found;
  zv::IConstListEnum<Text>* const each = list.GetConstEnum();
  while (each->HasNext()) found.emplace_back(each->Next()->c_str());
  zv::ReleaseEnum(each);
  return found;
}

using Content = std::vector<std::wstring>;

TEST(List, PushesAtBothEnds) {
  Texts list;
  EXPECT_EQ(list.PushBack(L"b"), 0u);
  EXPECT_EQ(list.PushBack(L"c"), 0u);
  EXPECT_EQ(list.PushFront(L"a"), 0u);
  EXPECT_EQ(list.Count(), 3u);
  EXPECT_EQ(content(list), (Content{L"a", L"b", L"c"}));
}

TEST(List, ShowsItsEnds) {
  Texts list;
  list.PushBack(L"a");
  list.PushBack(L"b");
  EXPECT_STREQ(list.Front()->c_str(), L"a");
  EXPECT_STREQ(std::as_const(list).Front()->c_str(), L"a");
  EXPECT_STREQ(list.Back()->c_str(), L"b");
  EXPECT_STREQ(std::as_const(list).Back()->c_str(), L"b");
  list.Back()->AppendChar(L'!');
  EXPECT_EQ(content(list), (Content{L"a", L"b!"}));
}

TEST(List, HasNoEndsWhileEmpty) {
  Texts list;
  EXPECT_EQ(list.Front(), nullptr);
  EXPECT_EQ(std::as_const(list).Front(), nullptr);
  EXPECT_EQ(list.Back(), nullptr);
  EXPECT_EQ(std::as_const(list).Back(), nullptr);
  EXPECT_EQ(list.Count(), 0u);
}

TEST(List, GivesNothingWhileEmpty) {
  Texts list;
  Text value(L"untouched");
  EXPECT_EQ(list.GetFront(value), 1168u);
  EXPECT_EQ(list.GetBack(value), 1168u);
  EXPECT_STREQ(value.c_str(), L"untouched");
}

TEST(List, GivesCopiesOfItsEnds) {
  Texts list;
  list.PushBack(L"a");
  list.PushBack(L"b");
  Text value;
  EXPECT_EQ(list.GetFront(value), 0u);
  EXPECT_STREQ(value.c_str(), L"a");
  value.AppendChar(L'!');
  EXPECT_EQ(list.GetBack(value), 0u);
  EXPECT_STREQ(value.c_str(), L"b");
  value.AppendChar(L'!');
  EXPECT_EQ(content(list), (Content{L"a", L"b"}));
}

TEST(List, HoldsDeepCopies) {
  Texts list;
  Text value(L"a");
  list.PushBack(value);
  list.PushFront(value);
  value.AppendChar(L'!');
  EXPECT_EQ(content(list), (Content{L"a", L"a"}));
}

TEST(List, DoesNotOwnWhatItsPointersPointAt) {
  int object = 5;
  {
    zv::List<int*> list;
    list.PushBack(&object);
    EXPECT_EQ(*list.Back(), &object);
    list.Clear();
    list.PushBack(&object);
  }
  EXPECT_EQ(object, 5);
}

TEST(List, IsEmptyAfterClear) {
  Texts list;
  list.PushBack(L"a");
  list.PushBack(L"b");
  list.Clear();
  EXPECT_EQ(list.Count(), 0u);
  EXPECT_EQ(list.Front(), nullptr);
  EXPECT_TRUE(content(list).empty());
  EXPECT_EQ(list.PushBack(L"c"), 0u);
  EXPECT_EQ(content(list), (Content{L"c"}));
}

TEST(ListEnum, StandsOnNothingInAnEmptyList) {
  Texts list;
  zv::IListEnum<Text>* const each = list.GetEnum();
  EXPECT_FALSE(each->HasNext());
  zv::ReleaseEnum(each);
}

TEST(ListEnum, ReadsWithoutSteppingAndReturnsWhatItLeaves) {
  Texts list;
  list.PushBack(L"a");
  list.PushBack(L"b");

  zv::IListEnum<Text>* const each = list.GetEnum();
  EXPECT_EQ(each->Value(), list.Front());
  EXPECT_EQ(each->Value(), list.Front());
  EXPECT_EQ(each->Next(), list.Front());
  EXPECT_EQ(each->Value(), list.Back());
  EXPECT_TRUE(each->HasNext());
  EXPECT_EQ(each->Next(), list.Back());
  EXPECT_FALSE(each->HasNext());
  each->Reset();
  EXPECT_TRUE(each->HasNext());
  EXPECT_EQ(each->Value(), list.Front());
  zv::ReleaseEnum(each);

  zv::IConstListEnum<Text>* const reading = list.GetConstEnum();
  EXPECT_EQ(reading->Value(), list.Front());
  EXPECT_EQ(reading->Next(), list.Front());
  EXPECT_EQ(reading->Value(), list.Back());
  reading->Reset();
  EXPECT_EQ(reading->Value(), list.Front());
  zv::ReleaseEnum(reading);
}

TEST(ListEnum, MovesOnWhenItsElementIsErased) {
  Texts list;
  for (const wchar_t* text : {L"a", L"b", L"c", L"d"}) list.PushBack(text);
  zv::IListEnum<Text>* const each = list.GetEnum();
  each->Next();

  list.Erase(each);
  ASSERT_TRUE(each->HasNext());
  EXPECT_STREQ(each->Value()->c_str(), L"c");
  EXPECT_EQ(content(list), (Content{L"a", L"c", L"d"}));

  each->Next();
  list.Erase(each);
  EXPECT_FALSE(each->HasNext());
  EXPECT_EQ(content(list), (Content{L"a", L"c"}));

  each->Reset();
  list.Erase(each);
  EXPECT_STREQ(each->Value()->c_str(), L"c");
  list.Erase(each);
  EXPECT_FALSE(each->HasNext());
  EXPECT_EQ(list.Count(), 0u);
  zv::ReleaseEnum(each);
}

TEST(ListEnum, MayBeReleasedAsNull) {
  zv::ReleaseEnum<zv::IListEnum<Text>>(nullptr);
  zv::ReleaseEnum<zv::IConstListEnum<Text>>(nullptr);
}

TEST(ListEnum, IsEndedByItsDestructorToo) {
  Texts list;
  msvc_abi::destroy(list.GetEnum());
  msvc_abi::destroy(list.GetConstEnum());
}

TEST(IList, HasItsOperationsInOrder) {
  using List = zv::IList<Text>;
  using slots::slot;
  EXPECT_EQ(slot(&List::PushBack), 0u);
  EXPECT_EQ(slot(&List::PushFront), 1u);
  EXPECT_EQ(slot(static_cast<Text* (List::*)()>(&List::Back)), 2u);
  EXPECT_EQ(slot(static_cast<const Text* (List::*)() const>(&List::Back)), 3u);
  EXPECT_EQ(slot(&List::GetBack), 4u);
  EXPECT_EQ(slot(static_cast<Text* (List::*)()>(&List::Front)), 5u);
  EXPECT_EQ(slot(static_cast<const Text* (List::*)() const>(&List::Front)), 6u);
  EXPECT_EQ(slot(&List::GetFront), 7u);
  EXPECT_EQ(slot(&List::Erase), 8u);
  EXPECT_EQ(slot(&List::GetConstEnum), 9u);
  EXPECT_EQ(slot(&List::GetEnum), 10u);
  EXPECT_EQ(slot(&List::Clear), 11u);
  EXPECT_EQ(slot(&List::Count), 12u);
}

template <class Enum>
void expect_enumerator_order() {
  using slots::slot;
  EXPECT_EQ(slot(&Enum::HasNext), 0u);
  EXPECT_EQ(slot(&Enum::Next), 1u);
  EXPECT_EQ(slot(&Enum::Value), 2u);
  EXPECT_EQ(slot(&Enum::Release), 3u);
  EXPECT_EQ(slot(&Enum::Reset), 4u);
  EXPECT_EQ(slot(&Enum::scalar_deleting_destructor), 5u);
}

TEST(IListEnum, HasItsOperationsInOrder) {
  expect_enumerator_order<zv::IListEnum<Text>>();
}
TEST(IConstListEnum, HasItsOperationsInOrder) {
  expect_enumerator_order<zv::IConstListEnum<Text>>();
}

}  // namespace
