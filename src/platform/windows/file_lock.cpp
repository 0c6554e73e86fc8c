#include "platform/file_lock.h"

#include <windows.h>

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {

void* os::open_lock_file(const wchar_t* path, std::uint32_t& error) {
  const HANDLE file =
      CreateFileW(long_path(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
  error = file != no_file ? 0 : GetLastError();
  return file;
}

bool os::lock_first_byte(void* file, std::uint32_t& error) noexcept {
  OVERLAPPED start{};
  const bool locked = LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &start) != FALSE;
  error = locked ? 0 : GetLastError();
  return locked;
}

bool unlock_bytes(void* file, std::uint32_t low, std::uint32_t high) noexcept {
  OVERLAPPED start{};
  return UnlockFileEx(file, 0, low, high, &start) != FALSE;
}

void close_lock_file(void* file) noexcept {
  CloseHandle(file);
}

}  // namespace platform
