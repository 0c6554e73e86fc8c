#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "devkit/common/os.h"
#include "devkit/host/BusLibrary.h"
#include "devkit/host/GuardianQuerier.h"
#include "devkit/host/HostOptions.h"
#include "devkit/host/ProductAgent.h"
#include "devkit/host/host_error.h"
#include "frame/IServMain.h"

class IServPlugin;

namespace devkit {

/// A host process's inside: it loads the module and what the module expects to find in the process,
/// and offers it a plug-in manager and serial queues. The manager has the module's plug-ins, each
/// started with its first user and ended with its last, and the host's own: the guardian's querier
/// (SPLICE_GUARDIAN_CONFIG, or guardian_config.json in the module's folder) and the Product Agents,
/// as the options say. Any thread.
///
/// SPLICE_HOST_FAIL lets it fail: "querier:number", "productagent:number",
/// "productagentcommclient:number", "cloud_requests:number" and "connect_integrator:number" are
/// what the request for that plug-in answers, "execution:number" what the request for a serial
/// queue does, and "enqueue_task:number" what such a queue does with each task. With any number but
/// 0, "get_plugin_manager" and "get_execution_service" give null, and the querier's "add_observer"
/// false. "GetUserInfo", "RegisterEvents" and "UnregisterEvents" are the agents'.
class PluginHost final : private IServMain, private IServPluginManager, private IExecutionService {
 public:
  /// Loads the module from its file; client and bus library are taken from the module's folder if
  /// they are there. Throws host_error.
  explicit PluginHost(const std::filesystem::path& module, const HostOptions& options = {});
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;
  /// All plug-ins have been given back.
  ~PluginHost() = default;

  /// What the module's plug-ins get from the manager: a Windows error number, 0 with the face `id`.
  std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override;
  void release_plugin(const wchar_t* name) override;

  /// Null if there is none, or if the options don't want one.
  IBus* bus() const { return bus_ ? bus_->bus() : nullptr; }

 private:
  struct Plugin {
    IServPlugin* plugin = nullptr;
    std::uint32_t users = 0;
  };
  using create_t = std::uint32_t (*)(const wchar_t* name, IID id, void** out);
  using destroy_t = void (*)(const wchar_t* name, void* object);

  void not_called_0() override {}
  IServPluginManager* get_plugin_manager() override;
  void not_called_2() override {}
  IExecutionService* get_execution_service() override;
  std::uint32_t make_serial_execution(ISerialExecution** handle) override;
  void release_serial_execution(ISerialExecution* handle) override;

  /// Whether `name` is one of the host's own, and if so its answer.
  bool get_own(const std::wstring& name, const IID& id, void** out, std::uint32_t& status);
  std::uint32_t start_plugin(const wchar_t* name, IServPlugin*& plugin);
  void end_plugin(const wchar_t* name, IServPlugin* plugin);

  const HostOptions options_;
  GuardianQuerier querier_;  ///< outlives the module, which observes it; so do the agents
  std::unique_ptr<ProductAgent> agent_;
  std::unique_ptr<ProductAgent> agent_client_;
  std::unique_ptr<os::Library> client_library_;
  std::unique_ptr<BusLibrary> bus_;
  os::Library module_;
  create_t create_;
  destroy_t destroy_;
  std::recursive_mutex plugins_mutex_;  ///< a plug-in's Init may ask for another plug-in
  std::map<std::wstring, Plugin> plugins_;
};

/// Where the module lies when nobody says otherwise: beside the program.
std::filesystem::path default_module();

}  // namespace devkit
