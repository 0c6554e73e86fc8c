// A library to be loaded, found and asked.

#include "_base/abi.h"

ABI_EXPORT int answer() {
  return 42;
}
