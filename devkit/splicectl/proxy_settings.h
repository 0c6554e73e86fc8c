#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace devkit {

struct ProxyChoice {
  std::string host;
  std::uint16_t port = 0;
  std::string user;
  std::string password;
};

// They edit the file that the proxy client stand-in watches. A file that says nothing sensible is
// host_error, what the stand-in would not take std::invalid_argument, each with a sentence.

/// What the file says; null without one. The password isn't in it, only whether there is one.
nlohmann::json read_proxy(const std::filesystem::path& file);
/// Other members, such as the failures on demand, stay.
void set_proxy(const std::filesystem::path& file, const ProxyChoice& choice);
void set_no_proxy(const std::filesystem::path& file);

}  // namespace devkit
