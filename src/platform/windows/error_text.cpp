#include <windows.h>

#include "platform/os.h"

namespace platform::os {

std::string error_text(std::uint32_t number) {
  std::string text(32767, '\0');
  const DWORD length =
      FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, number, 0,
                     text.data(), static_cast<DWORD>(text.size()), nullptr);
  text.resize(length);
  return text;
}

}  // namespace platform::os
