#include "platform/directory_changes.h"

#include <windows.h>

#include <cstddef>
#include <memory>

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {

// The records come from the system in the form that the contract tells.
static_assert(sizeof(change_record) == offsetof(FILE_NOTIFY_INFORMATION, FileName));
static_assert(offsetof(change_record, action) == offsetof(FILE_NOTIFY_INFORMATION, Action));
static_assert(offsetof(change_record, name_bytes) ==
              offsetof(FILE_NOTIFY_INFORMATION, FileNameLength));

static_assert(most_readers + 1 == MAXIMUM_WAIT_OBJECTS, "the stop event is waited for too");

class directory_reader {
 public:
  directory_reader() = default;
  directory_reader(const directory_reader&) = delete;
  directory_reader& operator=(const directory_reader&) = delete;

  ~directory_reader() {
    if (folder != INVALID_HANDLE_VALUE) {
      abandon_read();
      CloseHandle(folder);
    }
    if (event != nullptr) CloseHandle(event);
  }

  HANDLE folder = INVALID_HANDLE_VALUE;
  HANDLE event = nullptr;
  OVERLAPPED overlapped{};

 private:
  /// The system writes the buffer and `overlapped` until a read has ended, so its end is awaited
  /// before they go. There is none to await if nothing was cancelled.
  void abandon_read() {
    DWORD transferred = 0;
    if (CancelIoEx(folder, &overlapped)) {
      GetOverlappedResult(folder, &overlapped, &transferred, TRUE);
    }
  }
};

directory_reader* os::open_directory(const wchar_t* path, std::uint32_t& error) {
  auto reader = std::make_unique<directory_reader>();
  reader->folder = CreateFileW(
      long_path(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
  error = reader->folder != INVALID_HANDLE_VALUE ? 0 : GetLastError();
  return error == 0 ? reader.release() : nullptr;
}

bool create_read_event(directory_reader* reader, std::uint32_t& error) noexcept {
  reader->event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  error = reader->event != nullptr ? 0 : GetLastError();
  return error == 0;
}

bool os::start_reading(directory_reader* reader, void* buffer, std::uint32_t size,
                       std::uint32_t filter, std::uint32_t& error) {
  reader->overlapped = {};
  reader->overlapped.hEvent = reader->event;
  const bool started = ReadDirectoryChangesW(reader->folder, buffer, size, FALSE, filter, nullptr,
                                             &reader->overlapped, nullptr) != FALSE;
  error = started ? 0 : GetLastError();
  return started;
}

void close_directory(directory_reader* reader) noexcept {
  delete reader;
}

std::size_t wait_for_changes(directory_reader* const* readers, std::size_t count,
                             void* stop_event) noexcept {
  if (count > most_readers) return no_reader;
  HANDLE handles[MAXIMUM_WAIT_OBJECTS];
  for (std::size_t i = 0; i != count; ++i) handles[i] = readers[i]->event;
  handles[count] = stop_event;
  const DWORD signalled =
      WaitForMultipleObjects(static_cast<DWORD>(count + 1), handles, FALSE, INFINITE);
  if (signalled == WAIT_OBJECT_0 + count) return stop_signalled;
  return signalled < WAIT_OBJECT_0 + count ? signalled - WAIT_OBJECT_0 : no_reader;
}

}  // namespace platform
