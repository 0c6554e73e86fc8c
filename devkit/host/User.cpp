#include "devkit/host/User.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

using nlohmann::json;

namespace {

std::string text_of(const json& user, const char* member) {
  const auto found = user.find(member);
  if (found == user.end() || found->is_null()) return {};
  if (!found->is_string())
    throw std::runtime_error(std::string("\"") + member + "\" is to be a text");
  return found->get<std::string>();
}

}  // namespace

std::filesystem::path user_file(const std::filesystem::path& module) {
  const auto name = os::environment("SPLICE_USER");
  return name && !name->empty() ? to_path(*name)
                                : std::filesystem::absolute(module).parent_path() / "user.json";
}

User parse_user(const std::optional<std::string>& text) {
  if (!text || text->empty()) return {};
  const json user = json::parse(*text, nullptr, false);
  if (!user.is_object())
    throw std::runtime_error(
        R"(write an object such as {"device_id":"device-1","user_token":"token-1"})");
  return {text_of(user, "device_id"), text_of(user, "user_token")};
}

std::string to_text(const User& user) {
  json text = {{"device_id", user.device_id}};
  if (user.is_signed_in()) text["user_token"] = user.user_token;
  return text.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace devkit
