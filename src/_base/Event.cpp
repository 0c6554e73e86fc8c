#include "_base/Event.h"

#include <cstdint>
#include <system_error>

#include "_base/win_error.h"
#include "platform/event.h"

Event::Event() {
  std::uint32_t error = 0;
  handle_ = platform::create_event(error);
  if (handle_ == nullptr)
    throw std::system_error(winapi::make_error_code(error), "CreateEvent failed");
}

Event::~Event() {
  platform::close_event(handle_);
}

void Event::Set() {
  std::uint32_t error = 0;
  if (!platform::set_event(handle_, error)) {
    throw std::system_error(winapi::make_error_code(error), "SetEvent failed");
  }
}
