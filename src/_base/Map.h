#pragma once

#include <cstdint>

#include "_base/ConstEnum.h"
#include "_base/Enum.h"
#include "_base/IList.h"
#include "_base/IMap.h"
#include "_base/MapEntries.h"
#include "_base/win_error.h"

namespace zv {

/// A hash map behind IMap. The order of enumeration is not a promise.
template <class K, class V>
class Map final : public IMap<K, V> {
 public:
  std::uint32_t Insert(const K& key, const V& value) override {
    const bool is_new = entries_.try_emplace(key, value).second;
    return is_new ? win_error::success : win_error::already_exists;
  }

  V* Find(const K& key) override {
    const auto entry = entries_.find(key);
    return entry != entries_.end() ? &entry->second : nullptr;
  }
  const V* Find(const K& key) const override {
    const auto entry = entries_.find(key);
    return entry != entries_.end() ? &entry->second : nullptr;
  }

  std::uint32_t Get(const K& key, V& value) const override {
    const V* const found = Find(key);
    if (found == nullptr) return win_error::not_found;
    value = *found;
    return win_error::success;
  }

  /// `enumerator` has to come from this map's GetEnum; null, or one past the last entry, changes
  /// nothing.
  void Erase(IEnum<K, V>* enumerator) override {
    if (enumerator != nullptr) static_cast<Enum<K, V>*>(enumerator)->EraseCurrent();
  }

  std::uint32_t Remove(const K& key) override {
    return entries_.erase(key) != 0 ? win_error::success : win_error::not_found;
  }

  IConstEnum<K, V>* GetConstEnum() const override { return new ConstEnum<K, V>(entries_); }
  IEnum<K, V>* GetEnum() override { return new Enum<K, V>(entries_); }
  void Clear() override { entries_.clear(); }
  std::uint64_t Count() const override { return entries_.size(); }

  /// For this module's own code: reading without an enumerator, which takes memory.
  const MapEntries<K, V>& entries() const noexcept { return entries_; }

 private:
  MapEntries<K, V> entries_;
};

extern template class Map<StringT<wchar_t>, StringT<wchar_t>>;
extern template class Map<StringT<wchar_t>, std::int64_t>;
extern template class Map<StringT<wchar_t>, IList<StringT<wchar_t>>*>;

}  // namespace zv
