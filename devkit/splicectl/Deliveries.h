#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
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
    bool as_json = false;
  };

  explicit Deliveries(Choice choice) : choice_(std::move(choice)) {}

  void event(const Application::Event& event);
  /// True if it is to be completed.
  bool command(const Application::Command& command);

  /// Events and commands, repeated ones included.
  std::uint64_t count() const;
  std::vector<std::string> completed() const;
  /// Waits until there are as many as that, or the time is over.
  void wait_for(std::uint64_t count, std::uint32_t milliseconds) const;

 private:
  bool wants(const std::string& id) const;
  void came();

  const Choice choice_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::uint64_t count_ = 0;
  std::set<std::string> seen_;
  std::vector<std::string> completed_;
};

}  // namespace devkit
