#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/List.h"
#include "_base/Map.h"
#include "_base/StringT.h"
#include "_base/abi.h"

class ECChildEvent;

/// Named values for telemetry. The closed events client reads them through the virtual operations,
/// so their order is a contract. The event owns deep copies of all it was given; copying it copies
/// all of it. A name that is set a second time keeps its first value. Null names and texts count as
/// empty ones; a null list or child is nothing to copy and changes nothing.
///
/// Where memory for a list or a child runs out, std::bad_alloc is thrown and the event is as it was
/// before; for a text it ends the process, as it does in any string. Not synchronised.
class ECEventBase {
 public:
  using Text = zv::StringT<wchar_t>;
  using TextList = zv::IList<Text>;
  using ChildList = zv::IList<ECChildEvent*>;

  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

  virtual void SetString(const wchar_t* name, const wchar_t* value);
  virtual void SetInteger(const wchar_t* name, std::int64_t value);
  virtual void SetStringList(const wchar_t* name, const TextList* list);
  virtual void SetChild(const wchar_t* name, const ECChildEvent* child);
  /// Appends to the list of that name, which comes into being with its first child.
  virtual void AddChild(const wchar_t* name, const ECChildEvent* child);

  // New enumerators, which the caller releases before the event changes or ends.
  virtual zv::IConstEnum<Text, Text>* GetStrings() const;
  virtual zv::IConstEnum<Text, std::int64_t>* GetIntegers() const;
  virtual zv::IConstEnum<Text, TextList*>* GetStringLists() const;
  virtual zv::IConstEnum<Text, ECChildEvent*>* GetChildren() const;
  virtual zv::IConstEnum<Text, ChildList*>* GetChildLists() const;

  virtual std::uint64_t CountStrings() const;
  virtual std::uint64_t CountIntegers() const;
  virtual std::uint64_t CountStringLists() const;

 protected:
  ECEventBase() = default;
  ECEventBase(const ECEventBase& other);
  ECEventBase& operator=(const ECEventBase& other);
  ~ECEventBase();

 private:
  void copy_from(const ECEventBase& other);
  void swap(ECEventBase& other) noexcept;

  zv::Map<Text, Text> strings;
  zv::Map<Text, std::int64_t> integers;
  zv::Map<Text, TextList*> string_lists;
  zv::Map<Text, ECChildEvent*> children;
  zv::Map<Text, ChildList*> child_lists;
};
