#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/IList.h"
#include "_base/StringT.h"

namespace devkit {

/// An event as a client built apart from the module knows it: by the order of its operations alone.
/// Nothing of the module's own classes is linked in here.
class PostedValues {
 public:
  using Text = zv::StringT<wchar_t>;
  using TextList = zv::IList<Text>;
  using ChildList = zv::IList<PostedValues*>;

  virtual void not_called_0() = 0;
  virtual void not_called_1() = 0;
  virtual void not_called_2() = 0;
  virtual void not_called_3() = 0;
  virtual void not_called_4() = 0;
  virtual void not_called_5() = 0;
  virtual zv::IConstEnum<Text, Text>* GetStrings() const = 0;
  virtual zv::IConstEnum<Text, std::int64_t>* GetIntegers() const = 0;
  virtual zv::IConstEnum<Text, TextList*>* GetStringLists() const = 0;
  virtual zv::IConstEnum<Text, PostedValues*>* GetChildren() const = 0;
  virtual zv::IConstEnum<Text, ChildList*>* GetChildLists() const = 0;
  virtual std::uint64_t CountStrings() const = 0;
  virtual std::uint64_t CountIntegers() const = 0;
  virtual std::uint64_t CountStringLists() const = 0;

 protected:
  ~PostedValues() = default;
};

class PostedEvent : public PostedValues {
 public:
  virtual void name_setter() = 0;
  virtual const wchar_t* GetName() const = 0;
  virtual void version_setter() = 0;
  virtual const wchar_t* GetVersion() const = 0;
  virtual void type_setter() = 0;
  virtual std::uint32_t GetType() const = 0;

 protected:
  ~PostedEvent() = default;
};

}  // namespace devkit
