#include "told.h"

#include <string>

#include "_base/abi.h"

namespace {
std::string last_call;
}

void told(const char* operation) {
  last_call = operation;
}

void* told_destructor(const char* interface_name, std::uint32_t flags, void* object) {
  last_call = std::string(interface_name) + "::destructor " + std::to_string(flags);
  return object;
}

ABI_EXPORT const char* probe_last_call() {
  return last_call.c_str();
}
