// The proxy side of cloud::requests: which proxy client is followed, and what its news lead to.

#include <string>

#include "_base/PathString.h"
#include "_base/utf8.h"
#include "_base/win_error.h"
#include "cloud/requests.h"
#include "frame/host_paths.h"
#include "frame/load_exported_plugin.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"
#include "platform/library.h"

namespace cloud {

namespace {

using proxy_msgbus::iclient_app;
using proxy_msgbus::iclient_core;
using proxy_msgbus::proxy_info;

/// What tells the two clients apart, in calls and in the log.
struct client_kind {
  const wchar_t* plugin;
  const IID& id;
  const char* channel;
  const wchar_t* interface_name;
  const wchar_t* loader;
};

// Both are loaded in the same way. That their lines name two loaders is meant: whoever reads the
// logs tells them apart by it.
constexpr client_kind app_kind = {L"proxy.msgbus.client.app", proxy_msgbus::IID_iclient_app,
                                  "cl.zvappsrv.actions", L"proxy_msgbus::iclient_app",
                                  L"zv::framework::get_any_plugin"};
constexpr client_kind core_kind = {L"proxy.msgbus.client.core", proxy_msgbus::IID_iclient_core,
                                   "cl.zvauxsrv.actions", L"proxy_msgbus::iclient_core",
                                   L"zv::framework::get_plugin"};

constexpr const wchar_t* load_function = L"cloud::requests::LoadProxySupport";
constexpr const wchar_t* change_function = L"cloud::requests::OnProxySettingsChanged";

constexpr proxy_target all_targets[] = {proxy_target::connect, proxy_target::technology,
                                        proxy_target::per_service};

/// Error numbers appear signed in these lines.
std::int32_t shown(std::uint32_t error) {
  return static_cast<std::int32_t>(error);
}

bool succeeded(const wchar_t* function, const client_kind& kind, const wchar_t* operation,
               std::uint32_t error) {
  if (error == win_error::success) return true;
  LOG_LINE(logging::failure, function)
      << kind.interface_name << L"::" << operation << L" failed with error code " << shown(error);
  return false;
}

template <class Client, class Observer>
std::uint32_t follow(const wchar_t* function, const client_kind& kind,
                     plugin_handle<Client>& client, Observer* observer) {
  const trace_scope trace(function);
  zv::PathString path;
  if (!zv::PathString::AskExeFolder(path)) {
    LOG_LINE(logging::failure, function) << L"zv::PathString::AskExeFolder failed";
    return win_error::function_failed;
  }
  path.Append(platform::library_file_name(L"proxy.msgbus.client").c_str());

  std::uint32_t error = win_error::success;
  client = zv::framework::load_exported_plugin<Client>(path.c_str(), kind.plugin, kind.id, error);
  if (error != win_error::success) {
    LOG_LINE(logging::failure, function)
        << kind.loader << L"(" << kind.plugin << L") failed with error code " << shown(error);
    return error;
  }
  error = client->initialize_communication(kind.channel);
  if (!succeeded(function, kind, L"initialize_communication", error)) return error;
  if (!client->add_observer(observer, 0)) {
    // No failure of the start: a client that can't report is kept, but not asked either.
    LOG_LINE(logging::failure, function) << kind.interface_name << L"::add_observer failed";
    return win_error::success;
  }
  observer->OnProxySettingsChanged();
  return win_error::success;
}

template <class Client, class Observer>
void unfollow(const wchar_t* function, plugin_handle<Client>& client, Observer* observer) {
  const trace_scope trace(function);
  if (!client) return;
  // Nobody is told of anything from here on, least of all of the end of the communication.
  client->remove_observer(observer, 0);
  client->shutdown_communication();
  // The library stays: a thread of the client may still be on its way out of its code.
  client.release_plugin();
}

struct proxy_state {
  bool enabled = false;
  bool known = false;  ///< enabled, and `info` is filled
  proxy_info info;
};

bool get_proxy(const client_kind& kind, iclient_app& client, proxy_info& info) {
  auto type = static_cast<std::uint32_t>(-1);
  return succeeded(change_function, kind, L"get_proxy_type", client.get_proxy_type(&type)) &&
         succeeded(change_function, kind, L"get_proxy", client.get_proxy(type, &info));
}

bool get_proxy(const client_kind& kind, iclient_core& client, proxy_info& info) {
  return succeeded(change_function, kind, L"get_proxy", client.get_proxy(&info));
}

template <class Client>
proxy_state ask(const client_kind& kind, Client& client) {
  LOG_LINE(logging::progress, change_function)
      << L"Using " << kind.plugin << L" to obtain proxy data";
  proxy_state state;
  bool enabled = false;
  const std::uint32_t error = client.get_enabled_state(&enabled);
  // What a call that failed has written counts for nothing.
  state.enabled = succeeded(change_function, kind, L"get_enabled_state", error) && enabled;
  state.known = state.enabled && get_proxy(kind, client, state.info);
  // A client that forgot a terminator must not make anyone read on.
  for (wchar_t* const text : {state.info.host, state.info.user, state.info.password}) {
    text[proxy_info::text_size - 1] = L'\0';
  }
  return state;
}

}  // namespace

void requests::LoadProxySupport() {
  const trace_scope trace(load_function);
  std::wstring id;
  if (const std::uint32_t error = GetRunningFolderId(id); error != win_error::success) {
    LOG_LINE(logging::failure, load_function)
        << L"GetRunningFolderId failed with error code " << shown(error);
    return;
  }
  const auto report = [](std::uint32_t error, const wchar_t* function) {
    if (error == win_error::success) return;
    LOG_LINE(logging::failure, load_function)
        << function << L" failed with error code " << shown(error);
  };
  if (id == L"app") {
    report(LoadProxySupport_msgbus_client_app(),
           L"cloud::requests::LoadProxySupport_msgbus_client_app");
  } else if (id == L"core") {
    report(LoadProxySupport_msgbus_client_core(),
           L"cloud::requests::LoadProxySupport_msgbus_client_core");
  }
}

std::uint32_t requests::LoadProxySupport_msgbus_client_app() {
  return follow<iclient_app, proxy_msgbus::client_observer_app>(
      L"cloud::requests::LoadProxySupport_msgbus_client_app", app_kind, proxy_client_app, this);
}

std::uint32_t requests::LoadProxySupport_msgbus_client_core() {
  return follow<iclient_core, proxy_msgbus::client_observer_core>(
      L"cloud::requests::LoadProxySupport_msgbus_client_core", core_kind, proxy_client_core, this);
}

std::uint32_t requests::OnProxySettingsChanged() {
  // Without the mutex: UnInit holds it while it waits for a call of this to end.
  const trace_scope trace(change_function);
  proxy_state state;
  if (proxy_client_app) {
    state = ask(app_kind, *proxy_client_app.get());
  } else if (proxy_client_core) {
    state = ask(core_kind, *proxy_client_core.get());
  }

  if (state.known) {
    use_proxy(state.info);
    return win_error::success;
  }
  if (!state.enabled) {
    LOG_LINE(logging::progress, change_function) << L"Proxy usage disabled";
  }
  // After a failure too: a proxy that nobody vouches for isn't kept. At the chain itself, since the
  // plug-in's own operation would log each outcome.
  for (const proxy_target target : all_targets) resolver->disable_proxy(target);
  return win_error::success;
}

void requests::use_proxy(const proxy_info& info) {
  proxy_settings settings;
  settings.host = zv::to_utf8(info.host).c_str();
  settings.user = zv::to_utf8(info.user).c_str();
  settings.password = zv::to_utf8(info.password).c_str();
  settings.port = info.port;
  LOG_LINE(logging::progress, change_function)
      << L"Using proxy: host = " << settings.host << L", port = " << shown(settings.port);
  // Whatever comes of it: an instance that refuses it must not keep the others from it.
  for (const proxy_target target : all_targets) resolver->set_proxy(settings, target);
}

void requests::FreeProxySupport() {
  const trace_scope trace(L"cloud::requests::FreeProxySupport");
  unfollow<iclient_app, proxy_msgbus::client_observer_app>(
      L"cloud::requests::FreeProxySupport_msgbus_client_app", proxy_client_app, this);
  unfollow<iclient_core, proxy_msgbus::client_observer_core>(
      L"cloud::requests::FreeProxySupport_msgbus_client_core", proxy_client_core, this);
}

}  // namespace cloud
