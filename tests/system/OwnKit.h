#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "devkit/common/os.h"
#include "system/kit_client.h"

namespace kit_test {

/// The kit's folder once more, without what earlier runs left in it: circuits, events and settings
/// are this test's alone.
class OwnKit {
 public:
  OwnKit() {
    namespace fs = std::filesystem;
    for (fs::recursive_directory_iterator entry(KIT_FOLDER), end; entry != end; ++entry) {
      const fs::path relative = entry->path().lexically_relative(KIT_FOLDER);
      if (relative == fs::path("settings") / "cloud") {
        entry.disable_recursion_pending();
      } else if (entry->is_directory()) {
        fs::create_directories(path() / relative);
      } else if (!is_left_over(relative)) {
        fs::copy_file(entry->path(), path() / relative);
      }
    }
  }

  const std::filesystem::path& path() const { return folder_.path(); }
  std::filesystem::path module() const { return path() / devkit::os::library_name("cloudsplicer"); }
  void write(const std::filesystem::path& relative, const std::string& content) const {
    std::ofstream(path() / relative, std::ios::binary) << content;
  }
  /// The packaged settings of the guardian: breaks that are over at once, and this threshold.
  void write_guardian_settings(int threshold) const {
    write(std::filesystem::path("settings") / "cloud_guardian_settings.json",
          nlohmann::json({{"storage_folder", "cloudsplicer"},
                          {"storage_filename", "services.json"},
                          {"circuit_config", circuit_config(threshold, 0)}})
              .dump());
  }
  /// A configuration of the guardian with one break, in seconds.
  static nlohmann::json circuit_config(int threshold, int pause) {
    return {{"threshold", threshold},
            {"intervals", {{{"min", pause}, {"max", pause}}}},
            {"reset_threshold", 30}};
  }

 private:
  static bool is_left_over(const std::filesystem::path& file) {
    return file.extension() == ".jsonl" || file == "proxy.json" || file == "guardian_config.json";
  }

  const Folder folder_;
};

/// A variable of the environment for the object's life.
class Variable {
 public:
  Variable(const char* name, const std::string& value)
      : name_(name), before_(devkit::os::environment(name)) {
    devkit::os::set_environment(name, value);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { devkit::os::set_environment(name_, before_); }

 private:
  const char* const name_;
  const std::optional<std::string> before_;
};

}  // namespace kit_test
