#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "guardian/guardian_config.h"
#include "guardian/guardian_paths.h"
#include "guardian/service_info.h"

namespace devkit {

/// What the files of a module's guardian say. Read by the module's own readers, from the folder
/// that `read_as` names, while no process writes.
struct GuardianFiles {
  guardian_config config;
  /// Whether it was once sent by the cloud, and not packaged.
  bool is_from_cloud = false;
  /// Where the configuration was read.
  std::filesystem::path config_path;
  /// Why the cache isn't in force although it is there; or empty.
  std::string cache_complaint;

  std::filesystem::path services_path;
  std::optional<services_map> circuits;  ///< null: no services file yet
};

/// Throws host_error with a sentence for people if a file is missing that has to be there, or
/// broken.
GuardianFiles read_guardian_files();
/// The configuration alone, whatever the services file is like.
GuardianFiles read_guardian_config();

/// Where they are.
struct GuardianPlaces {
  guardian_paths paths;
  std::filesystem::path packaged;
  std::filesystem::path cache;
  std::filesystem::path lock;
  std::filesystem::path services;
};

/// The same files read again and again, for who stays and looks: the lock is asked for only when a
/// file's time has changed, and never waited for.
class GuardianFilesWatch {
 public:
  /// What the files said when last they could be read; null while another process has kept the lock
  /// from the first. Throws host_error as read_guardian_files does. Valid until the next call.
  const GuardianFiles* now();

 private:
  using Stamp = std::pair<std::filesystem::file_time_type, std::uintmax_t>;
  using Stamps = std::array<Stamp, 3>;

  void look_at_times();
  void read();

  std::optional<GuardianPlaces> places_;
  std::optional<Stamps> stamps_;
  std::chrono::steady_clock::time_point changed_;
  bool is_stale_ = false;
  bool is_settled_ = false;
  std::optional<GuardianFiles> files_;
  std::string complaint_;
};

/// The text's configuration; throws std::invalid_argument with a sentence if it isn't one.
guardian_config parse_guardian_config(const std::string& text);

}  // namespace devkit
