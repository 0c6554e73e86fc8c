#include "platform/library.h"

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string>

#include "platform/os.h"

namespace platform {
namespace {

/// Where the root of `path` ends whose first separator at `at` belongs to it: that one stays.
bool ends_root(const wchar_t* path, std::size_t at) noexcept {
  if (at == 0) return true;
  if (path_separator != L'\\') return false;
  return (at == 2 && path[1] == L':') || (at == 1 && path[0] == path_separator);
}

/// Hands out a test's name as the system hands out a real one.
std::uint32_t copy_name(const std::wstring& name, wchar_t* buffer, std::uint32_t size) noexcept {
  if (size == 0) return 0;
  const std::size_t length = std::min<std::size_t>(name.size(), size - 1);
  std::copy_n(name.data(), length, buffer);
  buffer[length] = L'\0';
  return name.size() < size ? static_cast<std::uint32_t>(length) : size;
}

std::optional<std::wstring> name_from_seam(module_handle module, std::uint32_t& error) noexcept {
  Seam* const installed = seam();
  if (installed == nullptr) return std::nullopt;
  if (module == nullptr) return installed->executable_name(error);
  if (module == own_module()) return installed->own_module_name(error);
  return std::nullopt;
}

constexpr module_handle no_module = nullptr;

}  // namespace

module_handle load_library(const wchar_t* path, std::uint32_t& error) noexcept {
  return os::with_path(path, error, no_module, [&] { return os::load_library(path, error); });
}

module_handle load_library_with_altered_search_path(const wchar_t* path,
                                                    std::uint32_t& error) noexcept {
  return os::with_path(path, error, no_module,
                       [&] { return os::load_library_with_altered_search_path(path, error); });
}

module_handle find_loaded(const wchar_t* name) noexcept {
  std::uint32_t error = 0;
  return os::with_path(name, error, no_module, [&] { return os::find_loaded(name); });
}

module_handle reference_loaded(const wchar_t* name) noexcept {
  std::uint32_t error = 0;
  return os::with_path(name, error, no_module, [&] { return os::reference_loaded(name); });
}

std::uint32_t module_file_name(module_handle module, wchar_t* buffer, std::uint32_t size,
                               std::uint32_t& error) noexcept {
  error = 0;
  if (const auto name = name_from_seam(module, error)) return copy_name(*name, buffer, size);
  return os::with_memory(error, std::uint32_t{0},
                         [&] { return os::module_file_name(module, buffer, size, error); });
}

bool is_absolute(const wchar_t* path) noexcept {
  std::uint32_t error = 0;
  return os::with_path(path, error, false, [&] { return os::is_absolute(path); });
}

bool file_exists(const wchar_t* path) noexcept {
  std::uint32_t error = 0;
  return os::with_path(path, error, false, [&] { return os::file_exists(path); });
}

bool remove_file_spec(wchar_t* path) noexcept {
  if (path == nullptr) return false;
  wchar_t* const last = std::wcsrchr(path, path_separator);
  if (last == nullptr) return false;
  const auto at = static_cast<std::size_t>(last - path);
  wchar_t* const cut = ends_root(path, at) ? last + 1 : last;
  const bool removes = *cut != L'\0';
  *cut = L'\0';
  return removes;
}

bool add_separator(wchar_t* path, std::uint64_t size) noexcept {
  if (path == nullptr) return false;
  const std::size_t length = std::wcslen(path);
  if (length == 0 || path[length - 1] == path_separator) return true;
  if (length + 2 > size) return false;
  path[length] = path_separator;
  path[length + 1] = L'\0';
  return true;
}

}  // namespace platform
