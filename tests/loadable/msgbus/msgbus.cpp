#include <atomic>

#include "_base/abi.h"
#include "loadable/msgbus/Backend.h"

namespace {

std::atomic<msgbus::Backend*> backend = nullptr;

}  // namespace

ABI_EXPORT void msgbus_set_backend(msgbus::Backend* target) {
  backend = target;
}

ABI_EXPORT void* ZvGetInterface(IID id) {
  msgbus::Backend* const target = backend.load();
  return target != nullptr ? target->enter(id) : nullptr;
}
