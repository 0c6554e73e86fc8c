#include "devkit/cloud/push_request.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <stdexcept>

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::array known = {"kind",   "app_id",     "device_id", "name",
                              "params", "command_id", "timestamp"};

std::int64_t now() {
  using namespace std::chrono;
  return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

/// Applications remember identifiers for longer than a cloud without a file does.
std::string new_command_id() {
  static const std::uint32_t start = std::random_device{}();
  static std::atomic<std::uint64_t> next = 1;
  return "c" + std::to_string(start) + "-" + std::to_string(next++);
}

std::string text(const json& push, const char* member) {
  const auto found = push.find(member);
  if (found == push.end()) return {};
  if (!found->is_string())
    throw std::invalid_argument(std::string("\"") + member + "\" of a push is a text, not " +
                                found->dump());
  return *found;
}

void check_members(const json& push) {
  if (!push.is_object()) throw std::invalid_argument("a push is a JSON object");
  for (const auto& [name, value] : push.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end())
      throw std::invalid_argument("a push has no \"" + name +
                                  "\"; it has kind, app_id, device_id, name, params, command_id "
                                  "and timestamp");
  }
}

}  // namespace

PushRequest push_from_json(const json& push) {
  check_members(push);
  PushRequest request;
  const std::string kind = text(push, "kind");
  if (kind != "event" && kind != "command")
    throw std::invalid_argument("a push's kind is \"event\" or \"command\"");
  request.is_command = kind == "command";
  request.target = {text(push, "app_id"), text(push, "device_id")};
  request.name = text(push, "name");
  if (push.contains("params")) request.params = push["params"];
  if (!request.is_command && push.contains("command_id"))
    throw std::invalid_argument("only a command has a \"command_id\"");
  if (request.is_command)
    request.command_id = push.contains("command_id") ? text(push, "command_id") : new_command_id();
  const json timestamp = push.value("timestamp", json(now()));
  if (!timestamp.is_number_integer())
    throw std::invalid_argument("\"timestamp\" of a push is a whole number, not " +
                                timestamp.dump());
  request.timestamp = timestamp;
  return request;
}

std::string push_text(const PushRequest& push, const PushTarget& registered) {
  json fields = {{"timestamp", push.timestamp}};
  if (push.is_command) {
    fields["event"] = "command";
    fields["event_params"] = {
        {"command", push.name}, {"command_id", push.command_id}, {"command_params", push.params}};
  } else {
    fields["event"] = push.name;
    fields["event_params"] = push.params;
  }
  if (!push.target.app_id.empty())
    fields["connect_target"] = {{"app_id", registered.app_id}, {"device_id", registered.device_id}};
  return json({{"app_fields", fields}}).dump();
}

}  // namespace devkit
