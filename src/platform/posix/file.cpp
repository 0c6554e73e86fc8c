#include "platform/file.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/error_text.h"
#include "platform/os.h"
#include "platform/posix/native_path.h"

namespace platform {

std::filesystem::path file_path(std::wstring_view text) {
  return to_native(std::wstring(text).c_str());
}

std::wstring wide_text(const std::filesystem::path& path) {
  return from_native(path.c_str());
}

bool os::is_folder(const std::filesystem::path& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::uint32_t os::create_folder(const std::filesystem::path& path) {
  return mkdir(path.c_str(), 0777) == 0 ? 0 : from_errno(errno);
}

std::filesystem::path os::openable(const std::filesystem::path& path) {
  return path;
}

}  // namespace platform
