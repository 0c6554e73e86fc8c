// The push service beside the cloud client.

#include "host/push.h"

namespace {

using zvnc::call;

struct running_service {
  running_service(const module_exports& module, product_host& host)
      : integrator(module, integrator_name) {
    check_same(integrator->Init(&host), 0, "Init succeeds");
    service = integrator.get<IPushService>(IID_IPushService);
    if (!check(service != nullptr, "it offers the service")) ExitProcess(closing_line());
  }

  own_plugin integrator;
  IPushService* service;
};

void check_registered(const zvnc::record* registered, const char* app_id, const char* token,
                      const char* body, const char* sentence) {
  if (!check(registered != nullptr, sentence)) return;
  check_text<char>(registered->first, app_id, "with its application");
  check_text<char>(registered->second, "device", "the device");
  check_text<char>(registered->third, token, "the user's token");
  check_text<char>(registered->body, body, "its target, topic and transport");
}

void before_the_network(const push_libraries& with, IPushService& service, heard& events) {
  about("Before the network is there:");
  with.forget();
  const cloud::connect_source one = source_of("app.one");
  check_same(service.register_push_events_callback(heard::on_event, &events, one, {}), 0,
             "a callback for events is taken");
  check_same(service.register_push_events_callback(heard::on_event, &events, one, {}), 0,
             "and taken again");
  check_same(with.count(call::push_register), 0, "the cloud isn't told");

  about("The network comes:");
  check(with.fire_cloud_up(), "the client library tells of it");
  check_same(with.count(call::push_register), 1, "the cloud is told once");
  const zvnc::record* registered = with.nth(call::push_register);
  check_registered(registered, "app.one", "token", "app.one|device|event|secure_web",
                   "of the application");
  check(
      registered && registered->instance && registered->callback && registered->context == &service,
      "by an instance of the library, for the service");
}

void events_arrive(const push_libraries& with, heard& events) {
  about("An event is pushed:");
  const pushed_text text = event_text("app.one", "news \xe2\x82\xac", "{\"a\": [1, 2]}");
  check(with.push(text.text), "by the client library");
  if (!check(events.count() == 1, "the callback was called once")) return;
  const heard::entry& event = events.last();
  check_text<char>(event.name, "news \xe2\x82\xac", "with the event's name");
  check_text<char>(event.params, "{\"a\": [1, 2]}", "its parameters");
  check_text<char>(event.app_id, "app.one", "the application");
  check_text<char>(event.device_id, "far device", "the device");
  check(event.timestamp == pushed_timestamp, "and the time stamp, all 64 bits of it");
  check(event.thread != GetCurrentThreadId(), "on the library's thread");
  check(with.push(event_text("app.two", "news", "{}").text) && events.count() == 1,
        "an event for another application doesn't come");
}

void commands_are_listed(const push_libraries& with, IPushService& service, heard& commands) {
  about("A callback for commands:");
  with.forget();
  with.answer(0,
              "{\"result\": [{\"command\": \"sc\xc3\xa4n\", \"command_id\": \"c1\", \"timestamp\": "
              "4294967301, \"command_params\": {\"x\": 1}}]}");
  check_same(service.register_push_commands_callback(heard::on_command, &commands,
                                                     source_of("app.one"), {}),
             0, "is taken");
  check(comes([&] { return commands.count() == 1; }), "what was missed comes");
  check_same(with.count(call::push_register), 0, "the cloud knows the application already");
  const heard::entry& command = commands.last();
  check_text<char>(command.name, "sc\xc3\xa4n", "with the command's name");
  check_text<char>(command.id, "c1", "its identifier");
  check_text<char>(command.params, "{\"x\": 1}", "its parameters");
  check_text<char>(command.app_id, "app.one", "the application");
  check(command.timestamp == 5, "and what a listing leaves of the time stamp");
  const zvnc::record* ask = with.nth(call::ask);
  if (!check(ask != nullptr, "the cloud was asked")) return;
  check_text<char>(ask->first, "connect/commands", "by its service");
  check_same(ask->number, 5000, "with the timeout");
  check(contains<char>(ask->body, "\"method\": \"list\"") &&
            contains<char>(ask->body, "\"user_token\": \"token\""),
        "for the list, in the user's name");
}

void commands_arrive(const push_libraries& with, IPushService& service, heard& commands) {
  about("A command is pushed:");
  commands.forget();
  check(with.push(command_text("app.one", "clean", "c2").text), "by the client library");
  if (!check(commands.count() == 1, "the callback was called once")) return;
  check_text<char>(commands.last().name, "clean", "with the command's name");
  check_text<char>(commands.last().id, "c2", "its identifier");
  check(commands.last().timestamp == pushed_timestamp, "and the whole time stamp");

  about("Commands are kept:");
  heard replayed;
  service.send_offline_commands(source_of("app.one"), heard::on_command, &replayed);
  check(replayed.count() == 2 && same<char>(replayed.at(0).id, "c1") &&
            same<char>(replayed.at(1).id, "c2"),
        "both come again, in their order");
  check(replayed.at(0).thread == GetCurrentThreadId(), "on this thread");
  replayed.forget();
  service.send_offline_commands(source_of("app.two"), heard::on_command, &replayed);
  check_same(replayed.count(), 0, "another application has none");
  check_same(service.register_push_commands_callback(heard::on_command, &replayed,
                                                     source_of("app.one"), {}),
             0, "a late callback is taken");
  check_same(replayed.count(), 2, "and got them by then");
  service.unregister_push_commands_callback(heard::on_command, &replayed, source_of("app.one"), {});
}

void commands_are_done(const push_libraries& with, IPushService& service) {
  about("A command is done:");
  with.forget();
  with.answer(0, "{\"result\": {}}");
  cloud::connect_destination dest;
  dest.app_id = "far app";
  service.set_command_done("c9", "done", source_of("app.one"), dest);
  check_same(with.count(call::ask), 0, "an unknown one isn't told to the cloud");
  service.set_command_done("c1", "d\xc3\xb6ne", source_of("app.one"), dest);
  const zvnc::record* ask = with.nth(call::ask);
  if (check(ask != nullptr, "a known one is")) {
    check_text<char>(ask->first, "connect/commands", "by its service");
    check(contains<char>(ask->body, "\"method\": \"complete\"") &&
              contains<char>(ask->body, "\"command_id\": \"c1\"") &&
              contains<char>(ask->body, "\"command_status\": \"d\xc3\xb6ne\""),
          "with identifier and status");
  }
  heard left;
  service.send_offline_commands(source_of("app.one"), heard::on_command, &left);
  check(left.count() == 1 && same<char>(left.at(0).id, "c2"), "only the other one is kept");
}

void callbacks_leave(const push_libraries& with, IPushService& service, heard& events,
                     heard& commands) {
  about("Callbacks leave:");
  events.forget();
  commands.forget();
  heard others;
  const cloud::connect_source one = source_of("app.one");
  service.unregister_push_events_callback(heard::on_event, &others, one, {});
  check(with.push(event_text("app.one", "news", "{}").text) && events.count() == 1,
        "another context isn't meant");
  service.unregister_push_events_callback(heard::on_event, &events, one, {});
  check(with.push(event_text("app.one", "news", "{}").text) && events.count() == 1,
        "no event comes any more");
  service.unregister_push_commands_callback(heard::on_command, &commands, one, {});
  check(with.push(command_text("app.one", "scan", "c3").text) && commands.count() == 0,
        "nor does a command");
}

void registrations(const push_libraries& with, IPushService& service, heard& events) {
  about("Registrations with the cloud:");
  with.forget();
  cloud::connect_destination dest;
  dest.device_id = "far device";
  dest.app_id = "far app";
  check_same(
      service.register_push_events_callback(heard::on_event, &events, source_of("app.two"), dest),
      0, "are made at once now");
  check_registered(with.nth(call::push_register), "app.two", "token",
                   "app.two|far device|event|secure_web", "for another device, but no application");

  with.forget();
  cloud::connect_source own = source_of("app.own");
  own.device_id = "own device";
  own.user_token = "own token";
  check_same(service.register_push_commands_callback(heard::on_command, &events, own, dest), 0,
             "for commands too");
  const zvnc::record* registered = with.nth(call::push_register);
  if (check(registered != nullptr, "are told to the cloud")) {
    check_text<char>(registered->third, "own token", "in the caller's name, if it has one");
    check_text<char>(registered->body, "app.own|own device|event|secure_web",
                     "and without a destination");
  }
  service.unregister_push_commands_callback(heard::on_command, &events, own, dest);

  with.forget();
  check_same(service.register_push_events_callback(heard::on_event, &events, source_of(""), {}), 0,
             "without an application");
  check_registered(with.nth(call::push_register), default_app_id, "token",
                   "Desktop \xe2\x82\xac|device|event|secure_web", "are for the default one");

  with.refuse_push(0x80000007);
  const cloud::connect_source three = source_of("app.three");
  check_same(service.register_push_events_callback(heard::on_event, &events, three, {}), 0x80000007,
             "a refusal comes back, all 32 bits of it");
  check_same(service.register_push_commands_callback(heard::on_command, &events, three, {}),
             0x80000007, "for commands as well");
  with.refuse_push(0);
  with.forget();
  check_same(service.register_push_events_callback(heard::on_event, &events, three, {}), 0,
             "and can be tried again");
  check_same(with.count(call::push_register), 1, "with the cloud too");
}

void latency_is_reported(const push_libraries& with) {
  about("The measuring event:");
  check(
      with.push(
          event_text("app.one", "push_delivery_latency", "{\"latency_id\": \"l-\xc3\xa9\"}").text),
      "is pushed to the application that came first");
  if (!check(with.event_count() == 1, "and reported")) return;
  const events::record& report = *with.event(0);
  check_text<wchar_t>(report.name, L"push_event_emitted", "by its name");
  check_text<wchar_t>(report.version, L"2.0", "version");
  check_same(report.type, 31, "type");
  check_text(report.value(L"strings/push_event_name"), L"push_delivery_latency",
             "the event's name");
  check_text(report.value(L"strings/latency_id"), L"l-\xe9", "and its identifier");
  check(report.flag && report.zero == 0, "posted with true and with 0");
}

void user_changes(const push_libraries& with, product_host& host) {
  about("The user changes:");
  with.forget();
  host.agent.sign_in(L"device", L"new token");
  check(host.agent.tell_of_change(), "as the agent tells");
  const char* const expected[] = {default_app_id, "app.one", "app.three", "app.two"};
  check_same(with.count(call::push_register), 4, "the cloud is told of each application");
  for (uint32_t i = 0; i < 4; ++i) {
    const zvnc::record* registered = with.nth(call::push_register, i);
    check(registered && same<char>(registered->first, expected[i]) &&
              same<char>(registered->third, "new token"),
          "in their order, with the new token");
  }
  with.forget();
  check(host.agent.tell_of_change() && with.count(call::push_register) == 0,
        "a change that is none isn't told");
}

}  // namespace

void service_without_user(const push_libraries& with, const module_exports& module) {
  about("The push service while nobody is signed in:");
  product_host host(module);
  with.cloud_status(0, 1);
  const running_service of(module, host);
  heard events;
  const uint32_t from = with.line_count();
  check_same(
      of.service->register_push_events_callback(heard::on_event, &events, source_of("app.one"), {}),
      13, "takes no callback for events");
  check_same(of.service->register_push_commands_callback(heard::on_command, &events,
                                                         source_of("app.one"), {}),
             13, "nor for commands");
  check(with.line_with(L"No auth data", from), "the log tells why");
  cloud::connect_source own = source_of("app.one");
  own.device_id = "own device";
  own.user_token = "own token";
  check_same(of.service->register_push_events_callback(heard::on_event, &events, own, {}), 0,
             "but takes one of a caller with a name of its own");
  check_same(of.integrator->UnInit(), 0, "UnInit succeeds");
}

void service_of_pushes(const push_libraries& with, const module_exports& module) {
  about("The push service:");
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  const running_service of(module, host);
  heard events;
  heard commands;
  before_the_network(with, *of.service, events);
  events_arrive(with, events);
  commands_are_listed(with, *of.service, commands);
  commands_arrive(with, *of.service, commands);
  commands_are_done(with, *of.service);
  callbacks_leave(with, *of.service, events, commands);
  latency_is_reported(with);
  registrations(with, *of.service, events);
  user_changes(with, host);

  about("End of the push service:");
  check_same(of.integrator->UnInit(), 0, "UnInit succeeds");
  events.forget();
  check(with.push(event_text("app.two", "news", "{}").text), "a late event is pushed");
  check_same(events.count(), 0, "and comes to nobody");
}
