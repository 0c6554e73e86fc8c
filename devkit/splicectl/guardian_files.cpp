#include "devkit/splicectl/guardian_files.h"

#include <mutex>
#include <stdexcept>
#include <system_error>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"
#include "frame/host_paths.h"
#include "guardian/config_files.h"
#include "guardian/file_lock.h"
#include "guardian/storage_folders.h"
#include "platform/file.h"

namespace devkit {

namespace {

namespace guardian = cloud::guardian;

/// File times may be no finer than whole seconds: what changes within one may go by unseen until
/// the files are read once more after it.
constexpr std::chrono::seconds coarseness(2);
constexpr const char* ask_for_module = "; is --module right?";

std::string sentence(const std::filesystem::path& path, const error_record& error) {
  return path_text(path) + " can't be used: " + to_utf8(error.message) + " (" +
         std::to_string(error.code.value()) + ")";
}

/// The value, or the complaint about the file, which has to be there.
template <class Value>
Value good(guardian::loaded<Value> loaded, const std::filesystem::path& path) {
  if (loaded) return std::move(loaded).value();
  throw host_error(sentence(path, loaded.error()) + ask_for_module);
}

template <class Text>
std::filesystem::path path_of(const Text& text) {
  if (text) return platform::file_path(text.value());
  throw host_error("the guardian's folder isn't known: " + to_utf8(text.error().message) + " (" +
                   std::to_string(text.error().code.value()) + ")" + ask_for_module);
}

/// The lock of all the module's processes, or none: without its file no guardian ever was here, and
/// who only looks leaves none behind.
class Lock {
 public:
  explicit Lock(const std::filesystem::path& path)
      : path_(platform::wide_text(path)), lock_(path_), held_(lock_, std::defer_lock) {
    if (!std::filesystem::exists(path)) return;
    try {
      held_.lock();
    } catch (const std::system_error& error) {
      throw host_error(path_text(path) + " can't be locked (" + error.code().message() +
                       "); may this user read it?");
    }
  }

 private:
  const std::wstring path_;  ///< the lock only refers to it
  guardian::file_lock lock_;
  std::unique_lock<guardian::file_lock> held_;
};

void read_config(GuardianFiles& files, const GuardianPlaces& places) {
  auto cached = guardian::load_config_cache(platform::wide_text(places.cache));
  if (cached) {
    files.config = std::move(cached).value();
    files.is_from_cloud = true;
    files.config_path = places.cache;
    return;
  }
  if (std::filesystem::exists(places.cache))
    files.cache_complaint = sentence(places.cache, cached.error());
  files.config = good(guardian::load_config_from_file(places.paths), places.packaged);
  files.config_path = places.packaged;
}

void read_circuits(GuardianFiles& files) {
  auto circuits = guardian::load_services_info(platform::wide_text(files.services_path));
  if (circuits) {
    files.circuits = std::move(circuits).value();
  } else if (std::filesystem::exists(files.services_path)) {
    throw host_error(sentence(files.services_path, circuits.error()) +
                     ". The next change of a circuit writes it anew.");
  }
}

/// All but the services file's: that one's folder may be unknown where the others are not.
GuardianPlaces find_places() {
  GuardianPlaces places;
  places.packaged = path_of(guardian::get_packaged_settings_path());
  places.paths = good(guardian::load_paths_from_file(), places.packaged);
  places.cache = path_of(guardian::get_config_cache_path(places.paths));
  places.lock = path_of(get_module_path(places.paths.admin_storage_folder)) /
                platform::file_path(guardian::lock_file_name);
  return places;
}

GuardianPlaces find_all_places() {
  GuardianPlaces places = find_places();
  places.services = path_of(guardian::get_storage_folder(places.paths)) /
                    platform::file_path(places.paths.storage_filename);
  return places;
}

GuardianFiles read_under_lock(const GuardianPlaces& places) {
  GuardianFiles files;
  read_config(files, places);
  files.services_path = places.services;
  read_circuits(files);
  return files;
}

/// Time and size of a file, as far as it has them.
std::pair<std::filesystem::file_time_type, std::uintmax_t> stamp(
    const std::filesystem::path& path) {
  std::error_code ignored;
  return {std::filesystem::last_write_time(path, ignored),
          std::filesystem::file_size(path, ignored)};
}

}  // namespace

GuardianFiles read_guardian_files() {
  const GuardianPlaces places = find_all_places();
  const Lock lock(places.lock);
  return read_under_lock(places);
}

GuardianFiles read_guardian_config() {
  const GuardianPlaces places = find_places();
  const Lock lock(places.lock);
  GuardianFiles files;
  read_config(files, places);
  return files;
}

const GuardianFiles* GuardianFilesWatch::now() {
  if (!places_) places_ = find_all_places();
  look_at_times();
  if (is_stale_) {
    os::FileLock lock(places_->lock);
    if (lock.try_lock()) read();
  }
  if (!complaint_.empty()) throw host_error(complaint_);
  return files_ ? &*files_ : nullptr;
}

void GuardianFilesWatch::look_at_times() {
  const auto now = std::chrono::steady_clock::now();
  const Stamps stamps = {stamp(places_->packaged), stamp(places_->cache), stamp(places_->services)};
  if (stamps != stamps_) {
    stamps_ = stamps;
    changed_ = now;
    is_stale_ = true;
    is_settled_ = false;
  } else if (!is_settled_ && now - changed_ >= coarseness) {
    is_stale_ = true;
    is_settled_ = true;
  }
}

void GuardianFilesWatch::read() {
  is_stale_ = false;
  complaint_.clear();
  files_.reset();
  try {
    // The packaged settings say where the others are.
    places_ = find_all_places();
    files_ = read_under_lock(*places_);
  } catch (const host_error& error) {
    complaint_ = error.what();
  }
}

guardian_config parse_guardian_config(const std::string& text) {
  auto config = guardian::load_config_from_string(text);
  if (config) return std::move(config).value();
  throw std::invalid_argument(
      "that is no configuration of the guardian: it takes a JSON object like "
      R"({"circuit_config":{"threshold":5,"intervals":[{"min":1,"max":2}],"reset_threshold":30}})"
      R"(, and with "services" a list of names)");
}

}  // namespace devkit
