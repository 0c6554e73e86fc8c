#pragma once

#include "_base/CallbackList.h"
#include "_base/iobservable.h"

namespace zv {

/// `Base` made observable: the facet for it stands right behind the base in the object.
template <class T, class Base>
class observable : public Base, public iobservable<T> {
 public:
  bool add_observer(T observer, std::uint64_t context) override {
    return observers.add(observer, context) == win_error::success;
  }
  bool remove_observer(T observer, std::uint64_t context) override {
    return observers.remove(observer, context) == win_error::success;
  }

 protected:
  ~observable() = default;

  CallbackList<T> observers;
};

}  // namespace zv
