#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "cloud/proxy_msgbus.h"

namespace devkit {

/// What proxy.json says. Only an enabled proxy is used; without a file there is none.
struct ProxySettings {
  bool enabled = false;
  std::uint32_t type = 0;
  proxy_msgbus::proxy_info info;
  std::map<std::string, std::uint32_t> fail;  ///< by operation: what it answers

  std::uint32_t failure(const char* operation) const;
};

/// Null for "no file". Throws std::invalid_argument with a sentence about the member that is wrong;
/// the password is never quoted.
ProxySettings read_proxy_settings(const std::optional<std::string>& content);

}  // namespace devkit
