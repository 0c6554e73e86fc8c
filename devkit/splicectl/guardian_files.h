#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "guardian/guardian_config.h"
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

/// The text's configuration; throws std::invalid_argument with a sentence if it isn't one.
guardian_config parse_guardian_config(const std::string& text);

}  // namespace devkit
