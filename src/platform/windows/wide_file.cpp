#include <cstddef>

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {

std::FILE* os::open_wide(const wchar_t* path, const char* mode) {
  // A mode is a few ASCII letters.
  constexpr std::size_t longest_mode = 15;
  wchar_t wide_mode[longest_mode + 1] = {};
  for (std::size_t at = 0; at < longest_mode && mode[at] != '\0'; ++at) {
    wide_mode[at] = static_cast<wchar_t>(mode[at]);
  }
  return _wfopen(long_path(path).c_str(), wide_mode);
}

}  // namespace platform
