#include "guardian/config_files.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "_base/json_tree.h"
#include "_base/utf8.h"
#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "frame/logger_stream.h"
#include "guardian/guardian_json.h"
#include "platform/file.h"

namespace cloud::guardian {

namespace {

stdext::unexpected<error_record> failure(std::uint32_t number, const wchar_t* message) {
  return {error_record{winapi::make_error_code(number), message}};
}

zv::json_tree parse(std::istream& content) {
  // The library looks past the stream at its buffer, so a stream that is bad has to complain by
  // itself.
  content.exceptions(std::ios::badbit);
  return zv::json_tree(nlohmann::json::parse(content));
}

loaded<std::ifstream> open(const std::wstring& path, const wchar_t* message) {
  std::ifstream file = platform::open_for_reading(platform::file_path(path));
  if (!file.is_open()) return failure(win_error::cant_open, message);
  return file;
}

/// What `read` makes of its source, which is invalid where that throws. The texts of the exceptions
/// are of no use to anyone who could mend the file.
template <class Read>
auto valid_or(const wchar_t* message, Read read) -> loaded<decltype(read())> {
  try {
    return read();
  } catch (const std::exception&) {
    return failure(win_error::bad_db, message);
  }
}

template <class Value>
loaded<Value> read_config_file(std::istream& file) {
  return valid_or(L"invalid config file", [&] { return parse(file)->get<Value>(); });
}

loaded<std::ifstream> load_packaged_file() {
  const auto path = get_packaged_settings_path();
  if (!path) return stdext::unexpected{path.error()};
  return load_config_cache_file(path.value());
}

loaded<std::ifstream> load_cache_file(const guardian_paths& paths) {
  const auto path = get_config_cache_path(paths);
  if (!path) return stdext::unexpected{path.error()};
  return load_config_cache_file(path.value());
}

guardian_paths to_paths(const nlohmann::json& json) {
  const auto text = [&](const char* key) { return zv::to_wide(json.at(key).get<std::string>()); };
  guardian_paths paths{
      .storage_folder = {},
      .admin_storage_folder = platform::wide_text(std::filesystem::path("settings") / "cloud"),
      .storage_filename = {},
      .config_storage_filename = L"cloud_guardian_settings_cache.json"};
  paths.storage_folder = text("storage_folder");
  paths.storage_filename = text("storage_filename");
  if (json.contains("config_storage_filename")) {
    paths.config_storage_filename = text("config_storage_filename");
  }
  if (json.contains("admin_storage_folder")) {
    paths.admin_storage_folder = text("admin_storage_folder");
  }
  return paths;
}

void log_failure(const wchar_t* what, const error_record& error) {
  LOG_LINE(logging::failure, L"cloud::guardian::load_config_from_file")
      << what << error.code.value() << L" " << error.message;
}

}  // namespace

loaded<std::wstring> get_packaged_settings_path() {
  return get_module_path(
      platform::wide_text(std::filesystem::path("settings") / "cloud_guardian_settings.json"));
}

loaded<guardian_paths> load_paths_from_file() {
  auto file = load_packaged_file();
  if (!file) return stdext::unexpected{file.error()};
  return valid_or(L"invalid config file", [&] { return to_paths(*parse(file.value())); });
}

loaded<guardian_config> load_config_from_file(const guardian_paths& paths) {
  if (auto cache = load_cache_file(paths)) {
    auto config = read_config_file<guardian_config>(cache.value());
    if (config) return config;
    log_failure(L"load_config_from_file err=", config.error());
  } else {
    log_failure(L"load_config_cache_file err=", cache.error());
  }

  auto packaged = load_packaged_file();
  if (!packaged) return stdext::unexpected{packaged.error()};
  return read_config_file<guardian_config>(packaged.value());
}

loaded<guardian_config> load_config_cache(const std::wstring& path) {
  auto file = load_config_cache_file(path);
  if (!file) return stdext::unexpected{file.error()};
  return read_config_file<guardian_config>(file.value());
}

loaded<std::ifstream> load_config_cache_file(const std::wstring& path) {
  return open(path, L"open config file failed");
}

loaded<guardian_config> load_config_from_string(const std::string& text) {
  return valid_or(L"invalid config str", [&] {
    return zv::json_tree(nlohmann::json::parse(text))->get<guardian_config>();
  });
}

loaded<std::wstring> get_config_cache_path(const guardian_paths& paths) {
  return get_module_path(platform::wide_text(platform::file_path(paths.admin_storage_folder) /
                                             platform::file_path(paths.config_storage_filename)));
}

loaded<services_map> load_services_info(const std::wstring& path) {
  auto file = open(path, L"open services info file failed");
  if (!file) return stdext::unexpected{file.error()};
  return valid_or(L"invalid services info file",
                  [&] { return parse(file.value())->get<services_map>(); });
}

}  // namespace cloud::guardian
