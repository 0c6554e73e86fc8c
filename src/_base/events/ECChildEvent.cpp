#include "_base/events/ECChildEvent.h"

void* ECChildEvent::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}
