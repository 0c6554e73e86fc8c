// Compiled for its layouts only: one call through each table that this host declares, which makes
// the compiler print the table. The printout is compared with tables.txt.

#include "product/agent.h"
#include "product/bus.h"
#include "product/cloud.h"
#include "product/connect.h"
#include "product/containers.h"
#include "product/events.h"
#include "product/guardian.h"
#include "product/plugin.h"
#include "product/proxy.h"
#include "product/push.h"

namespace zv {
IMemMgr* string_manager() {
  return nullptr;
}
void string_broken(const char*) {
  __builtin_trap();
}
}  // namespace zv

using text = zv::StringT<wchar_t>;

void plug_in(IServPlugin& it) {
  it.Stop();
}
void host(IServMain& it) {
  it.get_plugin_manager();
}
void plug_ins(IServPluginManager& it) {
  it.release_plugin(nullptr);
}
void queues(execution_service& it) {
  it.release_serial_execution(nullptr);
}
void queue(serial_execution& it) {
  it.enqueue_task(nullptr, 0, nullptr, 0, 0, 0);
}
void task(EqWorkItem& it) {
  it.Execute();
}
void lock(ISyncRWLock& it) {
  it.ReadLock(0);
}
void config(IServConfig& it) {
  it.GetString(0, nullptr);
}
void manager(zv::IMemMgr& it) {
  it.Release();
}
void requests(cloud::ICloudRequests& it) {
  it.is_cloud_up();
}
void older_requests(cloud::ICloudRequestsCompatibility& it) {
  it.set_proxy({}, {});
}
void observable(cloud::observable_cloud_requests& it) {
  it.remove_observer(nullptr, 0);
}
void network(cloud::ICloudConnectionObserver& it) {
  it.OnNetworkAvailable();
}
void progress(cloud::upload_observer& it, const cloud::upload_progress& report) {
  it.on_progress(report);
}
void map(zv::IMap<text, text>& it) {
  it.Clear();
}
void list(zv::IList<text>& it) {
  it.Clear();
}
void map_enum(zv::IEnum<text, text>& it) {
  it.Reset();
}
void const_map_enum(zv::IConstEnum<text, text>& it) {
  it.Reset();
}
void list_enum(zv::IListEnum<text>& it) {
  it.Reset();
}
void const_list_enum(zv::IConstListEnum<text>& it) {
  it.Reset();
}

void event(ECEvent& it) {
  it.GetType();
}
void child_event(ECChildEvent& it) {
  it.CountStringLists();
}
void events_client(IECEventsClient& it) {
  it.post(nullptr, true, 0);
}
void querier(ICloudGuardianQuerier& it, zv::StringT<char>& settings) {
  it.get_settings(settings);
}
void querier_observable(ICloudGuardianQuerier& it) {
  it.remove_observer(nullptr, 0);
}
void settings_observer(ICloudGuardianSettingsObserver& it) {
  it.OnSettingsChanged("");
}
void app_observer(proxy_msgbus::client_observer_app& it) {
  it.OnProxySettingsChanged();
}
void core_observer(proxy_msgbus::client_observer_core& it) {
  it.OnProxySettingsChanged();
}
void app_client(proxy_msgbus::iclient_app& it) {
  it.unused_7();
}
void core_client(proxy_msgbus::iclient_core& it) {
  it.shutdown_communication();
}
void bus_host(IBusHost& it) {
  it.get_bus(0);
}
void bus_of_listeners(IBus& it) {
  it.Core();
}
void bus_of_observers(IBus& it) {
  it.AddObserver(nullptr, 0);
}
void bus_core(IBusCore& it) {
  it.CreateMessage(0);
}
void bus_channel(IBusChannel& it) {
  it.Unsubscribe(nullptr);
}
void bus_subscription(IBusSubscription& it) {
  it.GetChannel();
}
void bus_message(IBusMessage& it) {
  it.Release();
}
void bus_observer(ibus_observer& it) {
  it.on_listener_removed(nullptr, nullptr, nullptr);
}
void agent(IProductAgent& it) {
  it.UnregisterEvents(nullptr);
}
void agent_events(IProductAgentEvents& it) {
  it.OnUserInfoChanged();
}
void user_info(IProductAgentUserInfo& it) {
  it.Release();
}
void auth_provider(IAuthDataProvider& it, auth_data& data) {
  it.GetAuthData(data);
}
void user_requests(IConnectRequests& it) {
  it.is_cloud_up();
}
void older_user_requests(IConnectRequestsCompatibility& it, const cloud::connect_request& request,
                         cloud::request_reply& reply) {
  it.resolve(request, reply);
}
void push_service(IPushService& it) {
  it.send_offline_commands({}, nullptr, nullptr);
}

// The records that cross, for their field offsets.
cloud::connect_request connect_request;
cloud::technology_request technology_request;
cloud::upload_request upload_request;
cloud::request_status request_status;
cloud::request_reply request_reply;
cloud::proxy_settings proxy_settings;
cloud::upload_progress upload_progress;
zv::StringRecord string_record;
cloud::observable_cloud_requests* observable_object;
ICloudGuardianQuerier* querier_object;
proxy_msgbus::proxy_info proxy_info;
cloud::push::event_info event_info;
cloud::push::command_info command_info;
auth_data user;
both_connect_requests* both_requests_object;
connect_integrator* integrator_object;
observing_plugin* push_server_object;
IBus* bus_object;
