#include <windows.h>

#include <new>

#include "devkit/zvnc/GuardedBuffer.h"

namespace zvnc {

namespace {

std::size_t page() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}

}  // namespace

char* allocate_guarded(std::size_t& size) {
  size = (size + page() - 1) / page() * page();
  void* const memory =
      VirtualAlloc(nullptr, size + page(), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (memory == nullptr) throw std::bad_alloc();
  char* const bytes = static_cast<char*>(memory);
  DWORD before = 0;
  if (!VirtualProtect(bytes + size, page(), PAGE_NOACCESS, &before)) {
    free_guarded(bytes, size);
    throw std::bad_alloc();
  }
  return bytes;
}

void free_guarded(char* memory, std::size_t) noexcept {
  VirtualFree(memory, 0, MEM_RELEASE);
}

}  // namespace zvnc
