#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "_base/FailingAllocation.h"
#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"

namespace {

using Text = ECEventBase::Text;

template <class K, class V, class Visit>
void for_each(zv::IConstEnum<K, V>* each, Visit visit) {
  for (; each->HasNext(); each->Next()) visit(*each->Key(), *each->Value());
  each->Release();
}
template <class T, class Visit>
void for_each(zv::IConstListEnum<T>* each, Visit visit) {
  while (each->HasNext()) visit(*each->Next());
  each->Release();
}

/// Everything an event holds, as one text. The order within a map is no promise, but the same for
/// the same event.
std::wstring described(const ECEventBase& event) {
  std::wstring text = L"{";
  const auto name = [&](const Text& key) { text += std::wstring(key.c_str()) + L":"; };
  for_each(event.GetStrings(), [&](const Text& key, const Text& value) {
    name(key);
    text += value.c_str();
  });
  for_each(event.GetIntegers(), [&](const Text& key, std::int64_t value) {
    name(key);
    text += std::to_wstring(value);
  });
  for_each(event.GetStringLists(), [&](const Text& key, const ECEventBase::TextList* list) {
    name(key);
    for_each(list->GetConstEnum(),
             [&](const Text& value) { text += L"-" + std::wstring(value.c_str()); });
  });
  for_each(event.GetChildren(), [&](const Text& key, const ECChildEvent* child) {
    name(key);
    text += described(*child);
  });
  for_each(event.GetChildLists(), [&](const Text& key, const ECEventBase::ChildList* list) {
    name(key);
    for_each(list->GetConstEnum(), [&](const ECChildEvent* child) { text += described(*child); });
  });
  return text + L"}";
}

zv::List<Text> three_texts() {
  zv::List<Text> list;
  for (const wchar_t* const text : {L"a", L"b", L"c"}) list.PushBack(text);
  return list;
}

/// One value in each place, the child ones with values of their own.
template <class Event>
Event event_of_depth(int depth) {
  Event event;
  event.SetString(L"string", L"text");
  event.SetInteger(L"integer", depth);
  const auto list = three_texts();
  event.SetStringList(L"list", &list);
  if (depth == 0) return event;
  const auto child = event_of_depth<ECChildEvent>(depth - 1);
  event.SetChild(L"child", &child);
  event.AddChild(L"children", &child);
  event.AddChild(L"children", &child);
  return event;
}

/// Lets each allocation of `call` fail once: it has to throw, and the event to be as before.
/// Returns how many there were. Leaks show under the address sanitizer.
long fails_without_a_trace(const std::function<void(ECEvent&)>& call) {
  for (long index = 0;; ++index) {
    auto event = event_of_depth<ECEvent>(1);
    const std::wstring before = described(event);
    bool thrown = false;
    const bool met = failing_allocation::met_by(index, [&] {
      try {
        call(event);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    });
    EXPECT_EQ(met, thrown) << "allocation " << index;
    if (!met) return index;
    EXPECT_EQ(described(event), before) << "allocation " << index;
    // It still takes what it refused before.
    call(event);
    EXPECT_NE(described(event), before);
  }
}

TEST(ECEventWithoutMemory, TakesAWholeTextOrNone) {
  EXPECT_EQ(fails_without_a_trace([](ECEvent& event) { event.SetString(L"new", L"text"); }), 1);
  EXPECT_EQ(fails_without_a_trace([](ECEvent& event) { event.SetInteger(L"new", 1); }), 1);
}

TEST(ECEventWithoutMemory, TakesAWholeListOrNone) {
  const auto list = three_texts();
  EXPECT_EQ(fails_without_a_trace([&](ECEvent& event) { event.SetStringList(L"new", &list); }), 6)
      << "the list, its enumerator, its elements, its place";
}

TEST(ECEventWithoutMemory, TakesAWholeChildOrNone) {
  const auto child = event_of_depth<ECChildEvent>(2);
  EXPECT_GE(fails_without_a_trace([&](ECEvent& event) { event.SetChild(L"new", &child); }), 50);
}

TEST(ECEventWithoutMemory, AppendsAWholeChildOrNone) {
  const auto child = event_of_depth<ECChildEvent>(1);
  const long to_old = fails_without_a_trace([&](ECEvent& e) { e.AddChild(L"children", &child); });
  const long to_new = fails_without_a_trace([&](ECEvent& e) { e.AddChild(L"new", &child); });
  EXPECT_GE(to_old, 20);
  EXPECT_EQ(to_new, to_old + 2) << "for the list and its place";
}

TEST(ECEventWithoutMemory, IsAssignedWholeOrNotAtAll) {
  const auto other = event_of_depth<ECEvent>(2);
  EXPECT_GE(fails_without_a_trace([&](ECEvent& event) { event = other; }), 50);
}

TEST(ECEventWithoutMemory, IsCopiedWholeOrNotAtAll) {
  const auto original = event_of_depth<ECEvent>(2);
  const std::wstring before = described(original);
  long index = 0;
  for (;; ++index) {
    bool thrown = false;
    const bool met = failing_allocation::met_by(index, [&] {
      try {
        const ECEvent copy(original);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    });
    EXPECT_EQ(met, thrown) << "allocation " << index;
    EXPECT_EQ(described(original), before);
    if (!met) break;
  }
  EXPECT_GE(index, 50);
}

TEST(ECEventWithoutMemory, EndsWithoutAskingForAny) {
  auto event = std::make_unique<ECEvent>(event_of_depth<ECEvent>(2));
  EXPECT_FALSE(failing_allocation::met_by(0, [&] { event.reset(); }));
}

}  // namespace
