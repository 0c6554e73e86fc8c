// The push client, whose server is in the same process but knows it by the bus alone.

#include "host/push.h"

namespace {

using zvnc::call;
using on_bus = msgbus::call;

constexpr const char* app_id = "client.app";
constexpr const char* default_for_events =
    "module=push method=push_register source_app_id=Desktop \xe2\x82\xac source_device_id= "
    "source_token= dest_app_id= dest_device_id= topic#0";
constexpr const char* app_for_events =
    "module=push method=push_register source_app_id=client.app source_device_id= source_token= "
    "dest_app_id= dest_device_id= topic#0";
constexpr const char* default_for_commands =
    "module=push method=push_register source_app_id=Desktop \xe2\x82\xac source_device_id= "
    "source_token= dest_app_id= dest_device_id= topic#1";
constexpr const char* app_for_commands =
    "module=push method=push_register source_app_id=client.app source_device_id= source_token= "
    "dest_app_id= dest_device_id= topic#1";

cloud::connect_source whole_source() {
  cloud::connect_source source;
  source.app_id = app_id;
  source.device_id = "own device";
  source.user_token = "own token";
  return source;
}

cloud::connect_destination whole_destination() {
  cloud::connect_destination dest;
  dest.device_id = "far device";
  dest.app_id = "far app";
  return dest;
}

void events_come(const push_libraries& with, IPushCommClient& client, heard& events) {
  about("A callback for events:");
  with.forget();
  with.forget_bus();
  check_same(client.register_push_events_callback(heard::on_event, &events, whole_source(),
                                                  whole_destination()),
             0, "is taken");
  const msgbus::record* announced = with.nth_on_bus(on_bus::add_listener);
  check(announced && same<char>(announced->channel, events_channel) &&
            same<char>(announced->listener, "push_client"),
        "the client announces itself");
  check_same(with.sent(on_bus::send_and_wait, default_for_events), 1,
             "registers the default application");
  check_same(with.sent(on_bus::send_and_wait, app_for_events), 1, "and this one");
  const msgbus::record* sent = with.nth_on_bus(on_bus::send_and_wait);
  check(sent && sent->timeout == 5000 && same<char>(sent->channel, actions_channel),
        "waiting for its answer no longer than told");
  check_same(with.count(call::push_register), 2, "the cloud is told of both");
  check(comes([&] { return with.sent(on_bus::send, "module=push method=on_push_server_up") == 1; }),
        "the server greets the client");

  check(with.push(event_text(app_id, "n\xc3\xa9ws", "{\"a\": 1}").text), "an event is pushed");
  if (!check(comes([&] { return events.count() == 1; }), "and comes over the bus")) return;
  const heard::entry& event = events.last();
  check_text<char>(event.name, "n\xc3\xa9ws", "with its name");
  check_text<char>(event.params, "{\"a\": 1}", "parameters");
  check_text<char>(event.app_id, app_id, "application");
  check_text<char>(event.device_id, "far device", "device");
  check(event.timestamp == pushed_timestamp, "and time stamp");
  check(event.thread != GetCurrentThreadId(), "on another thread");

  with.forget_bus();
  check_same(client.register_push_events_callback(heard::on_event, &events, whole_source(), {}), 0,
             "is taken twice");
  check_same(with.count_on_bus(on_bus::send_and_wait), 0, "without a word to the server");
  check(with.push(event_text(app_id, "news", "{}").text), "an event is pushed");
  check(comes([&] { return events.count() == 3; }), "and comes twice");
}

void commands_come(const push_libraries& with, IPushCommClient& client, heard& commands) {
  about("A callback for commands:");
  with.forget();
  with.forget_bus();
  with.answer(0, "{\"result\": []}");
  check_same(
      client.register_push_commands_callback(heard::on_command, &commands, whole_source(), {}), 0,
      "is taken");
  check(with.sent(on_bus::send_and_wait, default_for_commands) == 1 &&
            with.sent(on_bus::send_and_wait, app_for_commands) == 1,
        "both applications are registered");
  check(comes([&] { return with.count(call::free_response) == 2; }),
        "and what each has missed is listed");
  check(with.push(command_text(app_id, "scan", "k1").text), "a command is pushed");
  // Possibly twice: what is kept goes to a new callback some time after it was taken.
  if (!check(comes([&] { return commands.count() != 0; }), "and comes over the bus")) return;
  const heard::entry& command = commands.last();
  check_text<char>(command.name, "scan", "with its name");
  check_text<char>(command.id, "k1", "identifier");
  check_text<char>(command.params, "{\"x\": 1}", "parameters");
  check_text<char>(command.app_id, app_id, "application");
  check(command.timestamp == pushed_timestamp, "and time stamp");

  about("Commands are kept by the client:");
  heard replayed;
  client.send_offline_commands(source_of("another.app"), heard::on_command, &replayed);
  check(replayed.count() == 1 && same<char>(replayed.last().id, "k1") &&
            replayed.last().thread == GetCurrentThreadId(),
        "for any application, on this thread");
  check_same(
      client.register_push_commands_callback(heard::on_command, &replayed, whole_source(), {}), 0,
      "a late callback is taken");
  check(comes([&] { return replayed.count() == 2; }), "and gets them");
  check(replayed.last().thread != GetCurrentThreadId(), "on another thread");
  client.unregister_push_commands_callback(heard::on_command, &replayed, whole_source(), {});
}

void commands_end(const push_libraries& with, IPushCommClient& client) {
  about("A command ends at the client:");
  with.forget();
  with.forget_bus();
  with.answer(0, "{\"result\": {}}");
  client.set_command_done("k1", "d\xc3\xb6ne", whole_source(), whole_destination());
  check(comes([&] {
          return with.sent(on_bus::send,
                           "module=push method=push_command_done source_app_id=client.app "
                           "source_device_id=own device source_token=own token dest_app_id=far app "
                           "dest_device_id=far device id=k1 status=d\xc3\xb6ne") == 1;
        }),
        "which the server is told");
  check(comes([&] { return with.count(call::free_response) == 1; }), "and the cloud");
  const zvnc::record* ask = with.nth(call::ask);
  check(ask && contains<char>(ask->body, "\"command_status\": \"d\xc3\xb6ne\""), "with its status");
  heard left;
  client.send_offline_commands(source_of(app_id), heard::on_command, &left);
  check_same(left.count(), 0, "none is kept any more");
}

void server_returns(const push_libraries& with, product_host& host, const own_plugin& server,
                    heard& events) {
  about("The server goes:");
  check(with.bus_is_quiet(), "the bus is quiet");
  uint32_t from = with.line_count();
  const int32_t before = with.bus_census().subscriptions;
  check_same(server->UnInit(), 0, "its UnInit succeeds");
  check(comes([&] { return with.line_with(L"Push server is down", from) != nullptr; }),
        "the client hears of it");
  check(with.bus_is_quiet() && with.bus_census().subscriptions == before - 5,
        "and gives up its subscriptions but one");

  about("The server returns:");
  with.forget_bus();
  from = with.line_count();
  check_same(server->Init(&host), 0, "its Init succeeds");
  check(comes([&] { return with.line_with(L"Push server is up", from) != nullptr; }),
        "the client hears of it");
  const char* const registrations[] = {default_for_events, app_for_events, default_for_commands,
                                       app_for_commands};
  for (const char* each : registrations) {
    check(comes([&] { return with.sent(on_bus::send_and_wait, each) == 1; }),
          "and registers again");
  }
  check(with.bus_is_quiet(), "the bus is quiet");
  events.forget();
  check(with.push(event_text(app_id, "news", "{}").text), "an event is pushed");
  check(comes([&] { return events.count() == 2; }), "and comes");
}

void callbacks_leave(const push_libraries& with, IPushCommClient& client, heard& events,
                     heard& commands) {
  about("Callbacks leave the client:");
  check(with.bus_is_quiet(), "the bus is quiet");
  with.forget_bus();
  client.unregister_push_events_callback(heard::on_event, &events, whole_source(),
                                         whole_destination());
  check_same(with.sent(on_bus::send,
                       "module=push method=push_unregister source_app_id=client.app "
                       "source_device_id=own device source_token=own token dest_app_id=far app "
                       "dest_device_id=far device topic#0"),
             1, "the server is told of the last one for events");
  client.unregister_push_commands_callback(heard::on_command, &commands, whole_source(),
                                           whole_destination());
  check_same(with.sent(on_bus::send,
                       "module=push method=push_unregister source_app_id=client.app "
                       "source_device_id=own device source_token=own token dest_app_id=far app "
                       "dest_device_id=far device topic#1"),
             1, "and of the last one for commands");
  client.unregister_push_events_callback(heard::on_event, &events, whole_source(), {});
  check_same(with.count_on_bus(on_bus::send), 2, "one that isn't there isn't told");
}

}  // namespace

void client_of_pushes(const push_libraries& with, const module_exports& module) {
  about("The push client:");
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  with.cloud_status(0, 0);
  with.forget_bus();
  const own_plugin integrator(module, integrator_name);
  check_same(integrator->Init(&host), 0, "Init succeeds");
  auto* client = integrator.get<IPushCommClient>(IID_IPushServiceClient);
  if (!check(client != nullptr, "it is offered")) return;
  // The client is the first to look at the bus, the plug-in the second.
  auto* observer = static_cast<ibus_observer*>(with.nth_on_bus(on_bus::add_observer)->pointer);
  check_same(distance(client, observer), 8, "the bus was given its second facet");
  check(observer->QueryInterface(IID_ibus_observer) == observer, "whose first slot finds itself");

  const uint32_t from = with.line_count();
  const own_plugin server(module, push_server_name);
  check_same(server->Init(&host), 0, "the server's Init succeeds");
  check(with.bus_is_quiet() && with.line_with(L"Push server is up", from),
        "the client heard of it");

  heard events;
  heard commands;
  events_come(with, *client, events);
  commands_come(with, *client, commands);
  commands_end(with, *client);
  server_returns(with, host, server, events);
  callbacks_leave(with, *client, events, commands);

  about("End of server and client:");
  check_same(server->UnInit(), 0, "the server's UnInit succeeds");
  check_same(integrator->UnInit(), 0, "so does the integrator's");
  check(integrator.get<void>(IID_IPushServiceClient) == client, "the client stays until the end");
}
