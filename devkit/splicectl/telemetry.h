#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace devkit {

/// The event of one line in a sentence; whatever else it holds follows as JSON.
std::string event_text(const nlohmann::json& event);

/// Reads the events stand-in's file as it grows.
class EventsFile {
 public:
  explicit EventsFile(std::filesystem::path path) : path_(std::move(path)) {}

  bool exists() const;
  /// The whole lines that came since the last call. A file that became shorter begins anew.
  std::vector<std::string> next_lines();

 private:
  std::filesystem::path path_;
  std::uintmax_t read_ = 0;
};

}  // namespace devkit
