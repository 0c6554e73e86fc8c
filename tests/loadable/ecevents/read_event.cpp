#include "loadable/ecevents/read_event.h"

#include <memory>
#include <stdexcept>

namespace {

std::wstring text_of(const view::Text& text) {
  return text.text != nullptr ? text.text : L"";
}

template <class Enumerator, class Visit>
std::uint64_t for_each(Enumerator* enumerator, Visit visit) {
  struct Release {
    void operator()(Enumerator* each) const { each->Release(); }
  };
  const std::unique_ptr<Enumerator, Release> each(enumerator);
  std::uint64_t count = 0;
  for (; each->HasNext(); ++count) visit(*each);
  return count;
}

/// The names of a map beside what `read` makes of its values.
template <class Value, class Result, class Read>
std::uint64_t read_map(zv::IConstEnum<view::Text, Value>* enumerator,
                       std::map<std::wstring, Result>& into, Read read) {
  return for_each(enumerator, [&](auto& each) {
    // A null name would break the closed client's own map.
    if (each.Key()->text == nullptr) throw std::logic_error("a name without a block");
    const std::wstring name = each.Key()->text;
    if (!into.emplace(name, read(*each.Next())).second) throw std::logic_error("a name twice");
  });
}

template <class Value, class Read>
auto read_list(const zv::IList<Value>& list, Read read) {
  std::vector<decltype(read(*list.Front()))> elements;
  const std::uint64_t count =
      for_each(list.GetConstEnum(), [&](auto& each) { elements.push_back(read(*each.Next())); });
  if (count != list.Count()) throw std::logic_error("a list's count is wrong");
  return elements;
}

void read_values(const view::EventBase& event, support::PostedValues& values) {
  const auto read_child = [](const view::ChildEvent* child) {
    support::PostedValues child_values;
    read_values(*child, child_values);
    return child_values;
  };
  const std::uint64_t strings = read_map(event.GetStrings(), values.strings, text_of);
  const std::uint64_t integers =
      read_map(event.GetIntegers(), values.integers, [](std::int64_t number) { return number; });
  const std::uint64_t string_lists =
      read_map(event.GetStringLists(), values.string_lists,
               [](const zv::IList<view::Text>* list) { return read_list(*list, text_of); });
  read_map(event.GetChildren(), values.children, [&](const view::ChildEvent* child) {
    return std::vector<support::PostedValues>{read_child(child)};
  });
  read_map(event.GetChildLists(), values.child_lists,
           [&](const zv::IList<view::ChildEvent*>* list) { return read_list(*list, read_child); });
  if (strings != event.CountStrings() || integers != event.CountIntegers() ||
      string_lists != event.CountStringLists()) {
    throw std::logic_error("an event's count is wrong");
  }
}

}  // namespace

support::PostedEvent read_event(const view::Event& event) {
  support::PostedEvent posted;
  read_values(event, posted);
  posted.name = event.GetName();
  posted.version = event.GetVersion();
  posted.type = event.GetType();
  return posted;
}
