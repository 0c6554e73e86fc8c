#pragma once

#include <cstdint>

namespace zv {

// An enumerator stands on an element of a container, or behind the last one: then HasNext is false.
// Key and Value point into the container, and so does Next, which gives the element it stood on and
// goes one further. Any change of the container ends its use, but for an Erase through itself.

/// Over a map. Note the order of Value and Key.
template <class K, class V>
class IEnum {
 public:
  virtual bool HasNext() = 0;
  virtual V* Next() = 0;
  virtual V* Value() = 0;
  virtual const K* Key() = 0;
  virtual void Release() = 0;  ///< destroys the enumerator
  virtual void Reset() = 0;    ///< back to the first element
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IEnum() = default;
};

/// Over a map, reading only. It really has Key before Value, the other way round than IEnum.
template <class K, class V>
class IConstEnum {
 public:
  virtual bool HasNext() = 0;
  virtual const V* Next() = 0;
  virtual const K* Key() = 0;
  virtual const V* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IConstEnum() = default;
};

/// Over a list.
template <class T>
class IListEnum {
 public:
  virtual bool HasNext() = 0;
  virtual T* Next() = 0;
  virtual T* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IListEnum() = default;
};

/// Over a list, reading only.
template <class T>
class IConstListEnum {
 public:
  virtual bool HasNext() = 0;
  virtual const T* Next() = 0;
  virtual const T* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IConstListEnum() = default;
};

/// Gives an enumerator back; null is fine.
template <class Enumerator>
void ReleaseEnum(Enumerator* enumerator) {
  if (enumerator != nullptr) enumerator->Release();
}

}  // namespace zv
