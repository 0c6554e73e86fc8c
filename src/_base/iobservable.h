#pragma once

#include <cstdint>

namespace zv {

/// Whoever can be observed. `context` is stored with the observer and not passed back to it; it is
/// what tells two registrations apart when one is removed.
template <class T>
class iobservable {
 public:
  virtual bool add_observer(T observer, std::uint64_t context) = 0;
  virtual bool remove_observer(T observer, std::uint64_t context) = 0;

 protected:
  ~iobservable() = default;
};

}  // namespace zv
