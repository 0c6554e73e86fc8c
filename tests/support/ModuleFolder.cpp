#include "support/ModuleFolder.h"

#include <fstream>
#include <stdexcept>

namespace support {

ModuleFolder::ModuleFolder(const std::filesystem::path& base) : folder_(base) {
  seam_.set_own_module_name(folder_.module_name(L"cloudsplicer").wstring());
}

void ModuleFolder::write(const std::filesystem::path& relative, std::string_view content) {
  const std::filesystem::path file = folder_ / relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  if (!stream) throw std::runtime_error("a test's file can't be written");
}

}  // namespace support
