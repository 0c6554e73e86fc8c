#include "platform/file_lock.h"

#include "platform/os.h"

namespace platform {

void* open_lock_file(const wchar_t* path, std::uint32_t& error) noexcept {
  error = injected_failure(Call::open);
  if (error != 0) return no_file;
  return os::with_path(path, error, no_file, [&] { return os::open_lock_file(path, error); });
}

bool lock_first_byte(void* file, std::uint32_t& error) noexcept {
  error = injected_failure(Call::lock);
  return error == 0 && os::lock_first_byte(file, error);
}

}  // namespace platform
