#pragma once

// Events as the events client sees them: the module's objects, known by their tables alone.

#include "product/containers.h"
#include "product/string.h"

class ECChildEvent;

class ECEventBase {
 public:
  using text = zv::StringT<wchar_t>;
  using text_list = zv::IList<text>;
  using child_list = zv::IList<ECChildEvent*>;

  virtual ~ECEventBase() = default;
  virtual void SetString(const wchar_t* name, const wchar_t* value) = 0;
  virtual void SetInteger(const wchar_t* name, int64_t value) = 0;
  virtual void SetStringList(const wchar_t* name, const text_list* list) = 0;
  virtual void SetChild(const wchar_t* name, const ECChildEvent* child) = 0;
  virtual void AddChild(const wchar_t* name, const ECChildEvent* child) = 0;
  virtual zv::IConstEnum<text, text>* GetStrings() const = 0;
  virtual zv::IConstEnum<text, int64_t>* GetIntegers() const = 0;
  virtual zv::IConstEnum<text, text_list*>* GetStringLists() const = 0;
  virtual zv::IConstEnum<text, ECChildEvent*>* GetChildren() const = 0;
  virtual zv::IConstEnum<text, child_list*>* GetChildLists() const = 0;
  virtual uint64_t CountStrings() const = 0;
  virtual uint64_t CountIntegers() const = 0;
  virtual uint64_t CountStringLists() const = 0;
};

class ECChildEvent : public ECEventBase {};

class ECEvent : public ECEventBase {
 public:
  virtual void SetName(const wchar_t* name) = 0;
  virtual const wchar_t* GetName() const = 0;
  virtual void SetVersion(const wchar_t* version) = 0;
  virtual const wchar_t* GetVersion() const = 0;
  virtual void SetType(uint32_t type) = 0;
  virtual uint32_t GetType() const = 0;
};

// The client has further operations, which the module leaves alone.
class IECEventsClient {
 public:
  virtual void unused_0() = 0;
  virtual void unused_1() = 0;
  virtual void unused_2() = 0;
  virtual void unused_3() = 0;
  virtual void unused_4() = 0;
  virtual void unused_5() = 0;
  virtual void unused_6() = 0;
  virtual uint32_t post(ECEvent* event, bool flag, uint64_t zero) = 0;
};
