#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <new>
#include <string>

#include "platform/directory_changes.h"
#include "platform/library.h"
#include "platform/seam.h"

/// What lies below the contracts: the system's own calls, one definition in windows/ and one in
/// posix/. Only the shared sources of this folder call them, after they have consulted the seam.
namespace platform::os {

std::int64_t now_ticks() noexcept;
std::uint32_t now_milliseconds() noexcept;
bool is_elevated() noexcept;
std::string error_text(std::uint32_t number);
bool submit_to_pool(void (*callback)(void*), void* context, void* environment) noexcept;

std::uint32_t utf8_to_wide(const char* text, wchar_t* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept;
std::uint32_t wide_to_utf8(const wchar_t* text, char* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept;

bool is_folder(const std::filesystem::path& path);
/// 0, or why not: that it is there already is a reason too.
std::uint32_t create_folder(const std::filesystem::path& path);

/// The form of `path` that the runtime's streams can open, however long it is.
std::filesystem::path openable(const std::filesystem::path& path);
bool lock_first_byte(void* file, std::uint32_t& error) noexcept;

// These may run out of memory and take no null path: with_path and with_memory see to both.
std::FILE* open_wide(const wchar_t* path, const char* mode);
void* open_lock_file(const wchar_t* path, std::uint32_t& error);
directory_reader* open_directory(const wchar_t* path, std::uint32_t& error);
bool start_reading(directory_reader* reader, void* buffer, std::uint32_t size, std::uint32_t filter,
                   std::uint32_t& error);
module_handle load_library(const wchar_t* path, std::uint32_t& error);
module_handle load_library_with_altered_search_path(const wchar_t* path, std::uint32_t& error);
module_handle find_loaded(const wchar_t* name);
module_handle reference_loaded(const wchar_t* name);
std::uint32_t module_file_name(module_handle module, wchar_t* buffer, std::uint32_t size,
                               std::uint32_t& error);
bool is_absolute(const wchar_t* path);
bool file_exists(const wchar_t* path);

/// What `call` gives; `failure`, with `error` set, when memory runs out on the way.
template <typename Result, typename Function>
Result with_memory(std::uint32_t& error, Result failure, Function&& call) noexcept {
  constexpr std::uint32_t error_out_of_memory = 14;
  try {
    return call();
  } catch (const std::bad_alloc&) {
    error = error_out_of_memory;
    return failure;
  }
}

/// The same for a call that takes `path`.
template <typename Result, typename Function>
Result with_path(const wchar_t* path, std::uint32_t& error, Result failure,
                 Function&& call) noexcept {
  constexpr std::uint32_t error_invalid_parameter = 87;
  if (path != nullptr) return with_memory(error, failure, call);
  error = error_invalid_parameter;
  return failure;
}

}  // namespace platform::os

namespace platform {

/// The number that a test wants this call to fail with, 0 for none.
inline std::uint32_t injected_failure(Call call) noexcept {
  Seam* const installed = seam();
  return installed != nullptr ? installed->fail(call) : 0;
}

}  // namespace platform
