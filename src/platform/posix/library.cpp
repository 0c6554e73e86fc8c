#include "platform/library.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/os.h"
#include "platform/posix/native_path.h"

namespace platform {
namespace {

constexpr std::uint32_t error_insufficient_buffer = 122;
constexpr std::uint32_t error_module_not_found = 126;
constexpr std::uint32_t error_procedure_not_found = 127;
constexpr std::uint32_t error_bad_executable_format = 193;

constexpr int load_flags = RTLD_NOW | RTLD_LOCAL;

bool is_bare(const std::string& name) {
  return name.find('/') == std::string::npos;
}

std::string_view base_name(std::string_view path) {
  return path.substr(path.find_last_of('/') + 1);
}

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::string absolute(const std::string& path) {
  if (path.starts_with('/')) return path;
  const std::unique_ptr<char, decltype(&free)> folder(getcwd(nullptr, 0), &free);
  return folder != nullptr ? std::string(folder.get()) + '/' + path : path;
}

std::string executable_path() {
  std::string path(PATH_MAX, '\0');
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path;
}

/// Whether a file is there that doesn't begin as a library does.
bool is_something_else(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const std::unique_ptr<FILE, decltype(&fclose)> file(fopen(path.c_str(), "rbe"), &fclose);
  if (file == nullptr) return false;
  char magic[SELFMAG] = {};
  return fread(magic, 1, SELFMAG, file.get()) != SELFMAG ||
         std::memcmp(magic, ELFMAG, SELFMAG) != 0;
}

module_handle load(const std::string& name, std::uint32_t& error) {
  module_handle const module = dlopen(name.c_str(), load_flags);
  error = 0;
  if (module == nullptr) {
    error = is_something_else(name) ? error_bad_executable_format : error_module_not_found;
  }
  return module;
}

struct Search {
  const std::string& name;
  std::string found;
};

int compare_loaded(dl_phdr_info* object, std::size_t, void* data) {
  Search& search = *static_cast<Search*>(data);
  if (base_name(object->dlpi_name) != search.name) return 0;
  search.found = object->dlpi_name;
  return 1;
}

/// The path that a loaded library goes by. It is only looked up in the walk, which holds the
/// loader's lock, and referenced after it.
std::string loaded_path(const std::string& name) {
  if (!is_bare(name)) return absolute(name);
  Search search{name, {}};
  dl_iterate_phdr(compare_loaded, &search);
  return search.found;
}

module_handle reference(const std::string& name) {
  const std::string path = name.empty() ? name : loaded_path(name);
  return path.empty() ? nullptr : dlopen(path.c_str(), load_flags | RTLD_NOLOAD);
}

module_handle load_bare(const std::string& name, std::uint32_t& error) {
  error = 0;
  if (module_handle const loaded = reference(name)) return loaded;
  const std::string program = executable_path();
  const std::string beside = program.substr(0, program.find_last_of('/') + 1) + name;
  return load(exists(beside) ? beside : name, error);
}

std::string path_of(module_handle module) {
  if (module == nullptr) return executable_path();
  const link_map* map = nullptr;
  if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0) return {};
  return *map->l_name == '\0' ? executable_path() : absolute(map->l_name);
}

}  // namespace

const wchar_t path_separator = L'/';

std::wstring library_file_name(std::wstring_view stem) {
  return std::wstring(stem) + L".so";
}

module_handle os::load_library(const wchar_t* path, std::uint32_t& error) {
  const std::string name = to_native(path);
  // An absolute name, so that module_file_name still tells the truth after a change of folder.
  return is_bare(name) ? load_bare(name, error) : load(absolute(name), error);
}

/// The loader here looks for a library's dependencies where the library itself says.
module_handle os::load_library_with_altered_search_path(const wchar_t* path, std::uint32_t& error) {
  return load_library(path, error);
}

void unload_library(module_handle module) noexcept {
  dlclose(module);
}

void* find_symbol(module_handle module, const char* name, std::uint32_t& error) noexcept {
  void* const symbol = dlsym(module, name);
  error = symbol != nullptr ? 0 : error_procedure_not_found;
  return symbol;
}

module_handle os::find_loaded(const wchar_t* name) {
  module_handle const module = reference(to_native(name));
  if (module != nullptr) dlclose(module);
  return module;
}

module_handle os::reference_loaded(const wchar_t* name) {
  return reference(to_native(name));
}

module_handle own_module() noexcept {
  Dl_info info;
  void* map = nullptr;
  // The loader's record of an object is also its handle.
  return dladdr1(&path_separator, &info, &map, RTLD_DL_LINKMAP) != 0 ? map : nullptr;
}

module_handle executable() noexcept {
  module_handle const program = dlopen(nullptr, RTLD_LAZY);
  if (program != nullptr) dlclose(program);
  return program;
}

std::uint32_t os::module_file_name(module_handle module, wchar_t* buffer, std::uint32_t size,
                                   std::uint32_t& error) {
  const std::string native = path_of(module);
  error = native.empty() ? error_module_not_found : size == 0 ? error_insufficient_buffer : 0;
  if (error != 0) return 0;
  const std::wstring name = from_native(native.c_str());
  const std::size_t length = std::min<std::size_t>(name.size(), size - 1);
  std::copy_n(name.data(), length, buffer);
  buffer[length] = L'\0';
  if (name.size() < size) return static_cast<std::uint32_t>(length);
  error = error_insufficient_buffer;
  return size;
}

bool os::is_absolute(const wchar_t* path) {
  return path[0] == L'/';
}

bool os::file_exists(const wchar_t* path) {
  return exists(to_native(path));
}

}  // namespace platform
