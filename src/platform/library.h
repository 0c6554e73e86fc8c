#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Dynamic libraries and the paths of modules. Failures are Windows error numbers on every
/// platform. A null path is refused, by 87 where there is an error to set.
namespace platform {

using module_handle = void*;

/// The file name of a library: "log" is "log.dll" on Windows and "log.so" on Linux.
std::wstring library_file_name(std::wstring_view stem);

/// The separator that paths of this platform are written with.
extern const wchar_t path_separator;

/// Loads a library by path, or by bare name from where the system looks for it (on Linux: a library
/// of that name that is loaded already, the executable's folder, then the system's own search).
/// Null on failure, `error` then being the system's number; 0 on success.
module_handle load_library(const wchar_t* path, std::uint32_t& error) noexcept;
/// The same for an absolute path, looking for the library's own dependencies in its folder first.
module_handle load_library_with_altered_search_path(const wchar_t* path,
                                                    std::uint32_t& error) noexcept;
/// Gives back one count of the library.
void unload_library(module_handle module) noexcept;

/// The address of an exported function, or null with `error` set.
void* find_symbol(module_handle module, const char* name, std::uint32_t& error) noexcept;

/// A library that is in the process already, by bare name or full path; null if there is none. The
/// first form counts no reference, the second does and is given back by unload_library.
module_handle find_loaded(const wchar_t* name) noexcept;
module_handle reference_loaded(const wchar_t* name) noexcept;

/// The library or program that this code was linked into.
module_handle own_module() noexcept;

/// The program of this process, for find_symbol; no reference is counted. On Linux that finds what
/// the libraries export that the program was linked with, too.
module_handle executable() noexcept;

/// Writes the full name of `module` (null: of the executable) into `buffer` of `size` characters,
/// terminated. Returns the length without the terminator; `size` if it was cut; 0 on failure.
/// `error` is what the system says afterwards, 0 for no complaint.
std::uint32_t module_file_name(module_handle module, wchar_t* buffer, std::uint32_t size,
                               std::uint32_t& error) noexcept;

/// Cuts a terminated path before its last separator, or behind it where it belongs to the root.
/// False if that removes nothing.
bool remove_file_spec(wchar_t* path) noexcept;
/// Makes a terminated path end in a separator, or false if `size` characters can't hold it.
bool add_separator(wchar_t* path, std::uint64_t size) noexcept;
bool is_absolute(const wchar_t* path) noexcept;
bool file_exists(const wchar_t* path) noexcept;

}  // namespace platform
