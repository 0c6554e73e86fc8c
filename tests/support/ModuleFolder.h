#pragma once

#include <filesystem>
#include <string_view>

#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace support {

/// An empty temporary folder that the module takes for its own while this lives; removed at the
/// end. Holds the seam, through which a test may ask for more.
class ModuleFolder {
 public:
  ModuleFolder() : ModuleFolder(std::filesystem::temp_directory_path()) {}
  /// Below `base`.
  explicit ModuleFolder(const std::filesystem::path& base);

  const std::filesystem::path& path() const noexcept { return folder_.path(); }
  /// Writes `content` to the file `relative`, making the folders on the way.
  void write(const std::filesystem::path& relative, std::string_view content);
  void write_services_settings(std::string_view content) {
    write(std::filesystem::path("settings") / "cloud_services_settings.json", content);
  }

  TestSeam& seam() noexcept { return seam_; }

 private:
  TestSeam seam_;
  TemporaryFolder folder_;
};

}  // namespace support
