#pragma once

#include <cstdint>

namespace zv {

/// Whoever can be observed. An observer can't be added twice, whatever its `context`, and a removal
/// has to name the context that it was added with. The observer never sees it.
template <class T>
class iobservable {
 public:
  virtual bool add_observer(T observer, std::uint64_t context) = 0;
  virtual bool remove_observer(T observer, std::uint64_t context) = 0;

 protected:
  ~iobservable() = default;
};

}  // namespace zv
