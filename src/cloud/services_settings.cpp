#include "cloud/services_settings.h"

#include <filesystem>

#include "_base/json_tree.h"
#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "platform/file.h"

namespace cloud {

namespace {

stdext::unexpected<settings_error> failure(std::uint32_t number, const wchar_t* message) {
  return {settings_error{winapi::make_error_code(number), message}};
}

}  // namespace

services_settings parse_services_settings(std::istream& content) {
  const zv::json_tree json(nlohmann::json::parse(content));
  services_settings settings;
  json->at("categories").get_to(settings.categories);
  json->at("services").get_to(settings.services);
  return settings;
}

stdext::expected<services_settings, settings_error> read_services_settings() {
  const std::filesystem::path relative =
      std::filesystem::path("settings") / "cloud_services_settings.json";
  const auto path = get_module_path(platform::wide_text(relative));
  if (!path) return stdext::unexpected{path.error()};

  std::ifstream file = platform::open_for_reading(platform::file_path(path.value()));
  if (!file.is_open()) return failure(win_error::cant_open, L"open config file failed");
  try {
    return parse_services_settings(file);
  } catch (const std::exception&) {
    return failure(win_error::bad_db, L"invalid config file");
  }
}

}  // namespace cloud
