#include "devkit/splicectl/TourFolder.h"

#include <fstream>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"

namespace devkit {

namespace {

namespace fs = std::filesystem;

/// Breaks that outlast any reader: they end when the cloud sends another configuration, and no
/// slow machine can come too late to see them.
constexpr const char* guardian_settings = R"({
  "storage_folder": "cloudsplicer",
  "storage_filename": "cloud_guardian_services.json",
  "circuit_config": {
    "threshold": 2,
    "intervals": [{"min": 600, "max": 900}],
    "reset_threshold": 30
  },
  "services": ["time", "settings"]
})";
constexpr const char* services_settings = R"({"categories": {}, "services": {}})";

void write(const fs::path& path, const char* text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file)
    throw host_error("no file could be written at " + path_text(path) + "; is the disk full?");
}

void copy_libraries(const fs::path& from, const fs::path& to) {
  const fs::path extension = to_path(os::library_name("x")).extension();
  for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
    const fs::path& path = entry.path();
    if (path.extension() == extension || path.filename() == "iservconfig.json")
      fs::copy_file(path, to / path.filename(), fs::copy_options::overwrite_existing);
  }
}

}  // namespace

TourFolder::TourFolder(const fs::path& module)
    : path_(fs::temp_directory_path() / ("splicectl-tour-" + std::to_string(os::process_id()))),
      module_(path_ / module.filename()) {
  if (!fs::exists(module)) {
    throw host_error("there is no module at " + path_text(module) +
                     "; build it with \"./dev build\", or name another with --module");
  }
  fs::remove_all(path_);
  fs::create_directories(path_ / "settings");
  copy_libraries(os::program().parent_path(), path_);
  copy_libraries(fs::absolute(module).parent_path(), path_);
  fs::copy_file(module, module_, fs::copy_options::overwrite_existing);
  write(path_ / "settings" / "cloud_guardian_settings.json", guardian_settings);
  write(path_ / "settings" / "cloud_services_settings.json", services_settings);
}

TourFolder::~TourFolder() {
  std::error_code ignored;  // it lies in the system's folder for what may be thrown away
  fs::remove_all(path_, ignored);
}

}  // namespace devkit
