#include "guardian/circuit_breaker.h"

#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "_base/once_task.h"
#include "_base/win_error.h"
#include "frame/get_plugin.h"
#include "frame/logger_stream.h"
#include "guardian/config_files.h"
#include "guardian/file_lock.h"
#include "guardian/storage_folders.h"
#include "platform/file.h"

namespace cloud::guardian {

namespace {

constexpr wchar_t querier_name[] = L"cloud_guardian_querier";

/// Holds the file lock for its life.
class lock_holder {
 public:
  explicit lock_holder(const std::wstring& path) : lock_(path), guard_(lock_) {}

 private:
  file_lock lock_;
  std::lock_guard<file_lock> guard_;
};

}  // namespace

circuit_breaker::circuit_breaker() {
  init_storage(init_lock_path());
}

circuit_breaker::circuit_breaker(IServMain* host) {
  guardian_paths paths = init_lock_path();
  const std::uint32_t no_querier = init_cloud_querier(host);
  init_storage(std::move(paths));
  // Last, since the task finds the storage without asking.
  if (no_querier == win_error::success) trigger_cloud_config_init();
}

circuit_breaker::~circuit_breaker() {
  // Before all else: from here on no task can start that would find the rest gone.
  execution.reset();
  if (querier) querier->remove_observer(this, 0);
}

guardian_paths circuit_breaker::init_lock_path() {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::init_lock_path";
  auto paths = load_paths_from_file();
  if (!paths) {
    LOG_LINE(logging::failure, function)
        << L"Failed to load cloud guardian paths from file " << paths.error().message << L" err = "
        << paths.error().code.value();
    throw std::runtime_error("Failed to load cloud guardian paths from file");
  }
  const auto folder = create_storage_folder(paths.value());
  if (!folder) {
    LOG_LINE(logging::failure, function)
        << L"Failed to create storage folder " << folder.error().message << L" err = "
        << folder.error().code.value();
    throw std::runtime_error("Failed to create storage folder");
  }
  lock_path = platform::wide_text(platform::file_path(folder.value()) /
                                  platform::file_path(lock_file_name));
  return std::move(paths).value();
}

void circuit_breaker::init_storage(guardian_paths paths) {
  const lock_holder lock(lock_path);
  storage = std::make_unique<services_storage>(std::move(paths));
}

std::uint32_t circuit_breaker::init_cloud_querier(IServMain* host) {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::init_cloud_querier";
  IServPluginManager* const manager = host != nullptr ? host->get_plugin_manager() : nullptr;
  if (manager == nullptr) {
    LOG_LINE(logging::failure, function) << L"invalid serv main";
    return win_error::invalid_parameter;
  }
  if (const std::uint32_t error = init_serial_execution(host); error != win_error::success) {
    return error;
  }
  std::uint32_t status = win_error::success;
  querier = zv::framework::get_plugin<ICloudGuardianQuerier>(manager, querier_name,
                                                             IID_ICloudGuardianQuerier, status);
  if (status != win_error::success) {
    execution.reset();
    LOG_LINE(logging::failure, function) << L"get_plugin " << querier_name << L" err=" << status;
  }
  return status;
}

std::uint32_t circuit_breaker::init_serial_execution(IServMain* host) {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::init_serial_execution";
  IExecutionService* const service = host->get_execution_service();
  if (service == nullptr) {
    LOG_LINE(logging::failure, function) << L"invalid serv main";
    return win_error::invalid_parameter;
  }
  const std::uint32_t error = execution.make(service);
  if (error != win_error::success) {
    LOG_LINE(logging::failure, function) << L"make_serial_execution err=" << error;
  }
  return error;
}

void circuit_breaker::trigger_cloud_config_init() {
  using init_task =
      zv::framework::once_task<decltype(&circuit_breaker::init_cloud_config), circuit_breaker>;
  auto* const task = new init_task(&circuit_breaker::init_cloud_config, this);
  const std::uint32_t error = execution.enqueue_task(L"cloud_config_init", task);
  if (error == win_error::success) return;
  LOG_LINE(logging::failure, L"cloud::guardian::circuit_breaker::trigger_cloud_config_init")
      << L"enqueue_task err=" << error;
  task->Release();
}

void circuit_breaker::init_cloud_config() {
  try {
    // Observed before it is asked, so that no change falls between the two.
    querier->add_observer(this, 0);
    if (const auto config = get_config_from_cloud()) {
      const lock_holder lock(lock_path);
      storage->reload_config(*config);
    }
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, L"cloud::guardian::circuit_breaker::init_cloud_config")
        << L"ex " << error.what();
  }
}

std::optional<guardian_config> circuit_breaker::get_config_from_cloud() {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::get_config_from_cloud";
  zv::StringT<char> settings;
  querier->get_settings(settings);
  if (settings.IsEmpty()) return std::nullopt;
  LOG_LINE(logging::progress, function) << L"cloud config " << settings;
  auto config = load_config_from_string(std::string(settings.view()));
  if (!config) {
    LOG_LINE(logging::failure, function)
        << L"load_config_from_string " << settings << L" err=" << config.error().code.value()
        << L" " << config.error().message;
    return std::nullopt;
  }
  return std::move(config).value();
}

void circuit_breaker::OnSettingsChanged(const char* settings) {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::OnSettingsChanged";
  try {
    const std::string text = settings != nullptr ? settings : "";
    LOG_LINE(logging::progress, function) << text;
    const auto config = load_config_from_string(text);
    if (config) {
      reload_config(config.value());
    } else {
      LOG_LINE(logging::failure, function)
          << L"load_config_from_string err=" << config.error().code.value() << L" "
          << config.error().message;
    }
  } catch (const std::exception& error) {
    // The caller is another module, which nothing may be thrown into.
    LOG_LINE(logging::failure, function) << L"ex " << error.what();
  }
}

void circuit_breaker::reload_config(const guardian_config& config) {
  try {
    const lock_holder lock(lock_path);
    storage->reload_config(config);
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, L"cloud::guardian::circuit_breaker::reload_config")
        << L"ex " << error.what();
  }
}

bool circuit_breaker::IsSendAllowed(const std::string& service) {
  const wchar_t* const function = L"cloud::guardian::circuit_breaker::IsSendAllowed";
  try {
    const lock_holder lock(lock_path);
    const bool refreshed = storage->refresh_service(service);
    const auto permission = storage->ask(service);
    if (!permission) {
      LOG_LINE(logging::progress, function) << L"service " << service << L" not monitored";
    }
    if (refreshed || (permission && permission->dirty)) storage->save();
    return !permission || permission->allowed;
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, function) << L"ex: " << error.what();
    return true;
  }
}

void circuit_breaker::process_request_succeded(const char* service) {
  try {
    const std::string name = service;
    // Read without the lock: an outcome that meets a change of the list may miss it.
    if (!storage->is_monitored(name)) return;
    const lock_holder lock(lock_path);
    const bool refreshed = storage->refresh_service(name);
    const bool changed = storage->succeed(name);
    if (refreshed || changed) storage->save();
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, L"cloud::guardian::circuit_breaker::process_request_succeded")
        << L"ex " << error.what();
  }
}

void circuit_breaker::process_request_server_error(const char* service,
                                                   const request_failure& failure) {
  on_server_error(service, &failure);
}

void circuit_breaker::process_request_server_error(const char* service) {
  on_server_error(service, nullptr);
}

void circuit_breaker::on_server_error(const char* service, const request_failure* failure) {
  try {
    const std::string name = service;
    if (!storage->is_monitored(name)) return;
    const lock_holder lock(lock_path);
    const bool refreshed = storage->refresh_service(name);
    const bool changed = storage->fail(name, failure);
    if (refreshed || changed) storage->save();
  } catch (const std::exception& error) {
    LOG_LINE(logging::failure, L"cloud::guardian::circuit_breaker::process_request_server_error")
        << L"ex " << error.what();
  }
}

void* circuit_breaker::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

}  // namespace cloud::guardian
