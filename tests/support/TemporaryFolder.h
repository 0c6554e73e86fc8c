#pragma once

#include <filesystem>
#include <string_view>

namespace support {

/// An empty folder of its own, removed with all its content at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
  /// Below `base`.
  explicit TemporaryFolder(const std::filesystem::path& base);
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  /// A base for tests that write much: in memory where the system has a folder there, for a disk's
  /// file system may secure each file that is rewritten.
  static std::filesystem::path fast_base();

  /// Absolute, without a final separator.
  const std::filesystem::path& path() const noexcept { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& relative) const {
    return path_ / relative;
  }

  /// Makes an empty file, and the folders above it.
  std::filesystem::path touch(const std::filesystem::path& relative) const;
  /// Copies the library tests/loadable/<name> here under the stem `as`; gives the copy's path.
  std::filesystem::path put_library(std::wstring_view name, std::wstring_view as) const;
  /// A name for a module or a program in this folder; no such file is made.
  std::filesystem::path module_name(std::wstring_view stem) const;

 private:
  std::filesystem::path path_;
};

}  // namespace support
