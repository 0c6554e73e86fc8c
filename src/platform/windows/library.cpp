#include "platform/library.h"

#include <windows.h>

#include <filesystem>

#include "platform/os.h"
#include "platform/windows/long_path.h"

namespace platform {
namespace {

module_handle loaded_or_error(HMODULE module, std::uint32_t& error) noexcept {
  error = module != nullptr ? 0 : GetLastError();
  return module;
}

}  // namespace

const wchar_t path_separator = L'\\';

std::wstring library_file_name(std::wstring_view stem) {
  return std::wstring(stem) + L".dll";
}

module_handle os::load_library(const wchar_t* path, std::uint32_t& error) {
  return loaded_or_error(LoadLibraryW(long_path(path).c_str()), error);
}

module_handle os::load_library_with_altered_search_path(const wchar_t* path, std::uint32_t& error) {
  return loaded_or_error(
      LoadLibraryExW(long_path(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH), error);
}

void unload_library(module_handle module) noexcept {
  FreeLibrary(static_cast<HMODULE>(module));
}

void* find_symbol(module_handle module, const char* name, std::uint32_t& error) noexcept {
  const FARPROC symbol = GetProcAddress(static_cast<HMODULE>(module), name);
  error = symbol != nullptr ? 0 : GetLastError();
  return reinterpret_cast<void*>(symbol);
}

module_handle os::find_loaded(const wchar_t* name) {
  return GetModuleHandleW(long_path(name).c_str());
}

module_handle os::reference_loaded(const wchar_t* name) {
  HMODULE module = nullptr;
  return GetModuleHandleExW(0, long_path(name).c_str(), &module) ? module : nullptr;
}

module_handle own_module() noexcept {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&path_separator), &module);
  return module;
}

module_handle executable() noexcept {
  return GetModuleHandleW(nullptr);
}

std::uint32_t os::module_file_name(module_handle module, wchar_t* buffer, std::uint32_t size,
                                   std::uint32_t& error) {
  SetLastError(0);
  const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(module), buffer, size);
  error = GetLastError();
  // Not every system of this kind terminates what it cut.
  if (length == size && size != 0) buffer[size - 1] = L'\0';
  return length;
}

bool os::is_absolute(const wchar_t* path) {
  return std::filesystem::path(path).is_absolute();
}

bool os::file_exists(const wchar_t* path) {
  return GetFileAttributesW(long_path(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace platform
