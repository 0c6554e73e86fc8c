#include "support/TemporaryFolder.h"

#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

#include "platform/library.h"
#include "support/loadable.h"

namespace support {

TemporaryFolder::TemporaryFolder(const std::filesystem::path& base) {
  std::random_device random;
  do {
    path_ = base / ("splicer-" + std::to_string(random()) + std::to_string(random()));
  } while (!std::filesystem::create_directory(path_));
  path_ = std::filesystem::canonical(path_);
}

TemporaryFolder::~TemporaryFolder() {
  // A library that is still loaded can't be removed everywhere; the folder is left behind then.
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryFolder::fast_base() {
  const std::filesystem::path in_memory = "/dev/shm";
  return std::filesystem::is_directory(in_memory) ? in_memory
                                                  : std::filesystem::temp_directory_path();
}

std::filesystem::path TemporaryFolder::touch(const std::filesystem::path& relative) const {
  std::filesystem::path file = path_ / relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream stream(file);
  if (!stream) throw std::runtime_error("can't make " + file.string());
  return file;
}

std::filesystem::path TemporaryFolder::put_library(std::wstring_view name,
                                                   std::wstring_view as) const {
  std::filesystem::path copy = module_name(as);
  std::filesystem::copy_file(loadable(name), copy);
  return copy;
}

std::filesystem::path TemporaryFolder::module_name(std::wstring_view stem) const {
  return path_ / platform::library_file_name(stem);
}

}  // namespace support
