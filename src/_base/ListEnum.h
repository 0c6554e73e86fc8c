#pragma once

#include <cstdint>
#include <list>

#include "_base/IEnum.h"
#include "_base/abi.h"

namespace zv {

template <class T>
class List;

/// The enumerator of a list. Created with `new` by its container, which has to outlive it; ended
/// by Release. Past the last element everything it returns is null.
template <class T>
class ListEnum final : public IListEnum<T> {
 public:
  using Entries = std::list<T>;

  explicit ListEnum(Entries& entries) : entries_(&entries), position_(entries.begin()) {}

  bool HasNext() override { return position_ != entries_->end(); }
  T* Next() override {
    T* const left = Value();
    if (left != nullptr) ++position_;
    return left;
  }
  T* Value() override { return HasNext() ? &*position_ : nullptr; }
  void Release() override { msvc_abi::run_destructor(this, msvc_abi::free_memory); }
  void Reset() override { position_ = entries_->begin(); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }

 private:
  friend class List<T>;

  /// Takes the element out of the container and stands on the following one.
  void EraseCurrent() {
    if (HasNext()) position_ = entries_->erase(position_);
  }

  Entries* entries_;
  typename Entries::iterator position_;
};

}  // namespace zv
