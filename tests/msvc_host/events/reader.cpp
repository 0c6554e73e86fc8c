#include "events/records.h"
#include "product/events.h"

namespace events {
namespace {

using text = zv::StringT<wchar_t>;

struct number_text {
  explicit number_text(int64_t number) {
    wchar_t* at = end;
    *at = 0;
    auto rest = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
    do {
      *--at = static_cast<wchar_t>(L'0' + rest % 10);
      rest /= 10;
    } while (rest != 0);
    if (number < 0) *--at = L'-';
    first = at;
  }

  wchar_t digits[24];
  wchar_t* end = digits + 23;
  const wchar_t* first;
};

// The way to a value, longer by a step for what lies below it.
struct way {
  wchar_t name[64] = {};

  way to(const wchar_t* step) const {
    way result = *this;
    append_text(result.name, step);
    return result;
  }
  way at(uint64_t index) const {
    return to(L"[").to(number_text(static_cast<int64_t>(index)).first).to(L"]");
  }
};

void put(record& to, const way& name, const wchar_t* value) {
  constexpr uint32_t most = sizeof(to.fields) / sizeof(to.fields[0]);
  field& next = to.fields[to.used < most - 1 ? to.used++ : most - 1];
  copy_text(next.name, name.name);
  copy_text(next.value, value);
}

void put(record& to, const way& name, uint64_t value) {
  put(to, name, number_text(static_cast<int64_t>(value)).first);
}

template <class V, class Visit>
void each(zv::IConstEnum<text, V>* entries, Visit visit) {
  for (; entries->HasNext(); entries->Next()) visit(entries->Key()->text(), *entries->Value());
  entries->Release();
}

template <class T, class Visit>
void each(zv::IConstListEnum<T>* elements, Visit visit) {
  for (uint64_t i = 0; elements->HasNext(); ++i) visit(i, *elements->Next());
  elements->Release();
}

void read_values(const ECEventBase& event, const way& prefix, record& to) {
  put(to, prefix.to(L"strings"), event.CountStrings());
  put(to, prefix.to(L"integers"), event.CountIntegers());
  put(to, prefix.to(L"lists"), event.CountStringLists());
  each(event.GetStrings(), [&](const wchar_t* name, const text& value) {
    put(to, prefix.to(L"strings/").to(name), value.text());
  });
  each(event.GetIntegers(), [&](const wchar_t* name, int64_t value) {
    put(to, prefix.to(L"integers/").to(name), number_text(value).first);
  });
  each(event.GetStringLists(), [&](const wchar_t* name, ECEventBase::text_list* list) {
    each(list->GetConstEnum(), [&](uint64_t index, const text& value) {
      put(to, prefix.to(L"lists/").to(name).at(index), value.text());
    });
  });
  each(event.GetChildren(), [&](const wchar_t* name, ECChildEvent* child) {
    read_values(*child, prefix.to(L"children/").to(name).to(L"/"), to);
  });
  each(event.GetChildLists(), [&](const wchar_t* name, ECEventBase::child_list* list) {
    each(list->GetConstEnum(), [&](uint64_t index, ECChildEvent* child) {
      read_values(*child, prefix.to(L"child_lists/").to(name).at(index).to(L"/"), to);
    });
  });
}

}  // namespace

void read(const ECEvent& event, record& to) {
  to.used = 0;
  copy_text(to.name, event.GetName());
  copy_text(to.version, event.GetVersion());
  to.type = event.GetType();
  read_values(event, {}, to);
}

}  // namespace events
