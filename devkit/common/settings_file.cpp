#include "devkit/common/settings_file.h"

#include <cstdio>
#include <fstream>

#include "devkit/common/text.h"

namespace devkit {

nlohmann::json read_settings(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return nlohmann::json::object();
  nlohmann::json settings = nlohmann::json::parse(file, nullptr, false);
  if (settings.is_object()) return settings;
  std::fprintf(stderr, "%s is not a JSON object; mend it or delete it. It is ignored.\n",
               path_text(path).c_str());
  return nlohmann::json::object();
}

}  // namespace devkit
