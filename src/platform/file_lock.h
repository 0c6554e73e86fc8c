#pragma once

#include <cstdint>

/// The exclusive lock on one byte of a file, as threads and processes alike exclude each other by
/// it: two handles conflict, whoever opened them.
namespace platform {

/// Opens the file for locking, creating it if it is absent. Read access is enough. no_file on
/// failure, with `error` set. (A folder is refused on Windows; on Linux it serves as well as a
/// file.)
void* open_lock_file(const wchar_t* path, std::uint32_t& error) noexcept;
/// Waits, without a limit, until the first byte is this handle's alone.
bool lock_first_byte(void* file, std::uint32_t& error) noexcept;
/// Unlocks `low` + 2^32 * `high` bytes from offset 0 of a file that is locked. It fails if that
/// isn't what was locked.
bool unlock_bytes(void* file, std::uint32_t low, std::uint32_t high) noexcept;
/// Closes the file, which lets go of any lock it holds.
void close_lock_file(void* file) noexcept;

inline void* const no_file = reinterpret_cast<void*>(~std::uintptr_t{0});

}  // namespace platform
