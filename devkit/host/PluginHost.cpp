#include "devkit/host/PluginHost.h"

#include "_base/win_error.h"
#include "devkit/common/text.h"
#include "devkit/host/SerialQueue.h"
#include "devkit/host/User.h"
#include "devkit/host/host_failure.h"
#include "frame/IServPlugin.h"

namespace devkit {

namespace {

std::filesystem::path existing(const std::filesystem::path& module) {
  if (std::filesystem::exists(module)) return std::filesystem::absolute(module);
  throw host_error("there is no module at " + path_text(module) +
                   "; build it with \"./dev build\", or name another with --module");
}

std::filesystem::path guardian_config_path(const std::filesystem::path& module) {
  const auto name = os::environment("SPLICE_GUARDIAN_CONFIG");
  return name && !name->empty() ? to_path(*name) : module.parent_path() / "guardian_config.json";
}

std::unique_ptr<os::Library> load_client_library(const std::filesystem::path& module) {
  const std::filesystem::path path = module.parent_path() / os::library_name("zvnc");
  if (!std::filesystem::exists(path)) return nullptr;
  // The module asks for it by bare name, which finds what the process has already.
  return std::make_unique<os::Library>(path);
}

std::unique_ptr<ProductAgent> make_agent(bool wanted, const std::filesystem::path& module) {
  return wanted ? std::make_unique<ProductAgent>(user_file(module)) : nullptr;
}

std::uint32_t give(ProductAgent* agent, const IID& own_id, const IID& id, void** out) {
  if (agent == nullptr || !(id == own_id)) return win_error::not_found;
  *out = static_cast<IProductAgent*>(agent);
  return win_error::success;
}

}  // namespace

std::filesystem::path default_module() {
  return os::program().parent_path() / os::library_name("cloudsplicer");
}

PluginHost::PluginHost(const std::filesystem::path& module, const HostOptions& options)
    : options_(options),
      querier_(guardian_config_path(existing(module))),
      agent_(make_agent(options.product_agent, module)),
      agent_client_(make_agent(options.product_agent_client, module)),
      client_library_(load_client_library(existing(module))),
      bus_(options.bus ? std::make_unique<BusLibrary>(existing(module).parent_path()) : nullptr),
      module_(existing(module)),
      create_(module_.symbol<create_t>("ZvCreateObject")),
      destroy_(module_.symbol<destroy_t>("ZvDestroyObject")) {}

IServPluginManager* PluginHost::get_plugin_manager() {
  return host_failure("get_plugin_manager") == 0 ? this : nullptr;
}
IExecutionService* PluginHost::get_execution_service() {
  return host_failure("get_execution_service") == 0 ? this : nullptr;
}

std::uint32_t PluginHost::get_plugin(const wchar_t* name, const IID& id, void** out) {
  if (name == nullptr || out == nullptr) return win_error::invalid_parameter;
  *out = nullptr;
  std::uint32_t status = 0;
  if (get_own(name, id, out, status)) return status;
  const std::lock_guard guard(plugins_mutex_);
  Plugin& entry = plugins_[name];
  if (entry.users == 0) {
    status = start_plugin(name, entry.plugin);
    if (status != win_error::success) {
      plugins_.erase(name);
      return status;
    }
  }
  ++entry.users;
  *out = entry.plugin->QueryInterface(id);
  if (*out != nullptr) return win_error::success;
  release_plugin(name);
  return win_error::not_found;
}

bool PluginHost::get_own(const std::wstring& name, const IID& id, void** out,
                         std::uint32_t& status) {
  status = win_error::success;
  if (name == L"cloud_guardian_querier") {
    status = host_failure("querier");
    if (status != win_error::success) return true;
    *out = querier_.QueryInterface(id);
    if (*out == nullptr) status = win_error::not_found;
    return true;
  }
  const bool is_agent = name == L"productagent";
  const bool is_agent_client = name == L"productagentcommclient";
  const bool can_be_refused =
      is_agent || is_agent_client || name == L"cloud_requests" || name == L"connect_integrator";
  if (can_be_refused) status = host_failure(to_utf8(name).c_str());
  if (status != win_error::success) return true;
  if (is_agent) status = give(agent_.get(), IID_IProductAgent, id, out);
  if (is_agent_client) status = give(agent_client_.get(), IID_IProductAgentCommClient, id, out);
  return is_agent || is_agent_client;
}

// The host's own aren't among those that can go.
void PluginHost::release_plugin(const wchar_t* name) {
  const std::lock_guard guard(plugins_mutex_);
  const auto found = plugins_.find(name);
  if (found == plugins_.end() || --found->second.users != 0) return;
  IServPlugin* const plugin = found->second.plugin;
  plugins_.erase(found);
  plugin->Stop();
  plugin->UnInit();
  end_plugin(name, plugin);
}

std::uint32_t PluginHost::start_plugin(const wchar_t* name, IServPlugin*& plugin) {
  void* object = nullptr;
  if (const std::uint32_t status = create_(name, IID_IServPlugin, &object); status != 0)
    return status;
  plugin = static_cast<IServPlugin*>(object);
  if (const std::uint32_t status = plugin->Init(options_.alone ? nullptr : this); status != 0) {
    end_plugin(name, plugin);
    return status;
  }
  if (const std::uint32_t status = plugin->Start(); status != 0) {
    plugin->UnInit();
    end_plugin(name, plugin);
    return status;
  }
  return win_error::success;
}

void PluginHost::end_plugin(const wchar_t* name, IServPlugin* plugin) {
  destroy_(name, plugin->QueryInterface(IID_IZvBaseInterface));
}

std::uint32_t PluginHost::make_serial_execution(ISerialExecution** handle) {
  if (handle == nullptr) return win_error::invalid_parameter;
  const std::uint32_t failure = host_failure("execution");
  if (failure != win_error::success) return failure;
  *handle = new SerialQueue;
  return win_error::success;
}

void PluginHost::release_serial_execution(ISerialExecution* handle) {
  delete static_cast<SerialQueue*>(handle);
}

}  // namespace devkit
