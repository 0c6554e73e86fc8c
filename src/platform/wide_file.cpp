#include "platform/wide_file.h"

#include "platform/os.h"

namespace platform {

std::FILE* open_wide(const wchar_t* path, const char* mode) noexcept {
  std::uint32_t error = 0;
  std::FILE* const none = nullptr;
  return os::with_path(path, error, none, [&] { return os::open_wide(path, mode); });
}

}  // namespace platform
