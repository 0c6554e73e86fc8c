#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "devkit/cloud/Fault.h"
#include "devkit/cloud/PushTarget.h"

namespace devkit {

/// Speaks to a development cloud's admin endpoint. Each operation throws std::runtime_error with a
/// sentence that says what to do if there is no cloud, or if it refuses.
class CloudAdmin {
 public:
  /// `address` as "http://127.0.0.1:port"; https isn't offered here.
  explicit CloudAdmin(std::string address);

  nlohmann::json info() const;
  nlohmann::json requests(std::uint64_t after) const;
  nlohmann::json faults() const;
  nlohmann::json add_fault(const nlohmann::json& fault) const;
  /// Gives how many were cleared.
  std::size_t clear_faults(const FaultSelection& selection = {}) const;

  /// Sends a push, or an array of them (push_request.h). Gives for each how many streams got it
  /// ("streams"), and a command's id ("command_id").
  nlohmann::json push(const nlohmann::json& request) const;
  /// Gives how many streams got it.
  std::size_t push_event(const PushTarget& target, const std::string& name,
                         const nlohmann::json& params = nlohmann::json::object()) const;
  /// Gives the command's id.
  std::string push_command(const PushTarget& target, const std::string& name,
                           const nlohmann::json& params = nlohmann::json::object()) const;
  /// Sends the text as it is. Gives how many streams got it.
  std::size_t push_text(const PushTarget& target, const std::string& text) const;
  /// The table: an array of command_id, app_id, device_id, name, params, timestamp, completions,
  /// status, by_app_id and by_device_id.
  nlohmann::json commands() const;
  /// The push streams: an array of stream, process, connected, connection (a number
  /// that rises with each), registrations, waiting and sent.
  nlohmann::json streams() const;
  /// Gives how many there were.
  std::size_t break_streams() const;
  /// Who may register from now on; none: everyone but "".
  void accept_tokens(const std::vector<std::string>& tokens) const;

 private:
  std::string address_;
};

/// There is no cloud at the address.
class no_cloud : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace devkit
