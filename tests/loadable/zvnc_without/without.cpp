#include <cstdint>

#include "_base/abi.h"
#include "loadable/zvnc/symbols.h"

// Compiled once for each function, which the build renames out of the way: a client library that is
// whole but for that one.
#define EXPORT(name)                \
  ABI_EXPORT std::uint32_t name() { \
    return 0;                       \
  }

ZVNC_SYMBOLS(EXPORT)
