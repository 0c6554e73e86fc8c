#include "platform/file.h"

#include "platform/os.h"
#include "platform/posix/native_path.h"

namespace platform {

std::filesystem::path file_path(std::wstring_view text) {
  return to_native(std::wstring(text).c_str());
}

std::wstring wide_text(const std::filesystem::path& path) {
  return from_native(path.c_str());
}

std::filesystem::path os::openable(const std::filesystem::path& path) {
  return path;
}

}  // namespace platform
