#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace devkit {

/// The member that a JSON pointer names; null if there is none, whatever stands in its way: a line
/// may be anybody's.
nlohmann::json member(const nlohmann::json& event, const char* pointer);

/// The event of one line in a sentence; whatever else it holds follows as JSON.
std::string event_text(const nlohmann::json& event);

/// Reads the events stand-in's file as it grows.
class EventsFile {
 public:
  explicit EventsFile(std::filesystem::path path) : path_(std::move(path)) {}

  bool exists() const;
  /// The whole lines that came since the last call. A file that became shorter begins anew. Throws
  /// std::runtime_error with a sentence if the file is there and can't be read.
  std::vector<std::string> next_lines();

 private:
  /// Everything behind what was given.
  std::string rest();

  std::filesystem::path path_;
  std::uintmax_t read_ = 0;  ///< up to the end of the last line that was given
};

}  // namespace devkit
