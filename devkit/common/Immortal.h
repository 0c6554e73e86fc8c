#pragma once

#include <new>

namespace devkit {

/// An object that is never destroyed, for a library's own state: late callers still find it, and
/// unloading the library, which happens under the loader's lock, waits for nothing. It lies in the
/// library's own memory, so that nothing is left behind on the heap but what it holds by then.
template <class T>
class Immortal {
 public:
  Immortal() { ::new (storage_) T; }
  Immortal(const Immortal&) = delete;
  Immortal& operator=(const Immortal&) = delete;

  T& get() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace devkit
