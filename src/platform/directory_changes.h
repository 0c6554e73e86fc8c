#pragma once

#include <cstddef>
#include <cstdint>

/// Reading a folder's changes, as records in the form of Windows' FILE_NOTIFY_INFORMATION.
namespace platform {

/// One record in a buffer. `next_entry_offset` bytes further stands the next one, 0 in the last.
/// The name follows the header: `name_bytes` bytes of wchar_t, not terminated, relative to the
/// folder.
struct change_record {
  std::uint32_t next_entry_offset;
  std::uint32_t action;
  std::uint32_t name_bytes;
};

enum change_action : std::uint32_t {
  change_added = 1,
  change_removed = 2,
  change_modified = 3,
  change_renamed_old_name = 4,
  change_renamed_new_name = 5,
};

class directory_reader;

/// Opens a folder, null with `error` set on failure. It can't be read before create_read_event.
directory_reader* open_directory(const wchar_t* path, std::uint32_t& error) noexcept;
/// Makes, once, what tells that a read has completed. False with `error` set if it can't be made.
bool create_read_event(directory_reader* reader, std::uint32_t& error) noexcept;
/// Starts one read into `buffer` (aligned to 4 bytes), which is written until the reader's event is
/// signalled. `filter` is Windows' notification filter; subfolders are left out. A read that
/// overflowed signals the event and leaves the buffer as it was.
bool start_reading(directory_reader* reader, void* buffer, std::uint32_t size, std::uint32_t filter,
                   std::uint32_t& error) noexcept;
/// Abandons a read in progress: its buffer isn't written any more.
void close_directory(directory_reader* reader) noexcept;

/// As many as can be waited for at once.
inline constexpr std::size_t most_readers = 63;
inline constexpr std::size_t no_reader = ~std::size_t{0};
inline constexpr std::size_t stop_signalled = ~std::size_t{0} - 1;

/// Waits, without a limit, until a read of one of `readers` has completed, and returns its index,
/// or stop_signalled when `stop_event` (of create_event) was set, which is looked at last.
/// no_reader if the system can't wait, as for more than most_readers. A folder that is taken away
/// completes its read too, with the buffer as it was, and can't be read again.
std::size_t wait_for_changes(directory_reader* const* readers, std::size_t count,
                             void* stop_event) noexcept;

}  // namespace platform
