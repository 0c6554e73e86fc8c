#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/MapEntries.h"
#include "_base/abi.h"

namespace zv {

template <class K, class V>
class Map;

/// The enumerator of a map. Created with `new` by its container, which has to outlive it; ended
/// by Release. Past the last element everything it returns is null.
template <class K, class V>
class Enum final : public IEnum<K, V> {
 public:
  using Entries = MapEntries<K, V>;

  explicit Enum(Entries& entries) : entries_(&entries), position_(entries.begin()) {}

  bool HasNext() override { return position_ != entries_->end(); }
  V* Next() override {
    V* const left = Value();
    if (left != nullptr) ++position_;
    return left;
  }
  V* Value() override { return HasNext() ? &position_->second : nullptr; }
  const K* Key() override { return HasNext() ? &position_->first : nullptr; }
  void Release() override { msvc_abi::run_destructor(this, msvc_abi::free_memory); }
  void Reset() override { position_ = entries_->begin(); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }

 private:
  friend class Map<K, V>;

  /// Takes the element out of the container and stands on the following one.
  void EraseCurrent() {
    if (HasNext()) position_ = entries_->erase(position_);
  }

  Entries* entries_;
  typename Entries::iterator position_;
};

}  // namespace zv
