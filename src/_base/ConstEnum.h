#pragma once

#include <cstdint>

#include "_base/IEnum.h"
#include "_base/MapEntries.h"
#include "_base/abi.h"

namespace zv {

/// The enumerator of a map that only reads. Created with `new` by its container, which has to
/// outlive it; ended by Release. Past the last element everything it returns is null.
template <class K, class V>
class ConstEnum final : public IConstEnum<K, V> {
 public:
  using Entries = const MapEntries<K, V>;

  explicit ConstEnum(Entries& entries) : entries_(&entries), position_(entries.begin()) {}

  bool HasNext() override { return position_ != entries_->end(); }
  const V* Next() override {
    const V* const left = Value();
    if (left != nullptr) ++position_;
    return left;
  }
  const K* Key() override { return HasNext() ? &position_->first : nullptr; }
  const V* Value() override { return HasNext() ? &position_->second : nullptr; }
  void Release() override { msvc_abi::run_destructor(this, msvc_abi::free_memory); }
  void Reset() override { position_ = entries_->begin(); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }

 private:
  Entries* entries_;
  typename Entries::const_iterator position_;
};

}  // namespace zv
