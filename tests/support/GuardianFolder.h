#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "guardian/guardian_config.h"
#include "guardian/guardian_paths.h"
#include "guardian/service_info.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// A module's folder with the guardian's packaged settings in it, for a process with elevated
/// rights: services file, cache and lock file all lie in settings/cloud. The clock stands at
/// `start` until a test moves it.
class GuardianFolder {
 public:
  static constexpr std::int64_t start_seconds = 1'700'000'000;
  static constexpr std::int64_t start = start_seconds * ticks_per_second;

  /// The configuration of all tests that don't bring their own: three failures open, breaks of one,
  /// two and five minutes, half an hour of quiet, all services.
  static guardian_config config();
  static guardian_config config(std::vector<std::string> services);
  static guardian_paths paths();

  /// Below `base`.
  explicit GuardianFolder(
      const guardian_config& packaged = config(),
      const std::filesystem::path& base = std::filesystem::temp_directory_path());

  TestSeam& seam() noexcept { return module_.seam(); }
  const std::filesystem::path& path() const noexcept { return module_.path(); }

  std::filesystem::path cloud_folder() const { return path() / "settings" / "cloud"; }
  std::filesystem::path services_file() const { return cloud_folder() / "services.json"; }
  std::filesystem::path cache_file() const {
    return cloud_folder() / "cloud_guardian_settings_cache.json";
  }
  std::filesystem::path lock_file() const { return cloud_folder() / "cloud_guardian_lock.lock"; }

  /// The packaged settings file.
  void package(const guardian_config& config);
  void package(std::string_view content);
  void write_services(std::string_view content);
  void write_cache(std::string_view content);

  /// A services file with this one circuit.
  void plant(const std::string& service, const nlohmann::json& circuit);

  static std::string content(const std::filesystem::path& file);
  nlohmann::json services() const { return nlohmann::json::parse(content(services_file())); }
  /// As it stands in the services file now; throws if it isn't there.
  nlohmann::json circuit(const std::string& service) const { return services().at(service); }

  std::size_t calls(platform::Call kind) { return seam().calls(kind); }

 private:
  ModuleFolder module_;
};

/// A circuit as the services file has it: closed, never counted, touched at the start.
nlohmann::json stored_circuit(circuit_state state = circuit_state::closed,
                              std::int64_t seconds = GuardianFolder::start_seconds);
nlohmann::json stored_failure(const std::string& value, int field, const std::string& method);
/// A configuration as the cache and the cloud have it.
std::string config_text(const guardian_config& config);

/// How often this text was logged at this level, whatever the function's name.
std::size_t count_lines(const RecordingLog& log, std::uint32_t level, std::wstring_view text);
/// The first text of this level that begins so.
std::optional<std::wstring> line_that_begins(const RecordingLog& log, std::uint32_t level,
                                             std::wstring_view beginning);
testing::AssertionResult has_line(const RecordingLog& log, std::uint32_t level,
                                  std::wstring_view text);
testing::AssertionResult has_line_beginning(const RecordingLog& log, std::uint32_t level,
                                            std::wstring_view beginning);

/// How many file operations something cost, since the construction.
class CallCount {
 public:
  explicit CallCount(TestSeam& seam);
  std::size_t opens() const { return since(platform::Call::open, opens_); }
  std::size_t reads() const { return since(platform::Call::read, reads_); }
  std::size_t writes() const { return since(platform::Call::write, writes_); }
  std::size_t locks() const { return since(platform::Call::lock, locks_); }

 private:
  std::size_t since(platform::Call kind, std::size_t before) const {
    return seam_.calls(kind) - before;
  }

  TestSeam& seam_;
  std::size_t opens_;
  std::size_t reads_;
  std::size_t writes_;
  std::size_t locks_;
};

}  // namespace support
