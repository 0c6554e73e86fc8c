#include <windows.h>

#include "devkit/msgbus/sockets.h"

namespace devkit::bus {

void keep_from_children(std::intptr_t socket) {
  SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

}  // namespace devkit::bus
