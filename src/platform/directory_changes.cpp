#include "platform/directory_changes.h"

#include "platform/os.h"

namespace platform {

// Both count as watching: were the folder's opening counted among the opened files, the watcher's
// thread would make the numbering of those depend on chance.
directory_reader* open_directory(const wchar_t* path, std::uint32_t& error) noexcept {
  error = injected_failure(Call::watch);
  directory_reader* const none = nullptr;
  if (error != 0) return none;
  return os::with_path(path, error, none, [&] { return os::open_directory(path, error); });
}

bool start_reading(directory_reader* reader, void* buffer, std::uint32_t size, std::uint32_t filter,
                   std::uint32_t& error) noexcept {
  error = injected_failure(Call::watch);
  return error == 0 && os::with_memory(error, false, [&] {
           return os::start_reading(reader, buffer, size, filter, error);
         });
}

}  // namespace platform
