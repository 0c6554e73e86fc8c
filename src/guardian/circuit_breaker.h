#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "frame/plugin_handle.h"
#include "frame/serial_execution.h"
#include "guardian/ICircuitBreaker.h"
#include "guardian/ICloudGuardianQuerier.h"
#include "guardian/ICloudGuardianSettingsObserver.h"
#include "guardian/guardian_config.h"
#include "guardian/services_storage.h"

class IServMain;

namespace cloud::guardian {

/// Decides for each service whether a request may go out, and learns from how requests end. All it
/// knows lies in the storage, which other processes share; the file lock is its only guard, taken
/// once by each operation and never held while a request is under way.
///
/// A breaker in trouble logs it and lets requests pass. Any thread may call.
class circuit_breaker final : public ICircuitBreaker, public ICloudGuardianSettingsObserver {
 public:
  /// Knows the local configuration only. Throws std::exception if there is none, or no storage.
  circuit_breaker();
  /// Follows the configuration from the cloud too, through the host's plug-in, if it has that.
  explicit circuit_breaker(IServMain* host);
  circuit_breaker(const circuit_breaker&) = delete;
  circuit_breaker& operator=(const circuit_breaker&) = delete;
  ~circuit_breaker() override;

  void process_request_succeded(const char* service) override;
  void process_request_server_error(const char* service, const request_failure& failure) override;
  void process_request_server_error(const char* service) override;
  bool IsSendAllowed(const std::string& service) override;

  void* scalar_deleting_destructor(std::uint32_t flags) override;
  void OnSettingsChanged(const char* settings) override;

 private:
  guardian_paths init_lock_path();
  void init_storage(guardian_paths paths);
  std::uint32_t init_cloud_querier(IServMain* host);
  std::uint32_t init_serial_execution(IServMain* host);
  void trigger_cloud_config_init();
  void init_cloud_config();
  std::optional<guardian_config> get_config_from_cloud();
  void reload_config(const guardian_config& config);
  void on_server_error(const char* service, const request_failure* failure);

  std::unique_ptr<services_storage> storage;
  std::wstring lock_path;
  plugin_handle<ICloudGuardianQuerier> querier;
  zv::framework::serial_execution execution;
};

}  // namespace cloud::guardian
