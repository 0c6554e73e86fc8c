// Requests that come over the bus, as another process sends them.

#include "host/connect_groups.h"
#include "host/question.h"

namespace {

using zvnc::call;

class request final : public question {
 public:
  explicit request(const bus_libraries& with)
      : question(with, "connect_requests", "resolve_request") {
    set("service", "connect/checks").set("request_method", "list");
    set("source_app_id", "own app").set("source_device_id", "own device");
    set("source_token", "own token");
    set("dest_app_id", "far app").set("dest_device_id", "far device");
    set("message", "{\"a\": 1}");
  }
};

void answered(const bus_libraries& with) {
  about("A request over the bus:");
  with.forget();
  with.forget_bus();
  with.answer(0, "{\"result\": {\"value\": \"\xe2\x82\xac\"}}");
  request asked(with);
  asked.set("timeout", 2345);
  IBusMessage* reply = asked.ask();
  if (!check(reply != nullptr, "is answered")) return;
  check_text(reply->GetString("reply"), "{\"value\": \"\xe2\x82\xac\"}", "with the text");
  check(reply->GetInt("err") == 0 && reply->HasField("err", 0), "and no error");
  check_text<char>(with.nth_on_bus(msgbus::call::set_reply)->message,
                   "reply={\"value\": \"\xe2\x82\xac\"} err#0", "by these two fields alone");
  const zvnc::record* ask = with.nth(call::ask);
  if (!check(ask != nullptr, "the library was asked")) return;
  check_text<char>(ask->first, "connect/checks", "with the service");
  check_same(ask->number, 2345, "the timeout");
  check_sent(with, default_app_id, "token", "device",
             "and this process's user in the place of the sender's");
}

void answered_by_errors(const bus_libraries& with, product_host& host) {
  about("Errors as they come back over the bus:");
  with.answer(0, "{\"error\": {\"code\": -32601, \"message\": \"no\"}}");
  {
    request asked(with);
    IBusMessage* reply = asked.ask();
    check(reply && reply->GetInt("err") == -32601 && reply->GetString("reply"),
          "the server's number, signed, beside a reply");
    check(reply && !reply->HasField("error_type", 0), "without a type");
  }
  with.answer(20011, "");
  with.forget();
  with.forget_bus();
  {
    request asked(with);
    check(asked.ask(), "a failure of the client library is told");
    check_text<char>(with.nth_on_bus(msgbus::call::set_reply)->message, "err#20011 error_type#2",
                     "by number and type");
    check_same(with.nth(call::ask)->number, msgbus::absent_number,
               "a timeout that isn't there is what the bus makes of it");
  }
  host.agent.sign_out(1168);
  host.agent.tell_of_change();
  with.forget_bus();
  {
    request asked(with);
    check(asked.ask(), "a missing user is told");
    check_text<char>(with.nth_on_bus(msgbus::call::set_reply)->message, "err#232 error_type#1",
                     "by number and type");
  }
}

void left_alone(const bus_libraries& with) {
  about("Messages of others:");
  with.forget_bus();
  const char* const strange[][2] = {
      {"module", "push"}, {"method", "resolve_requests"}, {"method", ""}};
  for (const auto& field : strange) {
    request asked(with);
    asked.set(field[0], field[1]);
    check(!asked.ask(20), "get no answer");
  }
  check(with.bus_is_quiet() && with.count_on_bus(msgbus::call::set_reply) == 0, "nor later");
}

}  // namespace

void requests_of_other_processes(const bus_libraries& with, const module_exports& module) {
  about("A server of requests:");
  product_host host(module);
  host.agent.sign_in(L"device", L"token");
  with.forget_bus();
  const own_plugin server(module, requests_server_name);
  check_same(server->Init(&host), 0, "Init succeeds");
  check(contains(host.calls, "execution manager get(connect_integrator)"),
        "having taken the integrator from the host");
  check_same(server->Start(), 0, "Start succeeds");
  const msgbus::record* seat = with.nth_on_bus(msgbus::call::subscribe);
  check(seat && same<char>(seat->channel, actions_channel), "it sits on the channel of actions");
  const msgbus::record* heard = with.nth_on_bus(msgbus::call::set_callback);
  check(heard && heard->as_told && heard->pointer == &*server, "where the object is told");
  check_same(with.count_on_bus(msgbus::call::add_listener), 0, "no listener is announced");

  answered(with);
  left_alone(with);
  answered_by_errors(with, host);

  about("End of the server of requests:");
  host.calls[0] = 0;
  with.forget_bus();
  server->Stop();
  check_same(server->UnInit(), 0, "UnInit succeeds");
  check_same(with.count_on_bus(msgbus::call::unsubscribe), 1, "its subscription ended");
  check(contains(host.calls, "release(connect_integrator)"), "the integrator is given back");
  request late(with);
  check(!late.ask(20), "a late request gets no answer");
  check(host.agent.infos == 0 && host.agent.wrong_calls == 0,
        "the agent was never called in a wrong way");
}

void request_server_without_bus_parts(const bus_libraries& with, const module_exports& module) {
  about("A server of requests on a bus that refuses:");
  const struct {
    msgbus::refusal refused;
    const wchar_t* line;
  } refusals[] = {
      {msgbus::refuse_channel, L"Failed to get channel connect.actions"},
      {msgbus::refuse_subscription, L"Failed to subscribe to channel connect.actions"},
  };
  for (const auto& each : refusals) {
    product_host host(module);
    host.agent.sign_in(L"device", L"token");
    const own_plugin server(module, requests_server_name);
    with.bus_refuse(each.refused);
    check_same(server->Init(&host), 31, "Init is refused");
    check(with.line_with(each.line), "the log tells why");
    check(contains(host.calls, "release(connect_integrator)"), "the integrator is given back");
    with.bus_refuse(msgbus::refuse_nothing);
  }
}
