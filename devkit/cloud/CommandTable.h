#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/cloud/Database.h"
#include "devkit/cloud/PushTarget.h"

namespace devkit {

/// The commands that the development cloud has sent out, in the order in which they were. Any
/// thread. Failures of the database throw std::runtime_error.
class CommandTable {
 public:
  struct Command {
    std::string id;
    PushTarget target;  ///< without a device it is for the application on any
    std::string name;
    nlohmann::json params;
    std::int64_t timestamp;  ///< seconds since 1970, UTC
  };

  /// An empty path keeps them in memory. A file outlives the process, though not a power cut.
  explicit CommandTable(const std::filesystem::path& file);

  /// A command whose id is in the table already changes nothing there.
  void add(const Command& command);
  /// What isn't complete of the application's commands on the device, as the service lists them.
  nlohmann::json list(const PushTarget& who) const;
  /// The first completion of a command counts; later ones are only counted. False if there is no
  /// such command.
  bool complete(const std::string& id, const std::string& status, const PushTarget& who);
  /// All commands with what became of them.
  nlohmann::json all() const;

 private:
  mutable std::mutex mutex_;
  mutable Database database_;
};

}  // namespace devkit
