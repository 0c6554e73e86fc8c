#include "guardian/services_storage.h"

#include <exception>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "_base/json_tree.h"
#include "frame/logger_stream.h"
#include "guardian/break_time.h"
#include "guardian/config_files.h"
#include "guardian/guardian_json.h"
#include "guardian/storage_folders.h"
#include "guardian/telemetry.h"
#include "platform/clock.h"
#include "platform/file.h"

namespace cloud::guardian {

namespace {

namespace notify = winapi::directory_mgmt::notify;
constexpr std::uint32_t watched_changes =
    notify::file_name | notify::dir_name | notify::last_write | notify::creation;

const wchar_t* name_of(circuit_state state) {
  switch (state) {
    case circuit_state::closed:
      return L"closed";
    case circuit_state::open:
      return L"open";
    case circuit_state::half_open:
      return L"half_open";
  }
  return L"";
}

/// Takes the flag and, if it was set, does what it stands for. News that can't be taken in for lack
/// of memory are left for the next operation. (The first look spares each request a bus lock.)
template <class Action>
void taking(std::atomic<bool>& flag, Action action) {
  if (!flag || !flag.exchange(false)) return;
  try {
    action();
  } catch (...) {
    flag = true;
    throw;
  }
}

/// Unknown identities are different ones: watching a folder twice does no harm.
bool is_same_folder(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && !error;
}

}  // namespace

/// The module's: the clock, breaks at random, the log and the telemetry.
class services_storage::surroundings final : public circuit::surroundings {
 public:
  explicit surroundings(const std::string& service) : service_(service) {}

  std::int64_t now() override { return platform::now_ticks(); }

  std::int64_t get_next_request_time(const break_interval& interval) override {
    // A new generator for each break, seeded with the time: it is meant that two breaks drawn in
    // one tick are alike. Random they are because whole crowds of clients fail at the same moment,
    // and must not come back at the same moment.
    const std::uint32_t seconds =
        draw_break(interval, static_cast<std::uint32_t>(platform::now_ticks()));
    LOG_LINE(logging::progress, L"cloud::guardian::services_storage::get_next_request_time")
        << L"current break time " << seconds << L"s";
    std::int64_t end = 0;
    const bool is_beyond_time =
        __builtin_add_overflow(platform::now_ticks(), seconds * ticks_per_second, &end);
    return is_beyond_time ? std::numeric_limits<std::int64_t>::max() : end;
  }

  void entering(const service_info& info, circuit_state state, bool notify) override {
    LOG_LINE(logging::progress, L"cloud::guardian::services_storage::set_circuit_state")
        << L"service " << service_ << L" circuit state " << name_of(state);
    if (!notify) return;
    try {
      // Now, while the record still has what is to be told.
      if (info.state != circuit_state::closed && state == circuit_state::closed) {
        telemetry().post_throttling_disabled(service_, info.blocked, info.allowed);
      } else if (info.state == circuit_state::closed && state == circuit_state::open) {
        telemetry().post_throttling_enabled(service_, info.errors);
      }
    } catch (const std::exception& error) {
      // A report that can't be made for lack of memory must not keep the circuit from moving.
      LOG_LINE(logging::failure, L"cloud::guardian::services_storage::set_circuit_state")
          << L"ex " << error.what();
    }
  }

  void counted(std::uint32_t counter) override {
    LOG_LINE(logging::progress, L"cloud::guardian::services_storage::increment_counter")
        << L"counter: " << counter;
  }

 private:
  const std::string& service_;
};

services_storage::services_storage(guardian_paths the_paths) : paths(std::move(the_paths)) {
  const wchar_t* const function = L"cloud::guardian::services_storage::services_storage";
  auto loaded_config = load_config_from_file(paths);
  if (!loaded_config) {
    const error_record& error = loaded_config.error();
    LOG_LINE(logging::failure, function) << L"Failed to load cloud guardian config from file "
                                         << error.message << L" err = " << error.code.value();
    throw std::runtime_error("Failed to load cloud guardian config from file");
  }
  set_config(std::move(loaded_config).value());

  const auto folder = get_storage_folder(paths);
  if (!folder) {
    const error_record& error = folder.error();
    LOG_LINE(logging::failure, function) << L"Failed get cloud guardian services file path "
                                         << error.message << L" err = " << error.code.value();
    throw std::runtime_error("Failed get cloud guardian services file path");
  }
  services_path = platform::wide_text(platform::file_path(folder.value()) /
                                      platform::file_path(paths.storage_filename));
  LOG_LINE(logging::progress, function) << L"services cache path " << services_path;

  if (auto loaded_services = load_services_info(services_path)) {
    services = std::move(loaded_services).value();
  } else {
    const error_record& error = loaded_services.error();
    LOG_LINE(logging::warning, function)
        << L"Failed to load cloud guardian services info from file " << error.message << L" err = "
        << error.code.value();
  }

  if (auto cache_path = get_config_cache_path(paths)) {
    config_cache_path = std::move(cache_path).value();
    LOG_LINE(logging::progress, function) << L"config cache path " << config_cache_path;
  } else {
    const error_record& error = cache_path.error();
    LOG_LINE(logging::warning, function) << L"Failed to get settings cache path " << error.message
                                         << L" err = " << error.code.value();
  }
  start_watching();
}

void services_storage::start_watching() {
  const std::filesystem::path folder = platform::file_path(services_path).parent_path();
  std::vector<std::wstring> folders{platform::wide_text(folder)};
  if (!config_cache_path.empty()) {
    const std::filesystem::path cache_folder = platform::file_path(config_cache_path).parent_path();
    if (!is_same_folder(folder, cache_folder)) folders.push_back(platform::wide_text(cache_folder));
  }
  directories = std::make_unique<winapi::directory_mgmt::directories_changes>(
      this, std::move(folders), watched_changes);
}

bool services_storage::refresh_service(const std::string& service) {
  bool dirty = false;
  // In this order: others have reset their circuits for the same configuration too, and what they
  // wrote since is newer than the reset made here.
  taking(config_modified, [&] {
    reload_config_from_file();
    dirty = reset_services(false);  // Meant for a failed reload as well.
  });
  taking(services_modified, [&] { reload_services_from_file(); });

  if (!circuit::is_monitored(*config, service)) return dirty;
  const auto [entry, is_new] = services.try_emplace(service);
  surroundings around(service);
  const bool forgotten = circuit::forget_if_quiet(entry->second, *config, around);
  return dirty || is_new || forgotten;
}

bool services_storage::is_monitored(std::string_view service) const {
  return circuit::is_monitored(*current_config(), service);
}

std::optional<circuit::permission> services_storage::ask(const std::string& service) {
  if (!circuit::is_monitored(*config, service)) return std::nullopt;
  surroundings around(service);
  return circuit::ask(services.at(service), *config, around);
}

bool services_storage::succeed(const std::string& service) {
  const auto entry = services.find(service);
  if (entry == services.end()) return false;
  surroundings around(service);
  return circuit::succeed(entry->second, *config, around);
}

bool services_storage::fail(const std::string& service, const request_failure* failure) {
  const auto entry = services.find(service);
  if (entry == services.end()) return false;
  surroundings around(service);
  return circuit::fail(entry->second, *config, failure, around);
}

bool services_storage::reload_config(const guardian_config& new_config) {
  const wchar_t* const function = L"cloud::guardian::services_storage::reload_config";
  if (config_cache_path.empty()) {
    LOG_LINE(logging::warning, function) << L"empty config cache path";
    return false;
  }
  if (new_config == *config) {
    LOG_LINE(logging::progress, function) << L"same config";
    return false;
  }
  set_config(new_config);
  save_config_to_file();
  if (reset_services(true)) save();
  return true;
}

bool services_storage::reset_services(bool notify) {
  bool dirty = false;
  for (auto& [service, info] : services) {
    surroundings around(service);
    if (circuit::reset(info, *config, notify, around)) dirty = true;
  }
  return dirty;
}

void services_storage::on_created(const wchar_t*, std::wstring_view name) {
  // A new services file is not yet of interest: whoever made it also writes to it.
  note_config_change(name);
}

void services_storage::on_removed(const wchar_t*, std::wstring_view) {}

void services_storage::on_modified(const wchar_t*, std::wstring_view name) {
  if (name == paths.storage_filename) {
    LOG_LINE(logging::progress, L"cloud::guardian::services_storage::on_modified")
        << L"services cache modified";
    services_modified = true;
  }
  note_config_change(name);
}

void services_storage::on_renamed(const wchar_t*, std::wstring_view, std::wstring_view) {}

void services_storage::note_config_change(std::wstring_view name) {
  if (name != paths.config_storage_filename) return;
  LOG_LINE(logging::progress, L"cloud::guardian::services_storage::on_modified")
      << L"config cache modified";
  config_modified = true;
}

void services_storage::reload_services_from_file() {
  auto loaded_services = load_services_info(services_path);
  if (loaded_services) {
    services = std::move(loaded_services).value();
    return;
  }
  const error_record& error = loaded_services.error();
  LOG_LINE(logging::failure, L"cloud::guardian::services_storage::reload_services_from_file")
      << L"reload services from file failed; err = " << error.code.value() << L" " << error.message;
}

void services_storage::reload_config_from_file() {
  auto loaded_config = load_config_cache(config_cache_path);
  if (loaded_config) {
    set_config(std::move(loaded_config).value());
    return;
  }
  const error_record& error = loaded_config.error();
  LOG_LINE(logging::failure, L"cloud::guardian::services_storage::reload_config_from_file")
      << L"reload config from file failed; err = " << error.code.value() << L" " << error.message;
}

void services_storage::save() {
  save_json_to_file(services_path, services);
}

void services_storage::save_config_to_file() {
  save_json_to_file(config_cache_path, *config);
}

template <class Value>
void services_storage::save_json_to_file(const std::wstring& path, const Value& value) {
  const wchar_t* const function = L"cloud::guardian::services_storage::save_json_to_file";
  try {
    zv::json_tree json;
    to_json(*json, value);
    // Truncated and rewritten in place, without a second file: the lock keeps readers from seeing
    // half of it, and a process that dies meanwhile leaves a file that the others pass over. It is
    // opened before the text is made: a name that isn't UTF-8 leaves an empty file, which is meant.
    std::ofstream file = platform::open_for_writing(platform::file_path(path));
    file << json->dump();
    file.flush();
    if (file.fail()) {
      LOG_LINE(logging::failure, function) << L"failed to write to file " << path;
    }
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, function) << L"failed to save file " << path << L" " << error.what();
  }
}

// Who holds the file lock reads `config` as it is: it is replaced under that lock only.
std::shared_ptr<const guardian_config> services_storage::current_config() const {
  const std::lock_guard lock(config_mutex);
  return config;
}

void services_storage::set_config(guardian_config new_config) {
  auto replacement = std::make_shared<const guardian_config>(std::move(new_config));
  const std::lock_guard lock(config_mutex);
  config = std::move(replacement);
}

}  // namespace cloud::guardian
