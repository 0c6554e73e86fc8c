#include <cstdio>
#include <memory>
#include <optional>

#include "_base/win_error.h"
#include "devkit/host/BusLibrary.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "frame/msgbus/IBusMessage.h"

namespace devkit {

namespace {

using nlohmann::json;

struct Options {
  std::string service;
  std::string method;
  std::string message = "{}";
  std::uint32_t timeout = 5000;
};

struct Releaser {
  void operator()(IBusMessage* message) const { message->Release(); }
};
using Message = std::unique_ptr<IBusMessage, Releaser>;

/// How much longer than the request itself its answer may take on the bus.
constexpr std::uint32_t bus_patience = 2000;
/// What the kit's bus says without a broker.
constexpr std::uint32_t no_broker_status = 2250;

Message make_request(IBusCore& core, const Options& options) {
  Message message(core.CreateMessage(0));
  if (!message) throw std::runtime_error("the bus gives no message");
  message->SetString("module", "connect_requests");
  message->SetString("method", "resolve_request");
  message->SetString("service", options.service.c_str());
  message->SetString("request_method", options.method.c_str());
  // The other side puts its own identity in their place.
  for (const char* const field :
       {"source_app_id", "source_device_id", "source_token", "dest_app_id", "dest_device_id"})
    message->SetString(field, "");
  message->SetString("message", options.message.c_str());
  message->SetInt("timeout", options.timeout);
  return message;
}

json to_json(IBusMessage& reply) {
  json shown = {{"err", reply.GetInt("err")}};
  const bool failed = reply.HasField("error_type", 0);
  shown["error_type"] = failed ? json(reply.GetInt("error_type")) : json();
  const char* const text = reply.GetString("reply");
  shown["reply"] = nullptr;
  if (text != nullptr) {
    const json parsed = json::parse(text, nullptr, false);
    shown["reply"] = parsed.is_discarded() ? json(text) : parsed;
  }
  return shown;
}

/// What a failure means, and what to do about it.
std::string in_words(const json& reply) {
  const Outcome outcome{reply["error_type"], reply["err"], 0, {}};
  const bool is_nobody = outcome.error_type == 1 && outcome.code == win_error::no_data;
  return outcome.sentence() +
         (is_nobody ? "; nobody may be signed in: \"splicectl user sign-in\"" : "");
}

int show(const Command& command, const json& reply) {
  if (command.wants_json()) {
    print(reply);
  } else {
    const bool has_reply = !reply["reply"].is_null();
    print_line("reply         " + (has_reply ? reply["reply"].dump() : "none"));
    print_line("err           " + reply["err"].dump());
    if (!reply["error_type"].is_null()) print_line("status        " + in_words(reply));
  }
  if (!reply["error_type"].is_null()) return exit_code::request_failed;
  return reply["err"] == 0 ? exit_code::ok : exit_code::server_error;
}

int ask(const Command& command, const Options& options) {
  command.tell_environment();
  // The bus itself has no word for a broker that isn't there.
  BusSightings(command.broker_address()).listeners();
  const BusLibrary library(std::filesystem::absolute(command.module_path()).parent_path());
  IBusCore* const core = require_bus(library.bus()).Core();
  IBusChannel* const channel = core != nullptr ? core->GetChannel("connect.actions") : nullptr;
  if (channel == nullptr) throw std::runtime_error("the bus gives no channel");
  const Message request = make_request(*core, options);
  IBusMessage* answer = nullptr;
  const std::uint32_t status =
      channel->SendAndWait(request.get(), &answer, options.timeout + bus_patience);
  const Message reply(answer);
  if (reply && status == 0) return show(command, to_json(*reply));
  if (status == no_broker_status)
    throw no_broker("the broker at " + command.broker_address().text() +
                    " is gone; start one with \"splicectl broker\"");
  std::fprintf(stderr,
               "splicectl: nobody answered on the bus (%u). Is there a server (\"splicectl host "
               "serve\")?\n",
               status);
  return exit_code::timed_out;
}

}  // namespace

void add_ask_command(CLI::App& app, Command& command) {
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand(
      "ask", "Send a request over the bus, as a process without the cloud client does");
  add_broker_option(*sub, command);
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_option("service", options->service, "The cloud service")
      ->envname("SPLICE_SERVICE")
      ->required();
  sub->add_option("method", options->method, "Its method")->envname("SPLICE_METHOD")->required();
  sub->add_option("message", options->message, "JSON object of parameters")
      ->envname("SPLICE_MESSAGE")
      ->capture_default_str();
  sub->add_option("--timeout", options->timeout, "Milliseconds for the request")
      ->envname("SPLICE_TIMEOUT")
      ->capture_default_str();
  sub->callback([&command, options] {
    command.run = [&command, options] { return ask(command, *options); };
  });
}

}  // namespace devkit
