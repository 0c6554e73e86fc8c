// The push server, asked over the bus as other processes ask it.

#include "host/push.h"
#include "host/question.h"

namespace {

using zvnc::call;

constexpr const char* server_up = "module=push method=on_push_server_up";
constexpr const char* client_listener = "push_client";

class action final : public question {
 public:
  action(const bus_libraries& with, const char* method, const char* app_id)
      : question(with, "push", method) {
    set("source_app_id", app_id).set("source_device_id", "device").set("source_token", "token");
    set("dest_app_id", "far app").set("dest_device_id", "far device");
  }
};

// Asks for a topic; the number that comes back.
int64_t answer_to(const bus_libraries& with, const char* method, const char* app_id,
                  int64_t topic) {
  action asked(with, method, app_id);
  IBusMessage* reply = asked.set("topic", topic).ask();
  check(reply && reply->HasField("err", 0), "the server answers");
  return reply ? reply->GetInt("err") : ~int64_t{0};
}

void check_listener(const msgbus::record* record, const char* channel, const char* listener,
                    const char* sentence) {
  check(record && same<char>(record->channel, channel) && same<char>(record->listener, listener),
        sentence);
}

void begun(const push_libraries& with, const own_plugin& server, const product_host& host) {
  using on_bus = msgbus::call;
  check(contains(host.calls, "execution manager get(connect_integrator)"),
        "having taken the integrator from the host");
  check_listener(with.nth_on_bus(on_bus::add_listener, 0), actions_channel, "push_register",
                 "it announces registrations");
  check_listener(with.nth_on_bus(on_bus::add_listener, 1), actions_channel, "push_unregister",
                 "their end");
  check_listener(with.nth_on_bus(on_bus::add_listener, 2), actions_channel, "push_command_done",
                 "and the ends of commands");
  check_same(with.count_on_bus(on_bus::add_listener), 3, "and nothing else");
  bool is_observed = false;
  for (uint32_t i = 0; auto* added = with.nth_on_bus(on_bus::add_observer, i); ++i) {
    is_observed |= added->pointer == server.get<void>(IID_ibus_observer) && added->as_told;
  }
  check(is_observed, "the bus was given its observer");
  check_same(with.sent(on_bus::send, server_up), 1, "and all clients are told");
  const msgbus::record* told = with.nth_on_bus(on_bus::send);
  check(told && same<char>(told->channel, events_channel), "on the channel of events");
}

void registered_for_events(const push_libraries& with) {
  about("A registration for events over the bus:");
  with.forget();
  with.forget_bus();
  check(answer_to(with, "push_register", "far.app", 0) == 0, "with 0");
  check_text<char>(with.nth_on_bus(msgbus::call::set_reply)->message,
                   "module=connect_requests err#0 module=push method=push_register "
                   "source_app_id=far.app source_device_id=device source_token=token "
                   "dest_app_id=far app dest_device_id=far device",
                   "and says who had asked");
  const zvnc::record* registered = with.nth(call::push_register);
  if (check(registered != nullptr, "the cloud is told")) {
    check_text<char>(registered->first, "far.app", "of the application");
    // The first of all is registered for the measuring event, which has no destination.
    check_text<char>(registered->body, "far.app|device|event|secure_web", "and the target");
  }

  with.forget_bus();
  check(with.push(event_text("far.app", "news", "{\"a\": 1}").text), "an event is pushed");
  check_same(with.sent(msgbus::call::send,
                       "module=push method=on_push_event name=news timestamp#5000000001 "
                       "destination_app_id=far.app destination_device_id=far device "
                       "params={\"a\": 1}"),
             1, "and published");
  with.forget();
  check(answer_to(with, "push_register", "far.app", 0) == 0, "with 0 to a second client");
  check_same(with.count(call::push_register), 0, "of which the cloud isn't told");
  check(answer_to(with, "push_register", "other.app", 0) == 0, "with 0 to another application");
  registered = with.nth(call::push_register);
  check(registered && same<char>(registered->body, "other.app|far device|event|secure_web"),
        "of which it is, with the device in the message");
}

void refused_registrations(const push_libraries& with) {
  about("Registrations that are refused:");
  check(answer_to(with, "push_register", "far.app", 2) == 87, "with 87 for an unknown topic");
  check(answer_to(with, "push_register", "", 0) == 13, "with 13 for no application");
  with.refuse_push(0x8000000a);
  check(answer_to(with, "push_register", "refused.app", 0) == int32_t(0x8000000a),
        "with what the client library says, as a signed number");
  with.refuse_push(0);
  action unlike(with, "push_register", "far.app");
  IBusMessage* reply = unlike.ask();
  check(reply && reply->GetInt("err") == 87,
        "a topic that isn't there is what the bus makes of it");
}

void commands_over_the_bus(const push_libraries& with) {
  about("Commands over the bus:");
  const char* const published =
      "module=push method=on_push_command name=scan timestamp#5000000001 id=f1 params={\"x\": 1} "
      "destination_app_id=far.app";
  with.answer(0, "{\"result\": []}");
  check(answer_to(with, "push_register", "far.app", 1) == 0, "with 0");
  check(comes([&] { return with.count(call::free_response) != 0; }), "what was missed is listed");
  with.forget_bus();
  check(with.push(command_text("far.app", "scan", "f1").text), "a command is pushed");
  check_same(with.sent(msgbus::call::send, published), 1, "and published");
  check(answer_to(with, "push_register", "far.app", 1) == 0, "with 0 to a second client");
  check_same(with.sent(msgbus::call::send, published), 2, "for which it is published again");

  with.forget();
  with.forget_bus();
  action done(with, "push_command_done", "far.app");
  IBusMessage* reply = done.set("id", "f1").set("status", "done").ask();
  check(reply && reply->GetInt("err") == 0, "its end is answered");
  check_text<char>(with.nth_on_bus(msgbus::call::set_reply)->message,
                   "module=connect_requests err#0 module=push method=push_command_done "
                   "source_app_id=far.app source_device_id=device source_token=token "
                   "dest_app_id=far app dest_device_id=far device",
                   "by these fields alone");
  const zvnc::record* ask = with.nth(call::ask);
  check(ask && contains<char>(ask->body, "\"method\": \"complete\"") &&
            contains<char>(ask->body, "\"command_id\": \"f1\""),
        "and told to the cloud");
}

void unregistered(const push_libraries& with) {
  about("The end of registrations over the bus:");
  with.forget_bus();
  const auto is_published = [&](const pushed_text& text) {
    const uint32_t before = with.count_on_bus(msgbus::call::send);
    check(with.push(text.text), "a push comes");
    return with.count_on_bus(msgbus::call::send) != before;
  };
  const pushed_text event = event_text("far.app", "news", "{}");
  const pushed_text command = command_text("far.app", "scan", "f2");
  check(answer_to(with, "push_unregister", "far.app", 0) == 0, "with 0");
  check(is_published(event), "one client is left, so it goes on");
  check(answer_to(with, "push_unregister", "far.app", 0) == 0, "with 0");
  check(!is_published(event), "nobody is left for events");
  check(is_published(command), "but for commands");
  answer_to(with, "push_unregister", "far.app", 1);
  answer_to(with, "push_unregister", "far.app", 1);
  check(!is_published(command), "until these end too");
  check(answer_to(with, "push_unregister", "far.app", 2) == 0, "with 0 for anything else");
}

void new_clients(const push_libraries& with, const own_plugin& server) {
  about("New clients:");
  check(with.bus_is_quiet(), "the bus is quiet");
  with.forget_bus();
  with.bus->AddListener(events_channel, client_listener);
  check(comes([&] { return with.sent(msgbus::call::send, server_up) == 1; }),
        "are told that the server is up");
  with.bus->AddListener(actions_channel, client_listener);
  with.bus->AddListener(events_channel, "push_clients");
  with.bus->RemoveListener(events_channel, "push_clients");
  with.bus->RemoveListener(actions_channel, client_listener);
  with.bus->RemoveListener(events_channel, client_listener);
  check(with.bus_is_quiet() && with.sent(msgbus::call::send, server_up) == 1,
        "other news lead to nothing");

  auto* observer = server.get<ibus_observer>(IID_ibus_observer);
  check(observer->QueryInterface(IID_IServPlugin) == &*server,
        "the observer's first slot finds the object");
  observer->on_new_listener(nullptr, events_channel, client_listener);
  check_same(with.sent(msgbus::call::send, server_up), 2, "its second hears of clients");
  observer->on_listener_removed(nullptr, events_channel, client_listener);
  check_same(with.sent(msgbus::call::send, server_up), 2, "its third does nothing");
}

void ended(const push_libraries& with, const own_plugin& server, product_host& host) {
  about("End of the push server:");
  using on_bus = msgbus::call;
  host.calls[0] = 0;
  with.forget_bus();
  check_same(server->UnInit(), 0, "UnInit succeeds");
  check_listener(with.nth_on_bus(on_bus::remove_listener, 0), actions_channel, "push_command_done",
                 "it withdraws the ends of commands");
  check_listener(with.nth_on_bus(on_bus::remove_listener, 1), actions_channel, "push_register",
                 "registrations");
  check_listener(with.nth_on_bus(on_bus::remove_listener, 2), actions_channel, "push_unregister",
                 "and their end");
  check_same(with.count_on_bus(on_bus::unsubscribe), 3, "with its subscriptions");
  check(contains(host.calls, "release(connect_integrator)"), "the integrator is given back");
  action late(with, "push_register", "far.app");
  check(!late.set("topic", int64_t{0}).ask(20), "a late registration gets no answer");
}

}  // namespace

void server_of_pushes(const push_libraries& with, const module_exports& module) {
  about("The push server:");
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  with.cloud_status(0, 0);
  const own_plugin server(module, push_server_name);
  with.forget_bus();
  check_same(server->Init(&host), 0, "Init succeeds");
  begun(with, server, host);
  registered_for_events(with);
  refused_registrations(with);
  commands_over_the_bus(with);
  unregistered(with);
  new_clients(with, server);
  ended(with, server, host);
  check(host.agent.infos == 0 && host.agent.wrong_calls == 0,
        "the agent was never called in a wrong way");

  about("A push server on a bus without its channel:");
  with.bus_refuse(msgbus::refuse_channel);
  const uint32_t from = with.line_count();
  check_same(server->Init(&host), 0, "stays loaded");
  check(with.line_with(L"could not register push register listener", from), "and tells the log");
  with.bus_refuse(msgbus::refuse_nothing);
  check_same(server->UnInit(), 0, "UnInit succeeds");
}
