#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "_base/iobservable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"
#include "devkit/common/os.h"
#include "devkit/host/GuardianQuerier.h"
#include "frame/IServMain.h"

namespace devkit {

/// The module or a part of it can't be had; the text says what to do.
class host_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What became of a request, in plain types.
struct Outcome {
  std::uint32_t error_type = 0;
  std::uint32_t code = 0;
  std::int32_t server_error = 0;
  std::string answer;

  bool is_ok() const noexcept { return error_type == 0 && code == 0; }
  bool is_timeout() const noexcept;
  bool is_unreachable() const noexcept;
  /// The status in words.
  std::string sentence() const;
};

struct ConnectCall {
  std::string service;
  std::string method;
  std::string message;
  std::uint32_t timeout = 5000;
  std::string app_id;
  std::string device_id;
  std::string user_token;
};

/// A host process's inside: it loads the module, offers it a plug-in manager and serial queues, and
/// drives the plug-in "cloud_requests" from creation to its end. Any thread may send; the object
/// must outlive what was sent.
///
/// Its plug-in manager has the module's plug-ins and one of its own, "cloud_guardian_querier", fed
/// from the file that the environment's SPLICE_GUARDIAN_CONFIG names, or guardian_config.json in
/// the module's folder. SPLICE_HOST_FAIL lets it fail: "querier:number" is what the request for
/// that plug-in answers, "execution:number" what the request for a serial queue does, and
/// "enqueue_task:number" what such a queue does with each task. With any number but 0,
/// "get_plugin_manager" and "get_execution_service" give null, and the querier's "add_observer"
/// false.
class Host final : private IServMain, private IServPluginManager, private IExecutionService {
 public:
  /// Loads the module from its file; the client library is taken from the module's folder if it is
  /// there. With `alone` the plug-in gets no host at all. Throws host_error.
  explicit Host(const std::filesystem::path& module, bool alone = false);
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host();

  Outcome connect(const ConnectCall& call);
  Outcome technology(const std::string& service, const std::string& message, std::uint32_t timeout);
  using Progress = std::function<void(const cloud::upload_progress&)>;
  /// The outcome has error type 0, 1 for this system's own refusals, or 2.
  Outcome upload(const std::string& service, const std::filesystem::path& file,
                 std::uint32_t timeout, const std::string& signature, const std::string& meta,
                 const Progress& progress);

  bool is_cloud_up();
  bool add_observer(cloud::ICloudConnectionObserver* observer);
  bool remove_observer(cloud::ICloudConnectionObserver* observer);
  cloud::ICloudRequests& requests() noexcept { return *requests_; }

 private:
  struct Plugin {
    IServPlugin* plugin = nullptr;
    std::uint32_t users = 0;
  };
  using create_t = std::uint32_t (*)(const wchar_t* name, IID id, void** out);
  using destroy_t = void (*)(const wchar_t* name, void* object);

  void not_called_0() override;
  IServPluginManager* get_plugin_manager() override;
  void not_called_2() override;
  IExecutionService* get_execution_service() override;
  std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override;
  void release_plugin(const wchar_t* name) override;
  std::uint32_t make_serial_execution(ISerialExecution** handle) override;
  void release_serial_execution(ISerialExecution* handle) override;

  std::uint32_t start_plugin(const wchar_t* name, IServPlugin*& plugin);
  void end_plugin(const wchar_t* name, IServPlugin* plugin);
  std::uint32_t get_querier(const IID& id, void** out);
  zv::iobservable<cloud::ICloudConnectionObserver*>& observable();

  const bool alone_;
  GuardianQuerier querier_;  ///< outlives the module, which observes it
  std::unique_ptr<os::Library> client_library_;
  os::Library module_;
  create_t create_;
  destroy_t destroy_;
  std::recursive_mutex plugins_mutex_;  ///< a plug-in's Init may ask for another plug-in
  std::map<std::wstring, Plugin> plugins_;
  cloud::ICloudRequests* requests_ = nullptr;
};

/// Where the module lies when nobody says otherwise: beside the program.
std::filesystem::path default_module();

}  // namespace devkit
