// What an event keeps for the client that reads it.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "_base/List.h"
#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"
#include "_base/slots.h"

namespace {

using Text = ECEventBase::Text;

/// What an enumerator shows, with each value as `read` gives it.
template <class Enumerator, class Read>
auto all(Enumerator* enumerator, Read read) {
  struct Release {
    void operator()(Enumerator* each) const { each->Release(); }
  };
  const std::unique_ptr<Enumerator, Release> each(enumerator);
  std::map<std::wstring, decltype(read(*each->Value()))> found;
  for (; each->HasNext(); each->Next()) found.emplace(each->Key()->c_str(), read(*each->Value()));
  return found;
}

template <class Value, class Read>
auto elements(const zv::IList<Value>& list, Read read) {
  std::vector<decltype(read(*list.Front()))> found;
  auto* const each = list.GetConstEnum();
  while (each->HasNext()) found.push_back(read(*each->Next()));
  each->Release();
  return found;
}

std::wstring text_of(const Text& text) {
  return text.c_str();
}
std::map<std::wstring, std::wstring> strings(const ECEventBase& event) {
  return all(event.GetStrings(), text_of);
}
std::map<std::wstring, std::int64_t> integers(const ECEventBase& event) {
  return all(event.GetIntegers(), [](std::int64_t number) { return number; });
}
std::map<std::wstring, std::vector<std::wstring>> string_lists(const ECEventBase& event) {
  return all(event.GetStringLists(),
             [](const zv::IList<Text>* list) { return elements(*list, text_of); });
}
/// A child by the text it has under "is".
std::wstring name_of(const ECChildEvent* child) {
  return strings(*child)[L"is"];
}
std::map<std::wstring, std::wstring> children(const ECEventBase& event) {
  return all(event.GetChildren(), name_of);
}
std::map<std::wstring, std::vector<std::wstring>> child_lists(const ECEventBase& event) {
  return all(event.GetChildLists(),
             [](const zv::IList<ECChildEvent*>* list) { return elements(*list, name_of); });
}

using Strings = std::map<std::wstring, std::wstring>;
using Integers = std::map<std::wstring, std::int64_t>;
using Lists = std::map<std::wstring, std::vector<std::wstring>>;

ECChildEvent child(const wchar_t* is) {
  ECChildEvent made;
  made.SetString(L"is", is);
  return made;
}

TEST(ECEventTable, HasTheOperationsWhereTheClientLooksForThem) {
  EXPECT_EQ(slots::slot(&ECEventBase::scalar_deleting_destructor), 0u);
  EXPECT_EQ(slots::slot(&ECEventBase::SetString), 1u);
  EXPECT_EQ(slots::slot(&ECEventBase::SetInteger), 2u);
  EXPECT_EQ(slots::slot(&ECEventBase::SetStringList), 3u);
  EXPECT_EQ(slots::slot(&ECEventBase::SetChild), 4u);
  EXPECT_EQ(slots::slot(&ECEventBase::AddChild), 5u);
  EXPECT_EQ(slots::slot(&ECEventBase::GetStrings), 6u);
  EXPECT_EQ(slots::slot(&ECEventBase::GetIntegers), 7u);
  EXPECT_EQ(slots::slot(&ECEventBase::GetStringLists), 8u);
  EXPECT_EQ(slots::slot(&ECEventBase::GetChildren), 9u);
  EXPECT_EQ(slots::slot(&ECEventBase::GetChildLists), 10u);
  EXPECT_EQ(slots::slot(&ECEventBase::CountStrings), 11u);
  EXPECT_EQ(slots::slot(&ECEventBase::CountIntegers), 12u);
  EXPECT_EQ(slots::slot(&ECEventBase::CountStringLists), 13u);
  EXPECT_EQ(slots::slot(&ECEvent::SetName), 14u);
  EXPECT_EQ(slots::slot(&ECEvent::GetName), 15u);
  EXPECT_EQ(slots::slot(&ECEvent::SetVersion), 16u);
  EXPECT_EQ(slots::slot(&ECEvent::GetVersion), 17u);
  EXPECT_EQ(slots::slot(&ECEvent::SetType), 18u);
  EXPECT_EQ(slots::slot(&ECEvent::GetType), 19u);
}

TEST(ECEventTable, AddsNoFieldToAChild) {
  EXPECT_EQ(sizeof(ECChildEvent), sizeof(ECEventBase));
  EXPECT_EQ(sizeof(ECEvent), sizeof(ECEventBase) + 2 * sizeof(void*) + 8);
}

TEST(ECEvent, IsEmptyAtFirst) {
  const ECEvent event;
  ASSERT_NE(event.GetName(), nullptr);
  ASSERT_NE(event.GetVersion(), nullptr);
  EXPECT_STREQ(event.GetName(), L"");
  EXPECT_STREQ(event.GetVersion(), L"");
  EXPECT_EQ(event.GetType(), 19u);
  EXPECT_EQ(event.CountStrings(), 0u);
  EXPECT_EQ(event.CountIntegers(), 0u);
  EXPECT_EQ(event.CountStringLists(), 0u);
  EXPECT_EQ(children(event), Strings{});
  EXPECT_EQ(child_lists(event), Lists{});
}

TEST(ECEvent, KeepsNameVersionAndTypeAsSetLast) {
  ECEvent event;
  event.SetName(L"first");
  event.SetVersion(L"1.0");
  event.SetType(31);
  event.SetName(L"a");
  event.SetVersion(L"2");
  event.SetType(0xfffffffe);
  EXPECT_STREQ(event.GetName(), L"a");
  EXPECT_STREQ(event.GetVersion(), L"2");
  EXPECT_EQ(event.GetType(), 0xfffffffeu);
}

TEST(ECEvent, TakesANullNameOrVersionForAnEmptyOne) {
  ECEvent event;
  event.SetName(nullptr);
  event.SetVersion(nullptr);
  EXPECT_STREQ(event.GetName(), L"");
  EXPECT_STREQ(event.GetVersion(), L"");
}

TEST(ECEvent, KeepsTheOldValueOfANameThatIsThere) {
  ECEvent event;
  event.SetString(L"a", L"old");
  event.SetString(L"a", L"new");
  event.SetInteger(L"a", 1);
  event.SetInteger(L"a", 2);
  EXPECT_EQ(strings(event), (Strings{{L"a", L"old"}}));
  EXPECT_EQ(integers(event), (Integers{{L"a", 1}}));
}

TEST(ECEvent, KeepsTheOldListAndTheOldChildOfANameThatIsThere) {
  ECEvent event;
  zv::List<Text> old_list;
  old_list.PushBack(L"old");
  zv::List<Text> new_list;
  new_list.PushBack(L"new");
  event.SetStringList(L"a", &old_list);
  event.SetStringList(L"a", &new_list);
  const ECChildEvent old_child = child(L"old");
  const ECChildEvent new_child = child(L"new");
  event.SetChild(L"a", &old_child);
  event.SetChild(L"a", &new_child);
  EXPECT_EQ(string_lists(event), (Lists{{L"a", {L"old"}}}));
  EXPECT_EQ(children(event), (Strings{{L"a", L"old"}}));
}

TEST(ECEvent, TakesANullNameOrTextForAnEmptyOne) {
  ECEvent event;
  event.SetString(nullptr, L"value");
  event.SetString(L"name", nullptr);
  event.SetInteger(nullptr, 7);
  const ECChildEvent one = child(L"one");
  event.SetChild(nullptr, &one);
  event.AddChild(nullptr, &one);
  zv::List<Text> list;
  event.SetStringList(nullptr, &list);
  EXPECT_EQ(strings(event), (Strings{{L"", L"value"}, {L"name", L""}}));
  EXPECT_EQ(integers(event), (Integers{{L"", 7}}));
  EXPECT_EQ(children(event), (Strings{{L"", L"one"}}));
  EXPECT_EQ(child_lists(event), (Lists{{L"", {L"one"}}}));
  EXPECT_EQ(string_lists(event), (Lists{{L"", {}}}));
}

TEST(ECEvent, HasANullAndAnEmptyNameForTheSame) {
  ECEvent event;
  event.SetString(nullptr, L"first");
  event.SetString(L"", L"second");
  EXPECT_EQ(strings(event), (Strings{{L"", L"first"}}));
}

TEST(ECEvent, AppendsChildrenOfOneNameInOrder) {
  ECEvent event;
  const ECChildEvent one = child(L"one");
  const ECChildEvent two = child(L"two");
  event.AddChild(L"errors", &one);
  event.AddChild(L"errors", &two);
  event.AddChild(L"others", &two);
  EXPECT_EQ(child_lists(event), (Lists{{L"errors", {L"one", L"two"}}, {L"others", {L"two"}}}));
  EXPECT_EQ(children(event), Strings{});
}

TEST(ECEvent, CopiesWhatItIsGiven) {
  ECEvent event;
  {
    zv::List<Text> list;
    list.PushBack(L"a");
    ECChildEvent one = child(L"one");
    event.SetStringList(L"list", &list);
    event.SetChild(L"child", &one);
    event.AddChild(L"children", &one);
    list.PushBack(L"b");
    one.SetString(L"later", L"x");
  }
  EXPECT_EQ(string_lists(event), (Lists{{L"list", {L"a"}}}));
  EXPECT_EQ(all(event.GetChildren(), [](const ECChildEvent* each) { return strings(*each); }),
            (std::map<std::wstring, Strings>{{L"child", {{L"is", L"one"}}}}));
  EXPECT_EQ(child_lists(event), (Lists{{L"children", {L"one"}}}));
}

TEST(ECEvent, CopiesChildrenOfChildren) {
  ECEvent event;
  {
    ECChildEvent inner = child(L"inner");
    ECChildEvent outer = child(L"outer");
    outer.SetChild(L"in", &inner);
    outer.AddChild(L"ins", &inner);
    event.SetChild(L"out", &outer);
  }
  EXPECT_EQ(all(event.GetChildren(), [](const ECChildEvent* each) { return children(*each); }),
            (std::map<std::wstring, Strings>{{L"out", {{L"in", L"inner"}}}}));
  EXPECT_EQ(all(event.GetChildren(), [](const ECChildEvent* each) { return child_lists(*each); }),
            (std::map<std::wstring, Lists>{{L"out", {{L"ins", {L"inner"}}}}}));
}

TEST(ECEvent, SharesNothingWithItsCopy) {
  auto event = std::make_unique<ECEvent>();
  event->SetName(L"name");
  event->SetVersion(L"1.0");
  event->SetType(31);
  event->SetString(L"s", L"text");
  event->SetInteger(L"i", -1);
  zv::List<Text> list;
  list.PushBack(L"a");
  event->SetStringList(L"l", &list);
  const ECChildEvent one = child(L"one");
  event->SetChild(L"c", &one);
  event->AddChild(L"cs", &one);

  ECEvent copy(*event);
  ECEvent assigned;
  assigned.SetString(L"gone", L"x");
  assigned = *event;
  event->AddChild(L"cs", &one);
  event->SetName(L"other");
  event.reset();

  for (const ECEvent* each : {&copy, &assigned}) {
    EXPECT_STREQ(each->GetName(), L"name");
    EXPECT_STREQ(each->GetVersion(), L"1.0");
    EXPECT_EQ(each->GetType(), 31u);
    EXPECT_EQ(strings(*each), (Strings{{L"s", L"text"}}));
    EXPECT_EQ(integers(*each), (Integers{{L"i", -1}}));
    EXPECT_EQ(string_lists(*each), (Lists{{L"l", {L"a"}}}));
    EXPECT_EQ(children(*each), (Strings{{L"c", L"one"}}));
    EXPECT_EQ(child_lists(*each), (Lists{{L"cs", {L"one"}}}));
  }
}

TEST(ECEvent, StaysAsItIsWhenAssignedToItself) {
  ECEvent event;
  event.SetName(L"name");
  const ECChildEvent one = child(L"one");
  event.AddChild(L"cs", &one);
  const ECEvent& same = event;
  event = same;
  EXPECT_STREQ(event.GetName(), L"name");
  EXPECT_EQ(child_lists(event), (Lists{{L"cs", {L"one"}}}));
}

TEST(ECEvent, CountsTextsNumbersAndLists) {
  ECEvent event;
  event.SetString(L"a", L"");
  event.SetString(L"b", L"");
  event.SetString(L"b", L"again");
  event.SetInteger(L"a", 0);
  zv::List<Text> list;
  event.SetStringList(L"a", &list);
  event.SetStringList(L"b", &list);
  event.SetStringList(L"c", &list);
  EXPECT_EQ(event.CountStrings(), 2u);
  EXPECT_EQ(event.CountIntegers(), 1u);
  EXPECT_EQ(event.CountStringLists(), 3u);
}

TEST(ECEvent, KeepsNumbersOfAllSizes) {
  ECEvent event;
  event.SetInteger(L"least", INT64_MIN);
  event.SetInteger(L"greatest", INT64_MAX);
  EXPECT_EQ(integers(event), (Integers{{L"least", INT64_MIN}, {L"greatest", INT64_MAX}}));
}

TEST(ECEvent, EndsThroughItsTable) {
  auto* const event = new ECEvent;
  const ECChildEvent one = child(L"one");
  event->AddChild(L"cs", &one);
  ECEventBase* const base = event;
  EXPECT_EQ(base->scalar_deleting_destructor(1), event);
}

}  // namespace
