#include "support/GuardianFolder.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace support {
namespace {

std::string all_lines(const RecordingLog& log) {
  std::ostringstream out;
  for (const LogLine& line : log.lines()) out << "\n  " << line;
  return out.str();
}

/// Put together here, not by the module's own conversion.
nlohmann::json config_json(const guardian_config& config) {
  nlohmann::json intervals = nlohmann::json::array();
  for (const break_interval& interval : config.intervals) {
    intervals.push_back({{"min", interval.min}, {"max", interval.max}});
  }
  nlohmann::json json = {{"circuit_config",
                          {{"threshold", config.threshold},
                           {"intervals", intervals},
                           {"reset_threshold", config.reset_threshold}}}};
  if (config.services) json["services"] = *config.services;
  return json;
}

}  // namespace

guardian_config GuardianFolder::config() {
  guardian_config config;
  config.threshold = 3;
  config.intervals = {{60, 60}, {120, 120}, {300, 300}};
  config.reset_threshold = 30;
  return config;
}

guardian_config GuardianFolder::config(std::vector<std::string> services) {
  guardian_config listed = config();
  listed.services = std::move(services);
  return listed;
}

guardian_paths GuardianFolder::paths() {
  guardian_paths paths;
  paths.storage_folder = L"guardian";
  paths.admin_storage_folder = (std::filesystem::path("settings") / "cloud").wstring();
  paths.storage_filename = L"services.json";
  paths.config_storage_filename = L"cloud_guardian_settings_cache.json";
  return paths;
}

GuardianFolder::GuardianFolder(const guardian_config& packaged, const std::filesystem::path& base)
    : module_(base) {
  seam().set_elevated(true);
  seam().hold_clock(start);
  package(packaged);
  std::filesystem::create_directories(cloud_folder());
}

void GuardianFolder::package(const guardian_config& config) {
  nlohmann::json json = config_json(config);
  json["storage_folder"] = "guardian";
  json["storage_filename"] = "services.json";
  package(json.dump());
}

void GuardianFolder::package(std::string_view content) {
  module_.write(std::filesystem::path("settings") / "cloud_guardian_settings.json", content);
}

void GuardianFolder::write_services(std::string_view content) {
  module_.write(services_file().lexically_relative(path()), content);
}

void GuardianFolder::write_cache(std::string_view content) {
  module_.write(cache_file().lexically_relative(path()), content);
}

void GuardianFolder::plant(const std::string& service, const nlohmann::json& circuit) {
  write_services(nlohmann::json{{service, circuit}}.dump());
}

std::string GuardianFolder::content(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("no file " + file.string());
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

nlohmann::json stored_circuit(circuit_state state, std::int64_t seconds) {
  return {{"state", static_cast<std::int32_t>(state)},
          {"counter", 0},
          {"index", 0},
          {"next_request_time", seconds},
          {"errors", nlohmann::json::array()},
          {"blocked", 0},
          {"allowed", 0}};
}

nlohmann::json stored_failure(const std::string& value, int field, const std::string& method) {
  return {{"value", value}, {"field", field}, {"method", method}};
}

std::string config_text(const guardian_config& config) {
  return config_json(config).dump();
}

std::size_t count_lines(const RecordingLog& log, std::uint32_t level, std::wstring_view text) {
  std::size_t count = 0;
  for (const LogLine& line : log.lines(level)) count += line.text == text ? 1 : 0;
  return count;
}

std::optional<std::wstring> line_that_begins(const RecordingLog& log, std::uint32_t level,
                                             std::wstring_view beginning) {
  for (LogLine& line : log.lines(level)) {
    if (line.text.starts_with(beginning)) return std::move(line.text);
  }
  return std::nullopt;
}

testing::AssertionResult has_line(const RecordingLog& log, std::uint32_t level,
                                  std::wstring_view text) {
  if (count_lines(log, level, text) != 0) return testing::AssertionSuccess() << all_lines(log);
  return testing::AssertionFailure()
         << LogLine{0, level, L"...", std::wstring(text)} << " is not among" << all_lines(log);
}

testing::AssertionResult has_line_beginning(const RecordingLog& log, std::uint32_t level,
                                            std::wstring_view beginning) {
  if (line_that_begins(log, level, beginning)) {
    return testing::AssertionSuccess() << all_lines(log);
  }
  return testing::AssertionFailure() << LogLine{0, level, L"...", std::wstring(beginning)}
                                     << " begins no line of" << all_lines(log);
}

CallCount::CallCount(TestSeam& seam)
    : seam_(seam),
      opens_(seam.calls(platform::Call::open)),
      reads_(seam.calls(platform::Call::read)),
      writes_(seam.calls(platform::Call::write)),
      locks_(seam.calls(platform::Call::lock)) {}

}  // namespace support
