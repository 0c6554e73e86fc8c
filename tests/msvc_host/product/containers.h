#pragma once

// The product's containers as a host sees them; overloads again from the last slot to the first.

#include <stdint.h>

namespace zv {

template <class K, class V>
class IEnum {
 public:
  virtual bool HasNext() const = 0;
  virtual V* Next() = 0;
  virtual V* Value() = 0;
  virtual const K* Key() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual ~IEnum() = default;
};

// Key and Value stand the other way round than in IEnum.
template <class K, class V>
class IConstEnum {
 public:
  virtual bool HasNext() const = 0;
  virtual const V* Next() = 0;
  virtual const K* Key() = 0;
  virtual const V* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual ~IConstEnum() = default;
};

template <class T>
class IListEnum {
 public:
  virtual bool HasNext() const = 0;
  virtual T* Next() = 0;
  virtual T* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual ~IListEnum() = default;
};

template <class T>
class IConstListEnum {
 public:
  virtual bool HasNext() const = 0;
  virtual const T* Next() = 0;
  virtual const T* Value() = 0;
  virtual void Release() = 0;
  virtual void Reset() = 0;
  virtual ~IConstListEnum() = default;
};

template <class K, class V>
class IMap {
 public:
  virtual uint32_t Insert(const K& key, const V& value) = 0;
  virtual const V* Find(const K& key) const = 0;
  virtual V* Find(const K& key) = 0;
  virtual uint32_t Get(const K& key, V& value) const = 0;
  virtual void Erase(IEnum<K, V>* position) = 0;
  virtual uint32_t Remove(const K& key) = 0;
  virtual IConstEnum<K, V>* GetConstEnum() const = 0;
  virtual IEnum<K, V>* GetEnum() = 0;
  virtual void Clear() = 0;
  virtual uint64_t Count() const = 0;
};

template <class T>
class IList {
 public:
  virtual uint32_t PushBack(const T& value) = 0;
  virtual uint32_t PushFront(const T& value) = 0;
  virtual const T* Back() const = 0;
  virtual T* Back() = 0;
  virtual uint32_t GetBack(T& value) const = 0;
  virtual const T* Front() const = 0;
  virtual T* Front() = 0;
  virtual uint32_t GetFront(T& value) const = 0;
  virtual void Erase(IListEnum<T>* position) = 0;
  virtual IConstListEnum<T>* GetConstEnum() const = 0;
  virtual IListEnum<T>* GetEnum() = 0;
  virtual void Clear() = 0;
  virtual uint64_t Count() const = 0;
};

}  // namespace zv
