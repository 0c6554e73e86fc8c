#pragma once

#include <cstdint>
#include <string>

#include "devkit/cloud/Cloud.h"

namespace kit_test {

/// In whose name requests come to the cloud.
class UserSightings {
 public:
  /// Whether the latest request with a user was in this one's name.
  bool is_latest(const devkit::Cloud& cloud, const std::string& token) {
    using nlohmann::json;
    for (const json& request : cloud.requests(seen_)) {
      seen_ = request.at("number");
      const json body = json::parse(request.value("body", ""), nullptr, false);
      if (!body.is_object()) continue;
      const std::string user = body.value("/params/connect_source/user_token"_json_pointer, "");
      if (!user.empty()) latest_ = user;
    }
    return latest_ == token;
  }

 private:
  std::uint64_t seen_ = 0;
  std::string latest_;
};

}  // namespace kit_test
