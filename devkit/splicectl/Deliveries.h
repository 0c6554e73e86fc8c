#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "devkit/app/Application.h"

namespace devkit {

/// What came to an application: prints a line for each event and command, and decides which
/// commands to complete. Any thread.
class Deliveries {
 public:
  struct Choice {
    std::string app;                    ///< whose lines they are
    std::vector<std::string> complete;  ///< "all", "none", or ids
    std::string status;                 ///< to complete them with
    bool as_json = false;
  };

  explicit Deliveries(Choice choice) : choice_(std::move(choice)) {}

  /// Prints that the application is ready, and lets through what came before: that would otherwise
  /// be told by an application that nobody has heard of.
  void ready();

  void event(const Application::Event& event);
  /// The status to complete it with; null if it isn't to be completed. What was completed once and
  /// comes again is completed again.
  std::optional<std::string> command(const Application::Command& command);
  /// It is completed for another reason.
  void note_completion(const std::string& id, const std::string& status);

  /// Events and commands, repeated ones included.
  std::uint64_t count() const;
  /// The commands whose completion hasn't been seen to go out.
  std::vector<std::string> underway() const;
  /// Those of them that are left; what came since `before` was asked for isn't touched.
  void keep_underway(const std::vector<std::string>& before, const std::vector<std::string>& left);
  /// Waits until there are as many as that, or the time is over.
  void wait_for(std::uint64_t count, std::uint32_t milliseconds) const;

 private:
  /// Under the mutex, as the next ones.
  std::optional<std::string> status_for(const std::string& id) const;
  void completes(const std::string& id, const std::string& status);
  void came(const nlohmann::json& value, const std::string& text);
  void show(const nlohmann::json& value, const std::string& text);

  const Choice choice_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::uint64_t count_ = 0;
  std::set<std::string> seen_;
  std::map<std::string, std::string> completed_;  ///< the status of each
  std::set<std::string> underway_;
  bool is_ready_ = false;
  std::vector<std::string> held_lines_;  ///< until then
};

}  // namespace devkit
