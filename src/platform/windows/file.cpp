#include "platform/file.h"

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {

std::filesystem::path file_path(std::wstring_view text) {
  return text;
}
std::wstring wide_text(const std::filesystem::path& path) {
  return path.wstring();
}

std::filesystem::path os::openable(const std::filesystem::path& path) {
  return long_path(path.wstring());
}

}  // namespace platform
