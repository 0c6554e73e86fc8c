#pragma once

namespace cloud::comm {

/// A running subscription, told apart by the type of its callback. It ends with the handle: no call
/// is under way afterwards, unless it is the callback itself that ended it.
template <class F>
class handle {
 public:
  handle() = default;
  handle(const handle&) = delete;
  handle& operator=(const handle&) = delete;
  virtual ~handle() = 0;
};

template <class F>
handle<F>::~handle() = default;

}  // namespace cloud::comm
