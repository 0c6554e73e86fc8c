#include "devkit/splicectl/guardian_files.h"

#include <mutex>
#include <stdexcept>

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

std::string sentence(const std::filesystem::path& path, const error_record& error) {
  return path_text(path) + " can't be used: " + to_utf8(error.message) + " (" +
         std::to_string(error.code.value()) + ")";
}

/// The value, or the complaint about the file.
template <class Value>
Value good(guardian::loaded<Value> loaded, const std::filesystem::path& path) {
  if (loaded) return std::move(loaded).value();
  throw host_error(sentence(path, loaded.error()));
}

template <class Text>
std::filesystem::path path_of(const Text& text) {
  if (text) return platform::file_path(text.value());
  throw host_error("the guardian's folder isn't known: " + to_utf8(text.error().message) + " (" +
                   std::to_string(text.error().code.value()) + ")");
}

/// The lock of all the module's processes, or none: without its folder no guardian ever was here.
class Lock {
 public:
  explicit Lock(const std::filesystem::path& folder)
      : path_(platform::wide_text(folder / "cloud_guardian_lock.lock")),
        lock_(path_),
        held_(lock_, std::defer_lock) {
    if (std::filesystem::exists(folder)) held_.lock();
  }

 private:
  const std::wstring path_;  ///< the lock only refers to it
  guardian::file_lock lock_;
  std::unique_lock<guardian::file_lock> held_;
};

void read_config(GuardianFiles& files, const guardian_paths& paths,
                 const std::filesystem::path& packaged) {
  const std::filesystem::path cache = path_of(guardian::get_config_cache_path(paths));
  auto cached = guardian::load_config_cache(platform::wide_text(cache));
  if (cached) {
    files.config = std::move(cached).value();
    files.is_from_cloud = true;
    files.config_path = cache;
    return;
  }
  if (std::filesystem::exists(cache)) files.cache_complaint = sentence(cache, cached.error());
  files.config = good(guardian::load_config_from_file(paths), packaged);
  files.config_path = packaged;
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

GuardianFiles read(bool with_circuits) {
  const std::filesystem::path packaged =
      path_of(get_module_path(L"settings")) / "cloud_guardian_settings.json";
  const guardian_paths paths = good(guardian::load_paths_from_file(), packaged);
  GuardianFiles files;
  const Lock lock(path_of(get_module_path(paths.admin_storage_folder)));
  read_config(files, paths, packaged);
  if (!with_circuits) return files;
  files.services_path =
      path_of(guardian::get_storage_folder(paths)) / platform::file_path(paths.storage_filename);
  read_circuits(files);
  return files;
}

}  // namespace

GuardianFiles read_guardian_files() {
  return read(true);
}

GuardianFiles read_guardian_config() {
  return read(false);
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
