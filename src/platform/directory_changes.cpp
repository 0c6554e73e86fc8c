#include "platform/directory_changes.h"

#include "platform/os.h"

namespace platform {

// Both count as watching: were the folder's opening counted among the opened files, the watcher's
// thread would make the numbering of those depend on chance.
directory_reader* open_directory(const wchar_t* path, std::uint32_t& error) noexcept {
  error = injected_failure(Call::watch);
  return error == 0 ? os::open_directory(path, error) : nullptr;
}

bool start_reading(directory_reader* reader, void* buffer, std::uint32_t size, std::uint32_t filter,
                   std::uint32_t& error) noexcept {
  error = injected_failure(Call::watch);
  return error == 0 && os::start_reading(reader, buffer, size, filter, error);
}

}  // namespace platform
