// The plug-ins around "connect_integrator", seen from outside only.

#include "host/connect_groups.h"

namespace {

using zvnc::call;

constexpr const wchar_t* all_names[] = {L"connect_integrator", L"cloud_requests",
                                        L"connect_requests_server", L"push_service_server"};

void plugins_by_name(const module_exports& module) {
  for (const wchar_t* name : all_names) {
    print("The plug-in "), print(name), print(":\n");
    void* object = nullptr;
    void* again = nullptr;
    check_same(module.create(name, IID_IServPlugin, &object), 0, "is made");
    check_same(module.create(name, IID_IZvBaseInterface, &again), 0, "and counted");
    if (!check(object && object == again, "as one object")) continue;
    auto& plugin = *static_cast<IServPlugin*>(object);
    check(plugin.QueryInterface(IID_IServPlugin) == object, "which is its own plug-in facet");
    check(plugin.QueryInterface(IID_IZvBaseInterface) == object, "and its root");
    check(!plugin.QueryInterface(IID_ECEventsClient), "an unknown identifier gives null");
    check_same(plugin.Start(), 0, "Start succeeds");
    plugin.Stop();
    module.destroy(name, again);
    check(plugin.QueryInterface(IID_IServPlugin) == object, "it outlives one destruction");
    module.destroy(name, object);
  }
}

void facets_before_init(const module_exports& module) {
  about("Before Init:");
  const own_plugin integrator(module, integrator_name);
  check(integrator.get<void>(IID_IConnectIntegrator) == &*integrator,
        "the integrator's own identifier gives the object");
  check(!integrator.get<void>(IID_IPushService), "there is no push service");
  check(!integrator.get<void>(IID_IPushServiceClient), "no push client");
  check(!integrator.get<void>(IID_IConnectRequests), "no requests");
  check(!integrator.get<void>(IID_IConnectRequestsCompatibility), "nor their older facet");
  check(!integrator.get<void>(IID_IAuthDataProvider), "nobody knows the user");
  check_same(distance(&*integrator, integrator.get<void>(IID_ibus_observer)), 48,
             "the bus observer stands at offset 48");

  const own_plugin push_server(module, push_server_name);
  check_same(distance(&*push_server, push_server.get<void>(IID_ibus_observer)), 32,
             "that of the push server at 32");
  const own_plugin requests_server(module, requests_server_name);
  check(!requests_server.get<void>(IID_ibus_observer), "the requests server has none");
}

void unwilling_hosts(const module_exports& module) {
  about("A host that lacks a service:");
  const wchar_t* const names[] = {integrator_name, requests_server_name, push_server_name};
  for (const wchar_t* name : names) {
    print(" for "), print(name), print("\n");
    const own_plugin plugin(module, name);
    product_host host(module);
    host.execution_missing = true;
    check_same(plugin->Init(&host), 87, "without an execution service Init is refused");
    check_text<char>(host.calls, "execution", "and nothing else is asked for");
    host.execution_missing = false;
    host.manager_missing = true;
    check_same(plugin->Init(&host), 87, "without a plug-in manager as well");
  }
}

void servers_without_host(const module_exports& module) {
  about("No host at all:");
  const own_plugin requests_server(module, requests_server_name);
  check_same(requests_server->Init(nullptr), 87, "the requests server refuses");
  const own_plugin push_server(module, push_server_name);
  check_same(push_server->Init(nullptr), 87, "so does the push server");
}

void own_requests_alone(const libraries& with, const own_plugin& integrator) {
  auto* requests = integrator.get<IConnectRequests>(IID_IConnectRequests);
  auto* older = integrator.get<IConnectRequestsCompatibility>(IID_IConnectRequestsCompatibility);
  auto* both = static_cast<both_connect_requests*>(requests);
  if (!check(requests && older, "requests have both their facets")) return;
  check(older == both && distance(requests, older) == 8, "the older at offset 8");

  with.forget();
  with.answer(0, "{\"result\": 1}");
  cloud::connect_request request;
  fill_own(request);
  cloud::request_reply reply;
  reply.text = "as it was";
  reply.code = 77;
  check_status(requests->resolve(request, reply, true), 1, 232,
               "a request in the user's name has no user");
  check(same(reply.text.text(), "as it was") && reply.code == 77, "its reply is untouched");
  check_same(with.count(call::ask), 0, "nothing was sent");
  check_status(requests->resolve(request, reply, false), 0, 0, "one in the caller's name goes out");
  check_text(reply.text.text(), "1", "and comes back");
  check_status(older->resolve(request, reply), 0, 0, "so does one through the older facet");
  check_same(with.count(call::ask), 2, "both were sent");
}

void integrator_without_host(const libraries& with, const module_exports& module,
                             const char* circumstances) {
  about(circumstances);
  const own_plugin integrator(module, integrator_name);
  with.forget();
  check_same(integrator->Init(nullptr), 0, "Init succeeds");
  check(integrator.get<void>(IID_IPushService), "there is a push service");
  check(integrator.get<void>(IID_IPushServiceClient), "a push client");
  check(!integrator.get<void>(IID_IAuthDataProvider), "and nobody who knows the user");
  own_requests_alone(with, integrator);

  check_same(integrator->Init(nullptr), 0, "a second Init succeeds");
  check_same(integrator->UnInit(), 0, "and is taken back");
  check(integrator.get<void>(IID_IPushService), "by which nothing goes");
  with.forget();
  check_same(integrator->UnInit(), 0, "UnInit succeeds");
  check(with.count(call::uninit) != 0, "the client instances are given back");
  check(!integrator.get<void>(IID_IPushService) && !integrator.get<void>(IID_IConnectRequests),
        "services and requests are gone");
  check(integrator.get<void>(IID_IPushServiceClient), "the push client stays");
}

void without_bus(const libraries& with, const module_exports& module) {
  integrator_without_host(with, module, "The integrator without a host or a bus:");
  check(with.line_with(L"Could not get msgbus"), "the missing bus is in the log");

  about("A requests server without a bus:");
  const own_plugin server(module, requests_server_name);
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  const uint32_t from = with.line_count();
  check_same(server->Init(&host), 31, "Init is refused");
  check(contains(host.calls, "get(connect_integrator)"), "after the integrator was taken");
  check(contains(host.calls, "release(connect_integrator)"), "which is given back");
  check(with.line_with(L"Failed to get bus", from), "the log tells why");
}

void no_agent_at_all(const bus_libraries& with, const module_exports& module) {
  about("A host without any agent:");
  const own_plugin integrator(module, integrator_name);
  product_host host(module);
  host.offers_agent = false;
  host.agent_refusal = 0x80000001;
  host.agent_client_refusal = 0x80000002;
  with.forget();
  check_same(integrator->Init(&host), 0x80000002,
             "Init ends with the status of the second request, all 32 bits of it");
  check(contains(host.calls, "get(productagent) get(productagentcommclient) get(cloud_requests)"),
        "after all was built");
  check(contains(host.calls, "release(cloud_requests)"), "and taken down again");
  check(!contains(host.calls, "release(productagent"), "without what it never had");
  check(instances_are_back(with), "the client instances are given back");
  check(!integrator.get<void>(IID_IPushService), "there is no push service");
  check(with.line_with(L"Could not get Product Agent plugin, try Product Agent Client plugin") &&
            with.line_with(L"Could not get Product Agent Client plugin"),
        "both are in the log");
}

void bus_that_takes_no_observer(const bus_libraries& with, const module_exports& module) {
  about("A bus that takes no observer:");
  const own_plugin integrator(module, integrator_name);
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  with.bus_refuse(msgbus::refuse_observer);
  with.forget_bus();
  check_same(integrator->Init(&host), 0, "Init succeeds");
  check_same(with.count_on_bus(msgbus::call::add_observer), 2,
             "the client and the plug-in had tried");
  check(with.line_with(L"Could not add bus observer"), "the log tells so");
  with.bus_refuse(msgbus::refuse_nothing);
  check_same(integrator->UnInit(), 0, "UnInit succeeds");
}

void way_to_the_bus(const bus_libraries& with, const module_exports& module) {
  with.forget_bus();
  integrator_without_host(with, module, "The integrator without a host, beside a bus:");
  const msgbus::record* host = with.nth_on_bus(msgbus::call::get_interface);
  check(host && host->as_told, "the library was asked for its host, by identifier");
  const msgbus::record* bus = with.nth_on_bus(msgbus::call::get_bus);
  check(bus && bus->as_told, "which was asked for the bus, with 0");
}

}  // namespace

void fill_own(cloud::connect_request& request) {
  request.service = "connect/checks";
  request.timeout = 1234;
  request.request_method = "list";
  request.source.app_id = "own app";
  request.source.device_id = "own device";
  request.source.user_token = "own token";
  request.destination.device_id = "far device";
  request.destination.app_id = "far app";
  request.message = "{\"a\": 1}";
}

void check_sent(const libraries& with, const char* app_id, const char* user_token,
                const char* device_id, const char* sentence) {
  const char* const parts[] = {
      "\"params\": {\"connect_source\": {\"app_id\": \"",
      app_id,
      "\", \"user_token\": \"",
      user_token,
      "\", \"device_id\": \"",
      device_id,
      "\"}, \"connect_destination\": {\"app_id\": \"far app\", \"device_id\": \"far device\"}, "
      "\"a\": 1}}"};
  char expected[512] = {};
  for (const char* part : parts) append_text(expected, part);
  const zvnc::record* ask = with.nth(call::ask, with.count(call::ask) - 1);
  if (check(ask && contains<char>(ask->body, expected), sentence)) return;
  print("       lacks "), print(expected), print("\n       in ");
  print(ask ? ask->body : "nothing"), print("\n");
}

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  {
    const libraries with;
    const library loaded(L"cloudsplicer.dll");
    const module_exports module(loaded);
    plugins_by_name(module);
    facets_before_init(module);
    unwilling_hosts(module);
    servers_without_host(module);
    without_bus(with, module);
  }
  check(!GetModuleHandleW(L"cloudsplicer.dll"), "the module can be unloaded");
  check(!GetModuleHandleW(L"msgbus.dll"), "and never loaded a bus");
  {
    const bus_libraries with;
    {
      const library loaded(L"cloudsplicer.dll");
      const module_exports module(loaded);
      way_to_the_bus(with, module);
      no_agent_at_all(with, module);
      bus_that_takes_no_observer(with, module);
      identity_of_the_agent(with, module);
      identity_of_the_user_service(with, module);
      requests_of_other_processes(with, module);
      request_server_without_bus_parts(with, module);
    }
    about("At the end:");
    check(!GetModuleHandleW(L"cloudsplicer.dll"), "the module can be unloaded");
    check_bus_is_left(with);
  }
  check(!GetModuleHandleW(L"msgbus.dll"), "it kept no hold of the bus");
  ExitProcess(closing_line());
}
