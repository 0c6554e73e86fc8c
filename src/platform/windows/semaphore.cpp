#include "platform/semaphore.h"

#include <windows.h>

namespace platform {

semaphore::semaphore() noexcept : handle_(CreateSemaphoreW(nullptr, 0, 0x7fffffff, nullptr)) {
  if (handle_ == nullptr) error_ = GetLastError();
}

semaphore::~semaphore() {
  if (handle_ != nullptr) CloseHandle(handle_);
}

std::uint32_t semaphore::acquire() noexcept {
  return WaitForSingleObject(handle_, INFINITE) == WAIT_OBJECT_0 ? 0 : GetLastError();
}

std::uint32_t semaphore::release(std::uint32_t count) noexcept {
  if (count == 0) return 0;
  return ReleaseSemaphore(handle_, static_cast<LONG>(count), nullptr) ? 0 : GetLastError();
}

}  // namespace platform
