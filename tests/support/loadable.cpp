#include "support/loadable.h"

#include <stdexcept>
#include <string>

#include "platform/file.h"
#include "platform/library.h"

namespace support {

std::filesystem::path loadable(std::wstring_view name) {
  const std::filesystem::path folder = std::filesystem::absolute(LOADABLE_FOLDER);
  return (folder / platform::library_file_name(name)).make_preferred();
}

std::filesystem::path built_module() {
  return program_folder() / platform::library_file_name(L"cloudsplicer");
}

std::filesystem::path program_folder() {
  std::wstring name(32768, L'\0');
  std::uint32_t error = 0;
  const std::uint32_t length = platform::module_file_name(
      nullptr, name.data(), static_cast<std::uint32_t>(name.size()), error);
  if (length == 0) throw std::runtime_error("the program has no name");
  name.resize(length);
  return platform::file_path(name).parent_path();
}

}  // namespace support
