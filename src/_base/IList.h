#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/abi.h"

namespace zv {

/// A list on the module's edge. It copies what it is given, of a pointer just the pointer: what
/// that points to stays the caller's. Not synchronised.
template <class T>
class IList {
 public:
  virtual std::uint32_t PushBack(const T& value) = 0;   ///< 0
  virtual std::uint32_t PushFront(const T& value) = 0;  ///< 0
  /// The last element, null on an empty list.
  // clang-format off
  ABI_OVERLOADS_2(
      virtual T* Back() = 0;,
      virtual const T* Back() const = 0;)
  // clang-format on
  virtual std::uint32_t GetBack(T& value) const = 0;  ///< 0 with a copy, or 1168
  /// The first element, null on an empty list.
  // clang-format off
  ABI_OVERLOADS_2(
      virtual T* Front() = 0;,
      virtual const T* Front() const = 0;)
  // clang-format on
  virtual std::uint32_t GetFront(T& value) const = 0;  ///< 0 with a copy, or 1168
  /// Removes what the enumerator stands on; it then stands on the element behind.
  virtual void Erase(IListEnum<T>* enumerator) = 0;
  virtual IConstListEnum<T>* GetConstEnum() const = 0;
  virtual IListEnum<T>* GetEnum() = 0;
  virtual void Clear() = 0;
  virtual std::uint64_t Count() const = 0;

 protected:
  ~IList() = default;
};

}  // namespace zv
