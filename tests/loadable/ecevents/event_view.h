#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/IList.h"

/// Events as a client sees them that was built elsewhere: tables known by their slots alone,
/// none of the module's classes.
namespace view {

/// A string on an interface; null is an empty one.
struct Text {
  const wchar_t* text;
};

class ChildEvent;

class EventBase {
 public:
  virtual void* destructor(std::uint32_t flags) = 0;
  virtual void SetString(const wchar_t* name, const wchar_t* value) = 0;
  virtual void SetInteger(const wchar_t* name, std::int64_t value) = 0;
  virtual void SetStringList(const wchar_t* name, const zv::IList<Text>* list) = 0;
  virtual void SetChild(const wchar_t* name, const ChildEvent* child) = 0;
  virtual void AddChild(const wchar_t* name, const ChildEvent* child) = 0;
  virtual zv::IConstEnum<Text, Text>* GetStrings() const = 0;
  virtual zv::IConstEnum<Text, std::int64_t>* GetIntegers() const = 0;
  virtual zv::IConstEnum<Text, zv::IList<Text>*>* GetStringLists() const = 0;
  virtual zv::IConstEnum<Text, ChildEvent*>* GetChildren() const = 0;
  virtual zv::IConstEnum<Text, zv::IList<ChildEvent*>*>* GetChildLists() const = 0;
  virtual std::uint64_t CountStrings() const = 0;
  virtual std::uint64_t CountIntegers() const = 0;
  virtual std::uint64_t CountStringLists() const = 0;

 protected:
  ~EventBase() = default;
};

class ChildEvent : public EventBase {
 protected:
  ~ChildEvent() = default;
};

class Event : public EventBase {
 public:
  virtual void SetName(const wchar_t* name) = 0;
  virtual const wchar_t* GetName() const = 0;
  virtual void SetVersion(const wchar_t* version) = 0;
  virtual const wchar_t* GetVersion() const = 0;
  virtual void SetType(std::uint32_t type) = 0;
  virtual std::uint32_t GetType() const = 0;

 protected:
  ~Event() = default;
};

}  // namespace view
