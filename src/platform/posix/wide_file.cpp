#include "platform/os.h"
#include "platform/posix/native_path.h"

namespace platform {

std::FILE* os::open_wide(const wchar_t* path, const char* mode) {
  return std::fopen(to_native(path).c_str(), mode);
}

}  // namespace platform
