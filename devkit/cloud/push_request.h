#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/cloud/PushTarget.h"

namespace devkit {

/// A push that somebody wants sent.
///
///   kind                 "event" or "command"
///   app_id, device_id    whom it is for; without an application every stream of the device gets
///                        it, and its text names no target; without a device it is for any
///   name, params         of the event or command; without parameters an empty object
///   command_id           of a command; one is made up if it is missing, and an empty one keeps the
///                        command out of the table
///   timestamp            seconds since 1970; missing: now
struct PushRequest {
  bool is_command = false;
  PushTarget target;
  std::string name;
  nlohmann::json params = nlohmann::json::object();
  std::string command_id;
  std::int64_t timestamp = 0;
};

/// Throws std::invalid_argument with a sentence for people if the JSON describes no push.
PushRequest push_from_json(const nlohmann::json& json);

/// The text that the application's client gets.
std::string push_text(const PushRequest& push, const PushTarget& registered);

}  // namespace devkit
