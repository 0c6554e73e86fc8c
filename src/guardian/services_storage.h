#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "_base/directory_mgmt/directories_changes.h"
#include "_base/directory_mgmt/idirectories_observer.h"
#include "guardian/circuit.h"
#include "guardian/guardian_config.h"
#include "guardian/guardian_paths.h"
#include "guardian/service_info.h"

namespace cloud::guardian {

/// The circuits that the processes with one storage folder have in common: each has its own map,
/// writes the whole of it to a file after a change, and reads it again when it is told that another
/// did. Where two are told too late the last one to write wins, for every service; that is
/// accepted, since a lost count costs a circuit one step at most.
///
/// The caller holds the file lock, except where an operation says that it needs none.
class services_storage final : public idirectories_observer {
 public:
  /// Reads configuration and circuits, and starts to watch their files. Throws std::exception if
  /// there is no configuration, no folder or no watcher. A services file that is absent or invalid
  /// is an empty history.
  explicit services_storage(guardian_paths paths);
  services_storage(const services_storage&) = delete;
  services_storage& operator=(const services_storage&) = delete;
  ~services_storage() = default;

  /// To be called before anything is done with `service`: takes in what others have written, makes
  /// the circuit of a monitored service that has none, and forgets what is too old. True if there
  /// is something to save.
  bool refresh_service(const std::string& service);
  /// Doesn't need the lock.
  bool is_monitored(std::string_view service) const;

  // The steps of one circuit, which refresh_service has made; see circuit.h. An outcome for a
  // service without one, which has just been taken off the list, is dropped.
  /// Nothing for a service that isn't monitored.
  std::optional<circuit::permission> ask(const std::string& service);
  bool succeed(const std::string& service);
  bool fail(const std::string& service, const request_failure* failure);

  /// Rewrites the services file. A failure is logged, and the next change tries again.
  void save();
  /// Takes a configuration from the cloud: caches it and closes all circuits. False if nothing is
  /// to be done.
  bool reload_config(const guardian_config& new_config);

  const services_map& circuits() const noexcept { return services; }

  // On the watcher's thread, without the lock.
  void on_created(const wchar_t* folder, std::wstring_view name) override;
  void on_removed(const wchar_t* folder, std::wstring_view name) override;
  void on_modified(const wchar_t* folder, std::wstring_view name) override;
  void on_renamed(const wchar_t* folder, std::wstring_view old_name,
                  std::wstring_view new_name) override;

 private:
  class surroundings;

  void start_watching();
  void note_config_change(std::wstring_view name);
  void reload_services_from_file();
  void reload_config_from_file();
  bool reset_services(bool notify);
  void save_config_to_file();
  template <class Value>
  static void save_json_to_file(const std::wstring& path, const Value& value);

  std::shared_ptr<const guardian_config> current_config() const;
  void set_config(guardian_config config);

  std::wstring services_path;
  std::wstring config_cache_path;  ///< empty if it isn't known
  services_map services;
  const guardian_paths paths;
  // Replaced as a whole, so that is_monitored may read it without the file lock.
  std::shared_ptr<const guardian_config> config;
  mutable std::mutex config_mutex;  ///< a leaf: guards the pointer
  std::atomic<bool> services_modified = false;
  std::atomic<bool> config_modified = false;
  // Last: the watcher is gone before anything that its thread touches.
  std::unique_ptr<winapi::directory_mgmt::directories_changes> directories;
};

}  // namespace cloud::guardian
