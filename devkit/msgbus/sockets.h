#pragma once

#include <cstdint>

namespace devkit::bus {

/// Keeps an open socket to this process: children that it starts from now on don't inherit it.
void keep_from_children(std::intptr_t socket);

}  // namespace devkit::bus
