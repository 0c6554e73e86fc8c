#include "connect/connect_integrator_plugin.h"

#include <cstring>
#include <new>
#include <utility>

#include "_base/utf8.h"
#include "_base/win_error.h"
#include "connect/IProductAgentUserInfo.h"
#include "frame/get_msgbus.h"
#include "frame/get_plugin.h"
#include "frame/host_paths.h"
#include "frame/load_exported_plugin.h"
#include "frame/logger_stream.h"
#include "frame/shield_caller.h"
#include "frame/trace_scope.h"
#include "platform/library.h"

namespace {

// Announced by the service process that can answer for the user.
constexpr const char* user_service_channel = "cl.zvserv.actions";
constexpr const char* user_service_listener = "product_agent_user_service";

constexpr const wchar_t* cloud_requests_name = L"cloud_requests";

bool is_user_service(const char* channel, const char* listener) {
  return channel != nullptr && listener != nullptr &&
         std::strcmp(channel, user_service_channel) == 0 &&
         std::strcmp(listener, user_service_listener) == 0;
}

struct release_user_info {
  void operator()(IProductAgentUserInfo* info) const noexcept { info->Release(); }
};
using user_info = std::unique_ptr<IProductAgentUserInfo, release_user_info>;

bool is_same(const cloud::connect_source& a, const cloud::connect_source& b) {
  return a.app_id.view() == b.app_id.view() && a.device_id.view() == b.device_id.view() &&
         a.user_token.view() == b.user_token.view();
}

const wchar_t* or_empty(const wchar_t* text) {
  return text != nullptr ? text : L"";
}

}  // namespace

connect_integrator_plugin::~connect_integrator_plugin() {
  if (use_count == 0) return;
  use_count = 1;
  connect_integrator_plugin::UnInit();
}

void* connect_integrator_plugin::QueryInterface(const IID& id) {
  if (id == IID_IPushService) return static_cast<IPushService*>(push_service.get());
  if (id == IID_IPushServiceClient) return static_cast<IPushCommClient*>(push_client.get());
  if (id == IID_IConnectRequests) return static_cast<IConnectRequests*>(connect_requests.get());
  if (id == IID_IConnectRequestsCompatibility) {
    return static_cast<IConnectRequestsCompatibility*>(connect_requests.get());
  }
  if (id == IID_IAuthDataProvider) {
    return agent() != nullptr ? static_cast<IAuthDataProvider*>(this) : nullptr;
  }
  if (id == IID_ibus_observer) return static_cast<ibus_observer*>(this);
  if (id == IID_IConnectIntegrator || id == IID_IServPlugin || id == IID_IZvBaseInterface) {
    return static_cast<IConnectIntegrator*>(this);
  }
  return nullptr;
}

std::uint32_t connect_integrator_plugin::Init(IServMain* host) {
  const trace_scope trace(L"connect_integrator_plugin::Init");
  const std::lock_guard guard(lifecycle_lock);
  if (use_count++ != 0) return win_error::success;

  std::uint32_t status = win_error::success;
  try {
    status = build(host);
  } catch (const std::bad_alloc&) {
    status = win_error::out_of_memory;
  }
  if (status != win_error::success) UnInit();
  return status;
}

std::uint32_t connect_integrator_plugin::build(IServMain* host) {
  const wchar_t* const scope = L"connect_integrator_plugin::Init";
  worker = std::make_unique<SerialWorker>("connect_integrator_worker");
  if (const std::uint32_t error = IConnectIntegrator::Init(host); error != win_error::success) {
    LOG_LINE(logging::failure, scope) << L"servplugin::Init err=" << error;
    return error;
  }
  const std::uint32_t agent_status =
      plugin_manager != nullptr ? find_agent() : std::uint32_t{win_error::success};
  bus = get_msgbus();
  if (bus == nullptr) {
    LOG_LINE(logging::failure, scope) << L"Could not get msgbus";
  }
  const bool is_known = is_subscription_listening();
  {
    const std::lock_guard guard(identity_lock);
    identity_known = is_known;
  }

  cirrel = cirrel_service::init();
  if (cirrel == nullptr) {
    LOG_LINE(logging::failure, scope) << L"Failed to init cirrel";
    return win_error::gen_failure;
  }
  if (!init_connect_requests()) return win_error::gen_failure;
  // It asks for the identity while it is made, so whatever is known has to be stored by now.
  push_service = std::make_unique<cloud::push::push_service>(cirrel->client, cirrel->instance,
                                                             connect_requests.get(), this);
  push_client = std::make_unique<cloud::push::push_service_client>();

  // From here on news arrive, and find everything in place.
  connect_requests->add_observer(push_service.get(), 0);
  if (agent() != nullptr) agent()->RegisterEvents(this);
  if (bus != nullptr && !bus->AddObserver(this, 0)) {
    LOG_LINE(logging::failure, scope) << L"Could not add bus observer";
  }
  if (!knows_identity()) submit_initialize_connect_source();
  // Without any agent the whole is built all the same, to be taken down again. Meant so.
  return agent_status;
}

bool connect_integrator_plugin::knows_identity() {
  const std::lock_guard guard(identity_lock);
  return identity_known;
}

std::uint32_t connect_integrator_plugin::find_agent() {
  const wchar_t* const scope = L"connect_integrator_plugin::Init";
  std::uint32_t status = win_error::success;
  product_agent = zv::framework::get_plugin<IProductAgent>(plugin_manager, L"productagent",
                                                           IID_IProductAgent, status);
  if (status == win_error::success) return status;
  LOG_LINE(logging::failure, scope)
      << L"Could not get Product Agent plugin, try Product Agent Client plugin";

  product_agent_client = zv::framework::get_plugin<IProductAgent>(
      plugin_manager, L"productagentcommclient", IID_IProductAgentCommClient, status);
  if (status != win_error::success) {
    LOG_LINE(logging::failure, scope) << L"Could not get Product Agent Client plugin";
  }
  return status;
}

IProductAgent* connect_integrator_plugin::agent() const noexcept {
  return product_agent ? product_agent.get() : product_agent_client.get();
}

bool connect_integrator_plugin::is_listening() const {
  return bus != nullptr && bus->IsListening(user_service_channel, user_service_listener);
}

bool connect_integrator_plugin::is_subscription_listening() {
  // An agent in this process answers by itself; its client needs the service process.
  if (!is_listening() && !product_agent) return false;
  LOG_LINE(logging::progress, L"connect_integrator_plugin::is_subscription_listening")
      << L"is listening";
  const auto source = get_connect_source();
  if (!source) return false;
  const std::lock_guard guard(identity_lock);
  connect_source = source.value();
  return true;
}

stdext::expected<cloud::connect_source, std::error_code>
connect_integrator_plugin::get_connect_source() {
  const wchar_t* const scope = L"connect_integrator_plugin::get_connect_source";
  const trace_scope trace(scope);
  const std::error_code unknown = winapi::make_error_code(win_error::no_data);
  if (agent() == nullptr) return stdext::unexpected{unknown};

  IProductAgentUserInfo* out = nullptr;
  const std::uint32_t status = agent()->GetUserInfo(&out);
  if (status != win_error::success) {
    // The agent's own number goes no further: whatever it is, nobody is known.
    LOG_LINE(logging::failure, scope) << L"Agent-GetUserInfo has failed, err: " << status;
    return stdext::unexpected{unknown};
  }
  if (out == nullptr) return stdext::unexpected{unknown};

  const user_info info(out);
  const std::wstring device_id = or_empty(info->GetDeviceId());
  const std::wstring user_token = or_empty(info->GetUserToken());
  // With the token, and meant so: support has to see in whose name requests went out.
  LOG_LINE(logging::progress, scope)
      << L"received device_id: " << device_id << L" and user_token: " << user_token;
  std::error_code error;
  cloud::connect_source source;
  source.device_id = zv::to_utf8(device_id, error).c_str();
  if (!error) source.user_token = zv::to_utf8(user_token, error).c_str();
  if (error) return stdext::unexpected{unknown};
  return source;
}

bool connect_integrator_plugin::init_connect_requests() {
  const wchar_t* const function = L"connect_integrator_plugin::init_connect_requests";
  std::wstring path;
  if (plugin_manager == nullptr) {
    // Without a host the module serves itself.
    std::uint32_t error = win_error::success;
    const std::wstring folder = dll::get_foldername(platform::own_module(), error);
    if (error != win_error::success) {
      LOG_LINE(logging::failure, function) << L"Failed to get foldername; err = " << error;
      return false;
    }
    // The folder ends in a separator already; a second one is meant, and does no harm.
    path = folder + platform::path_separator + platform::library_file_name(L"cloudsplicer");
  }
  std::uint32_t status = win_error::success;
  auto cloud_requests = zv::framework::get_any_plugin<cloud::ICloudRequests>(
      plugin_manager, path.c_str(), cloud_requests_name, cloud::IID_ICloudRequests, status);
  if (status != win_error::success) {
    LOG_LINE(logging::failure, function)
        << L"Failed to get plugin " << cloud_requests_name << L"; err = " << status;
    return false;
  }
  connect_requests =
      std::make_unique<cloud::connect::connect_requests>(std::move(cloud_requests), this);
  return true;
}

void connect_integrator_plugin::submit_initialize_connect_source() {
  worker->Submit(
      "initialize_connect_source", [this] { initialize_connect_source(); }, [] {});
}

void connect_integrator_plugin::initialize_connect_source() {
  const std::lock_guard guard(identity_lock);
  // Also when the agent has failed since, or in a later life: then its own news alone bring the
  // user back. Meant so.
  if (!connect_source.device_id.IsEmpty() && !connect_source.user_token.IsEmpty()) return;
  if (!is_listening()) {
    identity_known = false;
    return;
  }
  const auto source = get_connect_source();
  identity_known = source.has_value();
  if (identity_known) adopt(source.value());
}

void connect_integrator_plugin::OnUserInfoChanged() {
  const trace_scope trace(L"connect_integrator_plugin::OnUserInfoChanged");
  const std::lock_guard guard(identity_lock);
  if (shield_caller([&] { learn_user(); })) return;
  // Nobody is known, and nobody was: the next news are to reach the push service in any case, which
  // may have heard half of these.
  identity_known = false;
  connect_source = {};
}

void connect_integrator_plugin::learn_user() {
  const auto source = get_connect_source();
  // What is stored stays after a failure; it is just not handed out any more.
  identity_known = source.has_value();
  if (!identity_known) return;
  // The same as before a failure, too: the push service still has it, and isn't told again.
  if (is_same(source.value(), connect_source)) {
    LOG_LINE(logging::progress, L"connect_integrator_plugin::OnUserInfoChanged")
        << L"Same connect source";
    return;
  }
  adopt(source.value());
}

void connect_integrator_plugin::adopt(const cloud::connect_source& source) {
  connect_source = source;
  if (push_service != nullptr) push_service->refresh_push_listeners(source);
}

void connect_integrator_plugin::on_new_listener(void*, const char* channel, const char* listener) {
  if (!is_user_service(channel, listener)) return;
  // Without memory nobody asks the agent, whose own news are still to come.
  shield_caller([&] { submit_initialize_connect_source(); });
}

std::uint32_t connect_integrator_plugin::GetAuthData(auth_data& data) {
  const std::lock_guard guard(identity_lock);
  if (!identity_known) return win_error::no_data;
  data.device_id = connect_source.device_id;
  data.user_token = connect_source.user_token;
  return win_error::success;
}

std::uint32_t connect_integrator_plugin::UnInit() {
  const trace_scope trace(L"connect_integrator_plugin::UnInit");
  const std::lock_guard guard(lifecycle_lock);
  // Below 2 and not equal to 1: an UnInit without an Init tears down as well, and the count wraps.
  if (use_count-- >= 2) return win_error::success;

  // The sources of news first, the last news then, and what they go to after that.
  if (bus != nullptr) bus->RemoveObserver(this, 0);
  if (worker != nullptr) {
    worker->CancelPending();
    worker->Stop();
  }
  for (plugin_handle<IProductAgent>* const held : {&product_agent, &product_agent_client}) {
    if (!*held) continue;
    held->get()->UnregisterEvents(this);
    held->release_plugin();  // the pointer goes first: an agent on its way out must find none here
    held->reset();
  }
  if (connect_requests != nullptr && push_service != nullptr) {
    connect_requests->remove_observer(push_service.get(), 0);
  }
  cirrel.reset();
  push_service.reset();
  connect_requests.reset();
  // The push client stays for those who have it, until this object or the next Init ends it. Meant
  // so: it needs nothing of what has gone.
  bus = nullptr;
  return IConnectIntegrator::UnInit();
}

void* connect_integrator_plugin::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}
