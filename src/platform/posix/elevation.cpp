#include <unistd.h>

#include "platform/os.h"

namespace platform::os {

bool is_elevated() noexcept {
  return geteuid() == 0;
}

}  // namespace platform::os
