#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/abi.h"

namespace zv {

/// A map on the module's edge. It copies keys and values, of a pointer just the pointer: what that
/// points to stays the caller's. A null string is no key: another module's map would read through
/// the null. Not synchronised.
template <class K, class V>
class IMap {
 public:
  /// 0, or 183 and no change for a key that is known already.
  virtual std::uint32_t Insert(const K& key, const V& value) = 0;
  // clang-format off
  ABI_OVERLOADS_2(
      virtual V* Find(const K& key) = 0;,
      virtual const V* Find(const K& key) const = 0;)
  // clang-format on
  /// 0 with a copy, or 1168.
  virtual std::uint32_t Get(const K& key, V& value) const = 0;
  /// Removes what the enumerator stands on; it then stands on the entry behind.
  virtual void Erase(IEnum<K, V>* enumerator) = 0;
  /// 0, or 1168.
  virtual std::uint32_t Remove(const K& key) = 0;
  /// A new enumerator on the first entry; the caller gives it back by its Release.
  virtual IConstEnum<K, V>* GetConstEnum() const = 0;
  virtual IEnum<K, V>* GetEnum() = 0;
  virtual void Clear() = 0;
  virtual std::uint64_t Count() const = 0;

 protected:
  ~IMap() = default;
};

}  // namespace zv
