#pragma once

#include <cstdint>
#include <list>

#include "_base/IEnum.h"
#include "_base/abi.h"

namespace zv {

/// The enumerator of a list that only reads. Created with `new` by its container, which has to
/// outlive it; ended by Release. Past the last element everything it returns is null.
template <class T>
class ConstListEnum final : public IConstListEnum<T> {
 public:
  using Entries = const std::list<T>;

  explicit ConstListEnum(Entries& entries) : entries_(&entries), position_(entries.begin()) {}

  bool HasNext() override { return position_ != entries_->end(); }
  const T* Next() override {
    const T* const left = Value();
    if (left != nullptr) ++position_;
    return left;
  }
  const T* Value() override { return HasNext() ? &*position_ : nullptr; }
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
