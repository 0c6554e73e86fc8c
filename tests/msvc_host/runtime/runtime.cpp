// What the compiler expects of a standard library, for programs that have none.

#include "runtime/kernel32.h"

extern "C" {

int _fltused = 0;

void* memset(void* to, int value, size_t size) {
  for (size_t i = 0; i < size; ++i) static_cast<uint8_t*>(to)[i] = static_cast<uint8_t>(value);
  return to;
}

void* memcpy(void* to, const void* from, size_t size) {
  for (size_t i = 0; i < size; ++i)
    static_cast<uint8_t*>(to)[i] = static_cast<const uint8_t*>(from)[i];
  return to;
}

void* memmove(void* to, const void* from, size_t size) {
  if (to <= from) return memcpy(to, from, size);
  for (size_t i = size; i-- > 0;)
    static_cast<uint8_t*>(to)[i] = static_cast<const uint8_t*>(from)[i];
  return to;
}

int memcmp(const void* left, const void* right, size_t size) {
  for (size_t i = 0; i < size; ++i) {
    int difference = static_cast<const uint8_t*>(left)[i] - static_cast<const uint8_t*>(right)[i];
    if (difference != 0) return difference;
  }
  return 0;
}

// Reached through the slot of an abstract class: a wrong table.
int _purecall() {
  ExitProcess(0xdead);
}

}  // extern "C"

void* operator new(size_t size) {
  return HeapAlloc(GetProcessHeap(), 0, size);
}
void operator delete(void* block) noexcept {
  if (block) HeapFree(GetProcessHeap(), 0, block);
}
void operator delete(void* block, size_t) noexcept {
  operator delete(block);
}
