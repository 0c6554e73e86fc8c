#pragma once

#include <cstdint>
#include <list>

#include "_base/ConstListEnum.h"
#include "_base/IList.h"
#include "_base/ListEnum.h"
#include "_base/StringT.h"
#include "_base/win_error.h"

namespace zv {

/// A doubly linked list behind IList.
template <class T>
class List final : public IList<T> {
 public:
  std::uint32_t PushBack(const T& value) override {
    elements_.push_back(value);
    return win_error::success;
  }
  std::uint32_t PushFront(const T& value) override {
    elements_.push_front(value);
    return win_error::success;
  }

  T* Back() override { return elements_.empty() ? nullptr : &elements_.back(); }
  const T* Back() const override { return elements_.empty() ? nullptr : &elements_.back(); }
  std::uint32_t GetBack(T& value) const override { return Copy(Back(), value); }

  T* Front() override { return elements_.empty() ? nullptr : &elements_.front(); }
  const T* Front() const override { return elements_.empty() ? nullptr : &elements_.front(); }
  std::uint32_t GetFront(T& value) const override { return Copy(Front(), value); }

  /// `enumerator` has to come from this list's GetEnum; null, or one past the last element, changes
  /// nothing.
  void Erase(IListEnum<T>* enumerator) override {
    if (enumerator != nullptr) static_cast<ListEnum<T>*>(enumerator)->EraseCurrent();
  }

  IConstListEnum<T>* GetConstEnum() const override { return new ConstListEnum<T>(elements_); }
  IListEnum<T>* GetEnum() override { return new ListEnum<T>(elements_); }
  void Clear() override { elements_.clear(); }
  std::uint64_t Count() const override { return elements_.size(); }

  /// For this module's own code: reading without an enumerator, which takes memory.
  const std::list<T>& elements() const noexcept { return elements_; }

 private:
  static std::uint32_t Copy(const T* element, T& value) {
    if (element == nullptr) return win_error::not_found;
    value = *element;
    return win_error::success;
  }

  std::list<T> elements_;
};

extern template class List<StringT<wchar_t>>;

}  // namespace zv
