#include "_base/events/ECEventBase.h"

#include <memory>
#include <utility>

#include "_base/events/ECChildEvent.h"

namespace {

using Text = ECEventBase::Text;
using TextList = ECEventBase::TextList;
using ChildList = ECEventBase::ChildList;

// What an event owns are lists of this module, whatever list it was given.
using OwnedTexts = zv::List<Text>;
using OwnedChildren = zv::List<ECChildEvent*>;

/// A text with a block even for null: a key without one is something other modules' maps choke on.
Text text_of(const wchar_t* text) {
  return Text(text != nullptr ? text : L"");
}

std::unique_ptr<OwnedTexts> copy_of(const TextList& list) {
  struct Release {
    void operator()(zv::IConstListEnum<Text>* each) const { each->Release(); }
  };
  auto copy = std::make_unique<OwnedTexts>();
  const std::unique_ptr<zv::IConstListEnum<Text>, Release> each(list.GetConstEnum());
  while (each->HasNext()) copy->PushBack(*each->Next());
  return copy;
}

const OwnedChildren& owned(const ChildList* list) {
  return *static_cast<const OwnedChildren*>(list);
}

/// A name that is taken leaves `value` to its owner here.
template <class Pointer, class Value>
void insert(zv::Map<Text, Pointer>& map, const Text& name, std::unique_ptr<Value> value) {
  if (map.Insert(name, value.get()) == win_error::success) {
    static_cast<void>(value.release());
  }
}

}  // namespace

// Delegated, so that the destructor sees to a copy that breaks off halfway.
ECEventBase::ECEventBase(const ECEventBase& other) : ECEventBase() {
  copy_from(other);
}

ECEventBase& ECEventBase::operator=(const ECEventBase& other) {
  // All or nothing: what may fail is done to an event that nobody sees.
  ECChildEvent copy;
  copy.copy_from(other);
  swap(copy);
  return *this;
}

// The maps are read without enumerators here: an end that needs memory might have to do without.
ECEventBase::~ECEventBase() {
  for (const auto& [name, list] : string_lists.entries()) delete static_cast<OwnedTexts*>(list);
  for (const auto& [name, child] : children.entries()) delete child;
  for (const auto& [name, list] : child_lists.entries()) {
    for (ECChildEvent* const child : owned(list).elements()) delete child;
    delete static_cast<OwnedChildren*>(list);
  }
}

void ECEventBase::SetString(const wchar_t* name, const wchar_t* value) {
  strings.Insert(text_of(name), text_of(value));
}

void ECEventBase::SetInteger(const wchar_t* name, std::int64_t value) {
  integers.Insert(text_of(name), value);
}

void ECEventBase::SetStringList(const wchar_t* name, const TextList* list) {
  if (list != nullptr) insert(string_lists, text_of(name), copy_of(*list));
}

void ECEventBase::SetChild(const wchar_t* name, const ECChildEvent* child) {
  if (child != nullptr) insert(children, text_of(name), std::make_unique<ECChildEvent>(*child));
}

void ECEventBase::AddChild(const wchar_t* name, const ECChildEvent* child) {
  if (child == nullptr) return;
  auto copy = std::make_unique<ECChildEvent>(*child);
  const Text key = text_of(name);
  if (ChildList** const list = child_lists.Find(key)) {
    (*list)->PushBack(copy.get());
  } else {
    // The map gets a list that has its child already: no list is ever left empty.
    auto first = std::make_unique<OwnedChildren>();
    first->PushBack(copy.get());
    insert(child_lists, key, std::move(first));
  }
  static_cast<void>(copy.release());
}

zv::IConstEnum<Text, Text>* ECEventBase::GetStrings() const {
  return strings.GetConstEnum();
}

zv::IConstEnum<Text, std::int64_t>* ECEventBase::GetIntegers() const {
  return integers.GetConstEnum();
}

zv::IConstEnum<Text, TextList*>* ECEventBase::GetStringLists() const {
  return string_lists.GetConstEnum();
}

zv::IConstEnum<Text, ECChildEvent*>* ECEventBase::GetChildren() const {
  return children.GetConstEnum();
}

zv::IConstEnum<Text, ChildList*>* ECEventBase::GetChildLists() const {
  return child_lists.GetConstEnum();
}

std::uint64_t ECEventBase::CountStrings() const {
  return strings.Count();
}

std::uint64_t ECEventBase::CountIntegers() const {
  return integers.Count();
}

std::uint64_t ECEventBase::CountStringLists() const {
  return string_lists.Count();
}

/// Into an event that is still empty.
void ECEventBase::copy_from(const ECEventBase& other) {
  strings = other.strings;
  integers = other.integers;
  for (const auto& [name, list] : other.string_lists.entries()) {
    insert(string_lists, name, copy_of(*list));
  }
  for (const auto& [name, child] : other.children.entries()) {
    insert(children, name, std::make_unique<ECChildEvent>(*child));
  }
  for (const auto& [name, list] : other.child_lists.entries()) {
    for (const ECChildEvent* const child : owned(list).elements()) {
      ECEventBase::AddChild(name.c_str(), child);
    }
  }
}

void ECEventBase::swap(ECEventBase& other) noexcept {
  std::swap(strings, other.strings);
  std::swap(integers, other.integers);
  std::swap(string_lists, other.string_lists);
  std::swap(children, other.children);
  std::swap(child_lists, other.child_lists);
}
