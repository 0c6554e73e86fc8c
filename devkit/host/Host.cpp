#include "devkit/host/Host.h"

#include "_base/win_error.h"
#include "devkit/common/text.h"
#include "devkit/host/SerialQueue.h"
#include "devkit/host/host_failure.h"
#include "devkit/zvnc/status.h"

namespace devkit {

namespace {

constexpr const wchar_t* plugin_name = L"cloud_requests";
constexpr std::wstring_view querier_name = L"cloud_guardian_querier";
/// Where the observers' table stands in the object behind ICloudRequests.
constexpr std::ptrdiff_t observable_offset = 32;

std::unique_ptr<os::Library> load_client_library(const std::filesystem::path& module) {
  const std::filesystem::path path = module.parent_path() / os::library_name("zvnc");
  if (!std::filesystem::exists(path)) return nullptr;
  // The module asks for it by bare name, which finds what the process has already.
  return std::make_unique<os::Library>(path);
}

std::filesystem::path existing(const std::filesystem::path& module) {
  if (std::filesystem::exists(module)) return std::filesystem::absolute(module);
  throw host_error("there is no module at " + path_text(module) +
                   "; build it with \"./dev build\", or name another with --module");
}

std::filesystem::path guardian_config_path(const std::filesystem::path& module) {
  const auto name = os::environment("SPLICE_GUARDIAN_CONFIG");
  return name && !name->empty() ? to_path(*name) : module.parent_path() / "guardian_config.json";
}

std::string own_failure(std::uint32_t code) {
  switch (code) {
    case win_error::access_denied:
      return "refused by the circuit breaker: the service failed too often";
    case win_error::invalid_data:
      return "the message is no JSON, or the server's error holds no number";
    case win_error::gen_failure:
      return "the answer is unusable, or there is no file to send";
    case win_error::no_data:
      return "the identity is missing";
    case win_error::internal_error:
      return "there is no client instance, or the request's type is wrong";
    default:
      return "failed inside this system";
  }
}

Outcome outcome(const cloud::request_status& status, const cloud::request_reply& reply) {
  return {status.error_type, status.code, reply.code, std::string(reply.text.view())};
}

class ProgressObserver final : public cloud::upload_observer {
 public:
  explicit ProgressObserver(const Host::Progress& progress) : progress_(progress) {}
  void on_progress(const cloud::upload_progress& progress) override {
    if (progress_) progress_(progress);
  }

 private:
  const Host::Progress& progress_;
};

}  // namespace

bool Outcome::is_timeout() const noexcept {
  return error_type == 2 && code == zvnc::status::timed_out;
}

bool Outcome::is_unreachable() const noexcept {
  return error_type == 2 &&
         (code == zvnc::status::could_not_connect || code == zvnc::status::could_not_resolve);
}

std::string Outcome::sentence() const {
  const std::string numbers = std::to_string(error_type) + ", " + std::to_string(code);
  if (error_type == 0) return numbers + " (ok)";
  return numbers + " (" +
         (error_type == 1 ? own_failure(code) : std::string(zvnc::status::text(code))) + ")";
}

std::filesystem::path default_module() {
  return os::program().parent_path() / os::library_name("cloudsplicer");
}

Host::Host(const std::filesystem::path& module, bool alone)
    : alone_(alone),
      querier_(guardian_config_path(existing(module))),
      client_library_(load_client_library(existing(module))),
      module_(existing(module)),
      create_(module_.symbol<create_t>("ZvCreateObject")),
      destroy_(module_.symbol<destroy_t>("ZvDestroyObject")) {
  void* facet = nullptr;
  const std::uint32_t status = get_plugin(plugin_name, cloud::IID_ICloudRequests, &facet);
  if (status != 0) {
    throw host_error(
        "the module's plug-in \"cloud_requests\" did not start, status " + std::to_string(status) +
        (status == win_error::gen_failure
             ? "; most likely " + os::library_name("zvnc") + " is missing beside the module"
             : "; look into the log (SPLICE_LOG=-)"));
  }
  requests_ = static_cast<cloud::ICloudRequests*>(facet);
}

Host::~Host() {
  release_plugin(plugin_name);
}

Outcome Host::connect(const ConnectCall& call) {
  cloud::connect_request request;
  request.service = call.service.c_str();
  request.timeout = call.timeout;
  request.request_method = call.method.c_str();
  request.message = call.message.c_str();
  request.source.app_id = call.app_id.c_str();
  request.source.device_id = call.device_id.c_str();
  request.source.user_token = call.user_token.c_str();
  cloud::request_reply reply;
  const cloud::request_status status = requests_->resolve(request, reply);
  return outcome(status, reply);
}

Outcome Host::technology(const std::string& service, const std::string& message,
                         std::uint32_t timeout) {
  cloud::technology_request request;
  request.service = service.c_str();
  request.timeout = timeout;
  request.message = message.c_str();
  cloud::request_reply reply;
  const cloud::request_status status = requests_->resolve(request, reply);
  return outcome(status, reply);
}

Outcome Host::upload(const std::string& service, const std::filesystem::path& file,
                     std::uint32_t timeout, const std::string& signature, const std::string& meta,
                     const Progress& progress) {
  cloud::upload_request request;
  request.service = service.c_str();
  request.timeout = timeout;
  request.path = path_text(file).c_str();
  request.signature = signature.c_str();
  request.meta = meta.c_str();
  ProgressObserver observer(progress);
  const std::uint32_t status = requests_->resolve(request, &observer);
  // A plain number tells the client's failures from this system's by its size alone.
  constexpr std::uint32_t first_of_client = 20000;
  const std::uint32_t type = status == 0 ? 0 : status < first_of_client ? 1 : 2;
  return {type, status, 0, {}};
}

bool Host::is_cloud_up() {
  return requests_->is_cloud_up();
}

bool Host::add_observer(cloud::ICloudConnectionObserver* observer) {
  return observable().add_observer(observer, 0);
}

bool Host::remove_observer(cloud::ICloudConnectionObserver* observer) {
  return observable().remove_observer(observer, 0);
}

zv::iobservable<cloud::ICloudConnectionObserver*>& Host::observable() {
  return *reinterpret_cast<zv::iobservable<cloud::ICloudConnectionObserver*>*>(
      reinterpret_cast<char*>(requests_) + observable_offset);
}

void Host::not_called_0() {}
IServPluginManager* Host::get_plugin_manager() {
  return host_failure("get_plugin_manager") == 0 ? this : nullptr;
}
void Host::not_called_2() {}
IExecutionService* Host::get_execution_service() {
  return host_failure("get_execution_service") == 0 ? this : nullptr;
}

std::uint32_t Host::get_plugin(const wchar_t* name, const IID& id, void** out) {
  if (name == nullptr || out == nullptr) return win_error::invalid_parameter;
  *out = nullptr;
  if (name == querier_name) return get_querier(id, out);
  const std::lock_guard guard(plugins_mutex_);
  Plugin& entry = plugins_[name];
  if (entry.users == 0) {
    if (const std::uint32_t status = start_plugin(name, entry.plugin); status != 0) {
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

std::uint32_t Host::get_querier(const IID& id, void** out) {
  const std::uint32_t failure = host_failure("querier");
  if (failure != win_error::success) return failure;
  *out = querier_.QueryInterface(id);
  return *out != nullptr ? win_error::success : win_error::not_found;
}

// The querier isn't among those that can go: it is the host's own.
void Host::release_plugin(const wchar_t* name) {
  const std::lock_guard guard(plugins_mutex_);
  const auto found = plugins_.find(name);
  if (found == plugins_.end() || --found->second.users != 0) return;
  IServPlugin* const plugin = found->second.plugin;
  plugins_.erase(found);
  plugin->Stop();
  plugin->UnInit();
  end_plugin(name, plugin);
}

std::uint32_t Host::start_plugin(const wchar_t* name, IServPlugin*& plugin) {
  void* object = nullptr;
  if (const std::uint32_t status = create_(name, IID_IServPlugin, &object); status != 0)
    return status;
  plugin = static_cast<IServPlugin*>(object);
  if (const std::uint32_t status = plugin->Init(alone_ ? nullptr : this); status != 0) {
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

void Host::end_plugin(const wchar_t* name, IServPlugin* plugin) {
  destroy_(name, plugin->QueryInterface(IID_IZvBaseInterface));
}

std::uint32_t Host::make_serial_execution(ISerialExecution** handle) {
  if (handle == nullptr) return win_error::invalid_parameter;
  const std::uint32_t failure = host_failure("execution");
  if (failure != win_error::success) return failure;
  *handle = new SerialQueue;
  return win_error::success;
}

void Host::release_serial_execution(ISerialExecution* handle) {
  delete static_cast<SerialQueue*>(handle);
}

}  // namespace devkit
