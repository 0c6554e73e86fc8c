#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"
#include "_base/slots.h"
#include "frame/load_events_client.h"
#include "support/EventsRecorder.h"
#include "support/TemporaryFolder.h"

namespace {

using Text = ECEventBase::Text;
using Strings = std::map<std::wstring, std::wstring>;
using Integers = std::map<std::wstring, std::int64_t>;
using Texts = std::vector<std::wstring>;

ECChildEvent child_with(const wchar_t* value) {
  ECChildEvent child;
  child.SetString(L"value", value);
  return child;
}

std::wstring value_of(const support::PostedValues& child) {
  return child.strings.at(L"value");
}

Texts values_of(const std::vector<support::PostedValues>& children) {
  Texts values;
  for (const support::PostedValues& child : children) values.push_back(value_of(child));
  return values;
}

/// Events are looked at as the client sees them: from another library, through the slots.
class ECEventTest : public testing::Test {
 protected:
  support::PostedEvent read(ECEvent& read_one) {
    std::uint32_t status = 0;
    const auto client = load_events_client(recorder.path().wstring().c_str(), status);
    recorder.clear();
    if (client) client->post(&read_one, true, 0);
    const auto posted = recorder.posted();
    EXPECT_EQ(recorder.steps(), Texts{L"post"});
    return posted.empty() ? support::PostedEvent{} : posted.front();
  }

  const support::TemporaryFolder folder;
  support::EventsRecorder recorder{folder.path()};
  ECEvent event;
};

TEST_F(ECEventTest, IsEmptyAtFirst) {
  const auto seen = read(event);
  EXPECT_EQ(seen.name, L"");
  EXPECT_EQ(seen.version, L"");
  EXPECT_EQ(seen.type, 19u);
  EXPECT_TRUE(seen.strings.empty());
  EXPECT_TRUE(seen.integers.empty());
  EXPECT_TRUE(seen.string_lists.empty());
  EXPECT_TRUE(seen.children.empty());
  EXPECT_TRUE(seen.child_lists.empty());
}

TEST_F(ECEventTest, GivesAnEmptyNameAndVersionInsteadOfNull) {
  EXPECT_STREQ(event.GetName(), L"");
  EXPECT_STREQ(event.GetVersion(), L"");
}

TEST_F(ECEventTest, KeepsNameVersionAndType) {
  event.SetName(L"m_name");
  event.SetVersion(L"1.0");
  event.SetType(0xfffffffe);
  EXPECT_STREQ(event.GetName(), L"m_name");
  EXPECT_STREQ(event.GetVersion(), L"1.0");
  EXPECT_EQ(event.GetType(), 0xfffffffeu);
  const auto seen = read(event);
  EXPECT_EQ(seen.name, L"m_name");
  EXPECT_EQ(seen.version, L"1.0");
  EXPECT_EQ(seen.type, 0xfffffffeu);
}

TEST_F(ECEventTest, TakesTheLastNameVersionAndType) {
  event.SetName(L"first");
  event.SetName(L"second");
  event.SetVersion(L"1");
  event.SetVersion(L"2");
  event.SetType(1);
  event.SetType(2);
  const auto seen = read(event);
  EXPECT_EQ(seen.name, L"second");
  EXPECT_EQ(seen.version, L"2");
  EXPECT_EQ(seen.type, 2u);
}

TEST_F(ECEventTest, TakesANullNameOrVersionForAnEmptyOne) {
  event.SetName(L"name");
  event.SetName(nullptr);
  event.SetVersion(L"version");
  event.SetVersion(nullptr);
  EXPECT_STREQ(event.GetName(), L"");
  EXPECT_STREQ(event.GetVersion(), L"");
}

TEST_F(ECEventTest, HoldsTextsAndIntegers) {
  event.SetString(L"a", L"one");
  event.SetString(L"b", L"");
  event.SetInteger(L"least", INT64_MIN);
  event.SetInteger(L"most", INT64_MAX);
  const auto seen = read(event);
  EXPECT_EQ(seen.strings, (Strings{{L"a", L"one"}, {L"b", L""}}));
  EXPECT_EQ(seen.integers, (Integers{{L"least", INT64_MIN}, {L"most", INT64_MAX}}));
  EXPECT_EQ(event.CountStrings(), 2u);
  EXPECT_EQ(event.CountIntegers(), 2u);
}

TEST_F(ECEventTest, HoldsAnyNumberOfValues) {
  Strings strings;
  Integers integers;
  for (int number = 0; number < 1000; ++number) {
    const std::wstring name = L"name " + std::to_wstring(number);
    event.SetString(name.c_str(), (L"value of " + name).c_str());
    event.SetInteger(name.c_str(), number);
    strings[name] = L"value of " + name;
    integers[name] = number;
  }
  const auto seen = read(event);
  EXPECT_EQ(seen.strings, strings);
  EXPECT_EQ(seen.integers, integers);
}

TEST_F(ECEventTest, KeepsTheFirstValueOfAName) {
  zv::List<Text> first;
  first.PushBack(L"first");
  zv::List<Text> second;
  second.PushBack(L"second");
  const ECChildEvent first_child = child_with(L"first");
  const ECChildEvent second_child = child_with(L"second");

  event.SetString(L"key", L"first");
  event.SetString(L"key", L"second");
  event.SetInteger(L"key", 1);
  event.SetInteger(L"key", 2);
  event.SetStringList(L"key", &first);
  event.SetStringList(L"key", &second);
  event.SetChild(L"key", &first_child);
  event.SetChild(L"key", &second_child);

  const auto seen = read(event);
  EXPECT_EQ(seen.strings, (Strings{{L"key", L"first"}}));
  EXPECT_EQ(seen.integers, (Integers{{L"key", 1}}));
  EXPECT_EQ(seen.string_lists.at(L"key"), Texts{L"first"});
  EXPECT_EQ(values_of(seen.children.at(L"key")), Texts{L"first"});
}

TEST_F(ECEventTest, TakesNullNamesAndTextsForEmptyOnes) {
  const zv::List<Text> list;
  const ECChildEvent child = child_with(nullptr);
  event.SetString(nullptr, nullptr);
  event.SetInteger(nullptr, 1);
  event.SetStringList(nullptr, &list);
  event.SetChild(nullptr, &child);
  event.AddChild(nullptr, &child);
  event.SetString(L"", L"is taken");
  event.AddChild(L"", &child);

  const auto seen = read(event);
  EXPECT_EQ(seen.strings, (Strings{{L"", L""}}));
  EXPECT_EQ(seen.integers, (Integers{{L"", 1}}));
  EXPECT_EQ(seen.string_lists.at(L""), Texts{});
  EXPECT_EQ(values_of(seen.children.at(L"")), Texts{L""});
  EXPECT_EQ(values_of(seen.child_lists.at(L"")), (Texts{L"", L""}));
}

TEST_F(ECEventTest, IsNotChangedByANullListOrChild) {
  event.SetStringList(L"key", nullptr);
  event.SetChild(L"key", nullptr);
  event.AddChild(L"key", nullptr);
  const auto seen = read(event);
  EXPECT_TRUE(seen.string_lists.empty());
  EXPECT_TRUE(seen.children.empty());
  EXPECT_TRUE(seen.child_lists.empty());
}

TEST_F(ECEventTest, HoldsADeepCopyOfAListOfTexts) {
  {
    zv::List<Text> list;
    list.PushBack(L"a");
    list.PushBack(L"b");
    list.PushBack(Text());
    list.PushBack(L"a");
    event.SetStringList(L"list", &list);
    *list.Front() = L"changed";
    list.PushBack(L"more");
  }
  EXPECT_EQ(event.CountStringLists(), 1u);
  EXPECT_EQ(read(event).string_lists.at(L"list"), (Texts{L"a", L"b", L"", L"a"}));
}

TEST_F(ECEventTest, HoldsADeepCopyOfAChild) {
  {
    ECChildEvent inner = child_with(L"inner");
    ECChildEvent child = child_with(L"outer");
    child.SetInteger(L"number", 7);
    child.SetChild(L"inner", &inner);
    child.AddChild(L"list", &inner);
    event.SetChild(L"child", &child);
    child.SetString(L"later", L"unseen");
    child.AddChild(L"list", &inner);
  }
  const auto children = read(event).children;
  ASSERT_EQ(children.count(L"child"), 1u);
  const auto& child = children.at(L"child").front();
  EXPECT_EQ(child.strings, (Strings{{L"value", L"outer"}}));
  EXPECT_EQ(child.integers, (Integers{{L"number", 7}}));
  EXPECT_EQ(values_of(child.children.at(L"inner")), Texts{L"inner"});
  EXPECT_EQ(values_of(child.child_lists.at(L"list")), Texts{L"inner"});
}

TEST_F(ECEventTest, AppendsDeepCopiesOfChildrenInOrder) {
  {
    ECChildEvent child = child_with(L"first");
    event.AddChild(L"errors", &child);
    child.SetString(L"later", L"unseen");
    const ECChildEvent second = child_with(L"second");
    event.AddChild(L"errors", &second);
    event.AddChild(L"others", &second);
    event.AddChild(L"errors", &second);
  }
  const auto seen = read(event);
  EXPECT_EQ(values_of(seen.child_lists.at(L"errors")), (Texts{L"first", L"second", L"second"}));
  EXPECT_EQ(seen.child_lists.at(L"errors").front().strings.size(), 1u);
  EXPECT_EQ(values_of(seen.child_lists.at(L"others")), Texts{L"second"});
  EXPECT_TRUE(seen.children.empty());
}

TEST_F(ECEventTest, TakesItsOwnChildrenAndLists) {
  ECChildEvent child = child_with(L"value");
  child.AddChild(L"list", &child);
  child.SetChild(L"child", &child);
  event.SetChild(L"child", &child);
  const auto children = read(event).children;
  const auto& seen = children.at(L"child").front();
  EXPECT_TRUE(seen.child_lists.at(L"list").front().child_lists.empty());
  EXPECT_EQ(values_of(seen.children.at(L"child").front().child_lists.at(L"list")), Texts{L"value"});
}

/// An event with something in each place.
ECEvent full_event() {
  ECEvent event;
  event.SetName(L"name");
  event.SetVersion(L"version");
  event.SetString(L"string", L"text");
  event.SetInteger(L"integer", 5);
  zv::List<Text> list;
  list.PushBack(L"a");
  list.PushBack(L"b");
  event.SetStringList(L"list", &list);
  ECChildEvent child = child_with(L"child");
  child.SetStringList(L"list", &list);
  event.SetChild(L"child", &child);
  event.AddChild(L"children", &child);
  const ECChildEvent second = child_with(L"second");
  event.AddChild(L"children", &second);
  event.SetType(31);
  return event;
}

void expect_full(const support::PostedEvent& seen) {
  EXPECT_EQ(seen.name, L"name");
  EXPECT_EQ(seen.version, L"version");
  EXPECT_EQ(seen.type, 31u);
  EXPECT_EQ(seen.strings, (Strings{{L"string", L"text"}}));
  EXPECT_EQ(seen.integers, (Integers{{L"integer", 5}}));
  EXPECT_EQ(seen.string_lists.at(L"list"), (Texts{L"a", L"b"}));
  EXPECT_EQ(values_of(seen.children.at(L"child")), Texts{L"child"});
  EXPECT_EQ(seen.children.at(L"child").front().string_lists.at(L"list"), (Texts{L"a", L"b"}));
  EXPECT_EQ(values_of(seen.child_lists.at(L"children")), (Texts{L"child", L"second"}));
}

TEST_F(ECEventTest, IsCopiedWhole) {
  auto original = std::make_unique<ECEvent>(full_event());
  ECEvent copy = *original;
  copy.SetString(L"more", L"text");
  copy.AddChild(L"children", nullptr);
  expect_full(read(*original));
  original.reset();
  EXPECT_EQ(read(copy).strings.size(), 2u);
  EXPECT_EQ(values_of(read(copy).child_lists.at(L"children")), (Texts{L"child", L"second"}));
}

TEST_F(ECEventTest, IsReplacedWholeByAnAssignment) {
  event = full_event();
  expect_full(read(event));
  ECEvent other;
  other.SetString(L"other", L"text");
  const ECChildEvent child = child_with(L"other");
  other.SetChild(L"other", &child);
  other.AddChild(L"other", &child);
  other = event;
  event = ECEvent();
  expect_full(read(other));
  EXPECT_TRUE(read(event).strings.empty());
}

TEST_F(ECEventTest, SurvivesAnAssignmentToItself) {
  event = full_event();
  const ECEvent& same = event;
  event = same;
  expect_full(read(event));
}

TEST_F(ECEventTest, GivesItselfBackFromItsDestructorSlot) {
  auto* const created = new ECEvent(full_event());
  EXPECT_EQ(created->scalar_deleting_destructor(msvc_abi::free_memory), created);
  auto* const child = new ECChildEvent();
  EXPECT_EQ(child->scalar_deleting_destructor(msvc_abi::free_memory), child);

  alignas(ECEvent) unsigned char memory[sizeof(ECEvent)];
  auto* const in_place = new (memory) ECEvent(full_event());
  EXPECT_EQ(in_place->scalar_deleting_destructor(0), static_cast<void*>(memory));
}

TEST(ECEvent, HasItsOperationsInTheClientsOrder) {
  using slots::slot;
  EXPECT_EQ(slot(&ECEvent::scalar_deleting_destructor), 0u);
  EXPECT_EQ(slot(&ECEvent::SetString), 1u);
  EXPECT_EQ(slot(&ECEvent::SetInteger), 2u);
  EXPECT_EQ(slot(&ECEvent::SetStringList), 3u);
  EXPECT_EQ(slot(&ECEvent::SetChild), 4u);
  EXPECT_EQ(slot(&ECEvent::AddChild), 5u);
  EXPECT_EQ(slot(&ECEvent::GetStrings), 6u);
  EXPECT_EQ(slot(&ECEvent::GetIntegers), 7u);
  EXPECT_EQ(slot(&ECEvent::GetStringLists), 8u);
  EXPECT_EQ(slot(&ECEvent::GetChildren), 9u);
  EXPECT_EQ(slot(&ECEvent::GetChildLists), 10u);
  EXPECT_EQ(slot(&ECEvent::CountStrings), 11u);
  EXPECT_EQ(slot(&ECEvent::CountIntegers), 12u);
  EXPECT_EQ(slot(&ECEvent::CountStringLists), 13u);
  EXPECT_EQ(slot(&ECEvent::SetName), 14u);
  EXPECT_EQ(slot(&ECEvent::GetName), 15u);
  EXPECT_EQ(slot(&ECEvent::SetVersion), 16u);
  EXPECT_EQ(slot(&ECEvent::GetVersion), 17u);
  EXPECT_EQ(slot(&ECEvent::SetType), 18u);
  EXPECT_EQ(slot(&ECEvent::GetType), 19u);
}

TEST(ECChildEvent, HasTheOperationsOfAnEventWithoutItsOwnOnes) {
  EXPECT_EQ(slots::slot(&ECChildEvent::scalar_deleting_destructor), 0u);
  EXPECT_EQ(slots::slot(&ECChildEvent::CountStringLists), 13u);
  EXPECT_EQ(sizeof(ECChildEvent), sizeof(ECEventBase));
}

}  // namespace
