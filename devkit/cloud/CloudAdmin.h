#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/cloud/Fault.h"

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

 private:
  std::string address_;
};

/// There is no cloud at the address.
class no_cloud : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace devkit
