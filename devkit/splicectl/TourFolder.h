#pragma once

#include <filesystem>

namespace devkit {

/// A folder of the tour's own with the module, the kit's libraries and settings written for the
/// tour, gone with the object: the tour finds no circuits of others and leaves none.
class TourFolder {
 public:
  /// Copies `module`, and the libraries beside this program and beside it. Throws host_error.
  explicit TourFolder(const std::filesystem::path& module);
  TourFolder(const TourFolder&) = delete;
  TourFolder& operator=(const TourFolder&) = delete;
  ~TourFolder();

  const std::filesystem::path& path() const { return path_; }
  const std::filesystem::path& module() const { return module_; }
  std::filesystem::path proxy_file() const { return path_ / "proxy.json"; }

 private:
  std::filesystem::path path_;
  std::filesystem::path module_;
};

}  // namespace devkit
