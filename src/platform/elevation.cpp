#include "platform/elevation.h"

#include "platform/os.h"

namespace platform {

bool is_elevated() noexcept {
  if (Seam* const installed = seam()) {
    if (const auto elevated = installed->elevated()) return *elevated;
  }
  return os::is_elevated();
}

}  // namespace platform
