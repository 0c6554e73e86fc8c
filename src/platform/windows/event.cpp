#include "platform/event.h"

#include <windows.h>

namespace platform {

void* create_event(std::uint32_t& error) noexcept {
  const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  error = event != nullptr ? 0 : GetLastError();
  return event;
}

bool set_event(void* event, std::uint32_t& error) noexcept {
  const bool set = SetEvent(event) != FALSE;
  error = set ? 0 : GetLastError();
  return set;
}

bool wait_event(void* event, std::uint32_t milliseconds) noexcept {
  return WaitForSingleObject(event, milliseconds) == WAIT_OBJECT_0;
}

void close_event(void* event) noexcept {
  CloseHandle(event);
}

}  // namespace platform
