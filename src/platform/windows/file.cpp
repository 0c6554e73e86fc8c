#include "platform/file.h"

#include <windows.h>

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {

std::filesystem::path file_path(std::wstring_view text) {
  return text;
}
std::wstring wide_text(const std::filesystem::path& path) {
  return path.wstring();
}

bool os::is_folder(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(long_path(path.wstring()).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::uint32_t os::create_folder(const std::filesystem::path& path) {
  return CreateDirectoryW(long_path(path.wstring()).c_str(), nullptr) ? 0 : GetLastError();
}

std::filesystem::path os::openable(const std::filesystem::path& path) {
  return long_path(path.wstring());
}

}  // namespace platform
