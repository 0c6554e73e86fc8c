#include "platform/semaphore.h"

#include <windows.h>

#include <system_error>

namespace platform {
namespace {

[[noreturn]] void throw_last_error(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

}  // namespace

semaphore::semaphore() : handle_(CreateSemaphoreW(nullptr, 0, 0x7fffffff, nullptr)) {
  if (handle_ == nullptr) throw_last_error("CreateSemaphore failed");
}

semaphore::~semaphore() {
  CloseHandle(handle_);
}

void semaphore::acquire() {
  if (WaitForSingleObject(handle_, INFINITE) != WAIT_OBJECT_0) {
    throw_last_error("WaitForSingleObject failed");
  }
}

void semaphore::release(std::uint32_t count) {
  if (count == 0) return;
  if (!ReleaseSemaphore(handle_, static_cast<LONG>(count), nullptr)) {
    throw_last_error("ReleaseSemaphore failed");
  }
}

}  // namespace platform
