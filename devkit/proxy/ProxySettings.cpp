#include "devkit/proxy/ProxySettings.h"

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "devkit/common/text.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::array<const char*, 10> operations = {
    "ZvCreateObject",   "Init",           "Start",
    "QueryInterface",   "add_observer",   "remove_observer",
    "get_proxy",        "get_proxy_type", "initialize_communication",
    "get_enabled_state"};

bool is_operation(const std::string& name) {
  return std::any_of(operations.begin(), operations.end(),
                     [&](const char* operation) { return name == operation; });
}

std::uint32_t number(const json& object, const char* name, std::uint32_t largest) {
  const auto found = object.find(name);
  if (found == object.end()) return 0;
  if (!found->is_number_unsigned() || found->get<std::uint64_t>() > largest) {
    throw std::invalid_argument("\"" + std::string(name) + "\" is to be a number from 0 to " +
                                std::to_string(largest));
  }
  return found->get<std::uint32_t>();
}

void copy_text(const json& object, const char* name, wchar_t* to) {
  const auto found = object.find(name);
  if (found == object.end()) return;
  if (!found->is_string())
    throw std::invalid_argument("\"" + std::string(name) + "\" is to be a text in quotes");
  const std::wstring text = to_wide(found->get<std::string>());
  constexpr std::size_t most = proxy_msgbus::proxy_info::text_size - 1;
  if (text.size() > most) {
    throw std::invalid_argument("\"" + std::string(name) + "\" is longer than " +
                                std::to_string(most) + " characters");
  }
  text.copy(to, text.size());
}

json parsed(const std::string& content) {
  json object = json::parse(content, nullptr, false);
  if (!object.is_object()) throw std::invalid_argument("it is not a JSON object");
  return object;
}

}  // namespace

std::uint32_t ProxySettings::failure(const char* operation) const {
  const auto found = fail.find(operation);
  return found == fail.end() ? 0 : found->second;
}

ProxySettings read_proxy_settings(const std::optional<std::string>& content) {
  ProxySettings settings;
  if (!content) return settings;
  const json object = parsed(*content);

  if (const auto enabled = object.find("enabled"); enabled != object.end()) {
    if (!enabled->is_boolean())
      throw std::invalid_argument("\"enabled\" is to be true or false, without quotes");
    settings.enabled = enabled->get<bool>();
  }
  constexpr std::uint32_t any = std::numeric_limits<std::uint32_t>::max();
  settings.type = number(object, "type", any);
  settings.info.port = number(object, "port", 65535);
  copy_text(object, "host", settings.info.host);
  copy_text(object, "user", settings.info.user);
  copy_text(object, "password", settings.info.password);

  const json fail = object.value("fail", json::object());
  if (!fail.is_object())
    throw std::invalid_argument("\"fail\" is to be an object of operations and numbers");
  for (const auto& [name, status] : fail.items()) {
    if (!is_operation(name))
      throw std::invalid_argument("\"fail\" names an operation that there isn't: \"" + name + "\"");
    settings.fail[name] = number(fail, name.c_str(), any);
  }
  return settings;
}

}  // namespace devkit
