#include <sys/mman.h>
#include <unistd.h>

#include <new>

#include "devkit/zvnc/GuardedBuffer.h"

namespace zvnc {

namespace {

std::size_t page() {
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

char* allocate_guarded(std::size_t& size) {
  size = (size + page() - 1) / page() * page();
  void* const memory =
      mmap(nullptr, size + page(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  char* const bytes = static_cast<char*>(memory);
  if (mprotect(bytes + size, page(), PROT_NONE) != 0) {
    free_guarded(bytes, size);
    throw std::bad_alloc();
  }
  return bytes;
}

void free_guarded(char* memory, std::size_t size) noexcept {
  munmap(memory, size + page());
}

}  // namespace zvnc
