#include "_base/StringMemMgr.h"

#include <cstdlib>

namespace zv {

StringMemMgr& StringMemMgr::instance() noexcept {
  // A constant: strings of static storage are destroyed after it at no price, as it has no state.
  static constinit StringMemMgr manager;
  return manager;
}

void* StringMemMgr::Allocate(std::uint64_t size) {
  return std::malloc(size);
}

void* StringMemMgr::Reallocate(void* pointer, std::uint64_t size) {
  return std::realloc(pointer, size);
}

void StringMemMgr::Free(void* pointer) {
  std::free(pointer);
}

void StringMemMgr::Release() {}

}  // namespace zv
