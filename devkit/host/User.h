#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace devkit {

/// Who uses this device, as the Product Agent knows it. UTF-8.
struct User {
  std::string device_id;
  std::string user_token;  ///< empty: nobody is signed in

  bool is_signed_in() const { return !user_token.empty(); }
  bool operator==(const User&) const = default;
};

/// The file that the agents of all hosts read: the one that SPLICE_USER names, or user.json in the
/// module's folder.
std::filesystem::path user_file(const std::filesystem::path& module);

/// What the file's text says. No file (null) and an empty one mean that nobody is signed in. Throws
/// std::runtime_error if the text makes no sense.
User parse_user(const std::optional<std::string>& text);
std::string to_text(const User& user);

}  // namespace devkit
