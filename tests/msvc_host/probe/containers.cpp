// Containers of the module for a host of another compiler: real ones, and ones that tell which
// operation a slot led to.

#include "_base/List.h"
#include "_base/Map.h"
#include "_base/StringT.h"
#include "told.h"

namespace {

using text = zv::StringT<wchar_t>;
using text_map = zv::IMap<text, text>;
using text_list = zv::IList<text>;

text told_key(L"told key");
text told_value(L"told value");

class told_enum final : public zv::IEnum<text, text> {
 public:
  bool HasNext() override { return told("IEnum::HasNext", true); }
  text* Next() override { return told("IEnum::Next", &told_value); }
  text* Value() override { return told("IEnum::Value", &told_value); }
  const text* Key() override { return told("IEnum::Key", &told_key); }
  void Release() override { told("IEnum::Release"); }
  void Reset() override { told("IEnum::Reset"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return told_destructor("IEnum", flags, this);
  }
};

class told_const_enum final : public zv::IConstEnum<text, text> {
 public:
  bool HasNext() override { return told("IConstEnum::HasNext", true); }
  const text* Next() override { return told("IConstEnum::Next", &told_value); }
  const text* Key() override { return told("IConstEnum::Key", &told_key); }
  const text* Value() override { return told("IConstEnum::Value", &told_value); }
  void Release() override { told("IConstEnum::Release"); }
  void Reset() override { told("IConstEnum::Reset"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return told_destructor("IConstEnum", flags, this);
  }
};

class told_list_enum final : public zv::IListEnum<text> {
 public:
  bool HasNext() override { return told("IListEnum::HasNext", true); }
  text* Next() override { return told("IListEnum::Next", &told_value); }
  text* Value() override { return told("IListEnum::Value", &told_value); }
  void Release() override { told("IListEnum::Release"); }
  void Reset() override { told("IListEnum::Reset"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return told_destructor("IListEnum", flags, this);
  }
};

class told_const_list_enum final : public zv::IConstListEnum<text> {
 public:
  bool HasNext() override { return told("IConstListEnum::HasNext", true); }
  const text* Next() override { return told("IConstListEnum::Next", &told_value); }
  const text* Value() override { return told("IConstListEnum::Value", &told_value); }
  void Release() override { told("IConstListEnum::Release"); }
  void Reset() override { told("IConstListEnum::Reset"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return told_destructor("IConstListEnum", flags, this);
  }
};

told_enum enumerator;
told_const_enum const_enumerator;
told_list_enum list_enumerator;
told_const_list_enum const_list_enumerator;

class told_map final : public text_map {
 public:
  std::uint32_t Insert(const text&, const text&) override { return told("Insert", 101u); }
  text* Find(const text&) override { return told("Find", &told_value); }
  const text* Find(const text&) const override { return told("Find const", &told_value); }
  std::uint32_t Get(const text&, text&) const override { return told("Get", 102u); }
  void Erase(zv::IEnum<text, text>* at) override {
    told(at == &enumerator ? "Erase" : "Erase of another");
  }
  std::uint32_t Remove(const text&) override { return told("Remove", 103u); }
  zv::IConstEnum<text, text>* GetConstEnum() const override {
    return told("GetConstEnum", &const_enumerator);
  }
  zv::IEnum<text, text>* GetEnum() override { return told("GetEnum", &enumerator); }
  void Clear() override { told("Clear"); }
  std::uint64_t Count() const override { return told("Count", std::uint64_t{0x1'0000'0001}); }
};

class told_list final : public text_list {
 public:
  std::uint32_t PushBack(const text&) override { return told("PushBack", 101u); }
  std::uint32_t PushFront(const text&) override { return told("PushFront", 102u); }
  text* Back() override { return told("Back", &told_value); }
  const text* Back() const override { return told("Back const", &told_value); }
  std::uint32_t GetBack(text&) const override { return told("GetBack", 103u); }
  text* Front() override { return told("Front", &told_value); }
  const text* Front() const override { return told("Front const", &told_value); }
  std::uint32_t GetFront(text&) const override { return told("GetFront", 104u); }
  void Erase(zv::IListEnum<text>* at) override {
    told(at == &list_enumerator ? "Erase" : "Erase of another");
  }
  zv::IConstListEnum<text>* GetConstEnum() const override {
    return told("GetConstEnum", &const_list_enumerator);
  }
  zv::IListEnum<text>* GetEnum() override { return told("GetEnum", &list_enumerator); }
  void Clear() override { told("Clear"); }
  std::uint64_t Count() const override { return told("Count", std::uint64_t{0x1'0000'0001}); }
};

}  // namespace

ABI_EXPORT text_map* probe_make_map() {
  return new zv::Map<text, text>;
}
ABI_EXPORT void probe_delete_map(text_map* map) {
  delete static_cast<zv::Map<text, text>*>(map);
}

ABI_EXPORT zv::IMap<text, std::int64_t>* probe_make_number_map() {
  return new zv::Map<text, std::int64_t>;
}
ABI_EXPORT void probe_delete_number_map(zv::IMap<text, std::int64_t>* map) {
  delete static_cast<zv::Map<text, std::int64_t>*>(map);
}

ABI_EXPORT text_list* probe_make_list() {
  return new zv::List<text>;
}
ABI_EXPORT void probe_delete_list(text_list* list) {
  delete static_cast<zv::List<text>*>(list);
}

ABI_EXPORT text_map* probe_told_map() {
  static told_map map;
  return &map;
}
ABI_EXPORT text_list* probe_told_list() {
  static told_list list;
  return &list;
}
