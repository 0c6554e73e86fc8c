#include "devkit/splicectl/proxy_settings.h"

#include <stdexcept>

#include "devkit/common/FileWatcher.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"
#include "devkit/proxy/ProxySettings.h"
#include "devkit/splicectl/module_folder.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::uint32_t usual_type = 1;

/// The object in the file, an empty one without it.
json read_object(const std::filesystem::path& file) {
  std::error_code reason;
  const auto content = read_file(file, reason);
  if (!content && reason == std::errc::no_such_file_or_directory) return json::object();
  if (!content)
    throw host_error(path_text(file) + " can't be read (" + reason.message() +
                     "); name another with --file");
  try {
    read_proxy_settings(content);
    return json::parse(*content);
  } catch (const std::invalid_argument& wrong) {
    throw host_error(path_text(file) + " can't be used: " + wrong.what() +
                     "; mend it, or remove it");
  }
}

void write_object(const std::filesystem::path& file, const json& object) {
  const std::string content = object.dump();
  read_proxy_settings(content);
  replace_file(file, content);
}

}  // namespace

json read_proxy(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return {};
  const json object = read_object(file);
  const std::string password = object.value("password", "");
  return {{"enabled", object.value("enabled", false)},
          {"type", object.value("type", std::uint32_t{0})},
          {"host", object.value("host", "")},
          {"port", object.value("port", std::uint32_t{0})},
          {"user", object.value("user", "")},
          {"has_password", !password.empty()},
          {"fail", object.value("fail", json::object())}};
}

void set_proxy(const std::filesystem::path& file, const ProxyChoice& choice) {
  json object = read_object(file);
  object["enabled"] = true;
  if (!object.contains("type")) object["type"] = usual_type;
  object["host"] = choice.host;
  object["port"] = choice.port;
  object["user"] = choice.user;
  object["password"] = choice.password;
  write_object(file, object);
}

void set_no_proxy(const std::filesystem::path& file) {
  json object = read_object(file);
  object["enabled"] = false;
  write_object(file, object);
}

}  // namespace devkit
