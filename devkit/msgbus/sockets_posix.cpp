#include <fcntl.h>

#include "devkit/msgbus/sockets.h"

namespace devkit::bus {

void keep_from_children(std::intptr_t socket) {
  fcntl(static_cast<int>(socket), F_SETFD, FD_CLOEXEC);
}

}  // namespace devkit::bus
