#include <cstdio>
#include <memory>

#include "devkit/cloud/Cloud.h"
#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"

namespace devkit {

namespace {

using nlohmann::json;

void add_cloud(CLI::App& app, Command& command) {
  struct Options {
    std::uint16_t port = default_port;
    std::string certificate;
    std::string commands;
    double seconds = 0;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const sub =
      app.add_subcommand("cloud", "Run the development cloud until it is stopped");
  sub->add_option("--port", options->port, "Port on 127.0.0.1; 0 takes any free one")
      ->envname("SPLICE_PORT")
      ->capture_default_str();
  sub->add_option("--https", options->certificate,
                  "Serve https, and write the new certificate to this file")
      ->envname("SPLICE_HTTPS");
  sub->add_option("--commands", options->commands,
                  "Keep the commands in this SQLite file; none: only as long as it runs")
      ->envname("SPLICE_COMMANDS");
  add_for_option(*sub, options->seconds, "End by itself after so many seconds");
  sub->add_flag("--json", options->json, "Say the address as JSON")->envname("SPLICE_JSON");
  sub->callback([&command, options, sub] {
    // A view of a cloud that runs already: "cloud commands" and its like.
    if (!sub->get_subcommands().empty()) return;
    command.run = [options] {
      os::Interrupt interrupt;
      const Cloud cloud({options->port, to_path(options->certificate), to_path(options->commands)});
      if (options->json) {
        print(
            {{"address", cloud.address()}, {"port", cloud.port()}, {"process", os::process_id()}});
      } else {
        std::printf("The development cloud is at %s (process %u). Stop it with Ctrl-C.\n",
                    cloud.address().c_str(), os::process_id());
        if (cloud.address() != default_cloud)
          std::printf("Others find it by SPLICE_CLOUD=%s\n", cloud.address().c_str());
        std::fflush(stdout);
      }
      stay(interrupt, options->seconds);
      return exit_code::ok;
    };
  });
}

void add_fault(CLI::App& app, Command& command) {
  struct Options {
    Fault fault;
    std::uint32_t count = 0;
    std::string error;
    std::string data;
    bool clear = false;
    bool list = false;
  };
  const auto options = std::make_shared<Options>();
  Fault& fault = options->fault;
  CLI::App* const sub = app.add_subcommand("fault", "Make the running cloud fail, or stop failing");
  add_cloud_option(*sub, command);
  sub->add_option("kind", fault.kind, "error, stall, rubbish, http or close")
      ->check(CLI::IsMember({"error", "stall", "rubbish", "http", "close"}));
  sub->add_option("--service", fault.service, "The service; * for all, health for the heartbeat")
      ->envname("SPLICE_SERVICE")
      ->capture_default_str();
  sub->add_option("--method", fault.method, "The method; * for all")
      ->envname("SPLICE_METHOD")
      ->capture_default_str();
  add_count_option(*sub, options->count, "For so many requests; 0 until cleared")
      ->capture_default_str();
  sub->add_option("--code", fault.code, "error: its number")
      ->envname("SPLICE_CODE")
      ->capture_default_str();
  sub->add_option("--text", fault.message, "error: its message")
      ->envname("SPLICE_ERROR_TEXT")
      ->capture_default_str();
  sub->add_option("--data", options->data, "error: its data, as JSON, such as {\"code\":1011}")
      ->envname("SPLICE_DATA");
  sub->add_option("--error", options->error, "error: the whole member, as JSON, such as 7")
      ->envname("SPLICE_ERROR");
  sub->add_option("--milliseconds", fault.milliseconds, "stall: how long")
      ->envname("SPLICE_MILLISECONDS")
      ->capture_default_str();
  sub->add_option("--what", fault.what,
                  "rubbish: not json, cut, huge, not utf-8, deep, empty or array")
      ->envname("SPLICE_WHAT")
      ->capture_default_str();
  sub->add_option("--status", fault.status, "http: the status")
      ->envname("SPLICE_STATUS")
      ->capture_default_str();
  sub->add_flag("--clear", options->clear,
                "Clear all faults (before setting one); alone with --service or --method, those "
                "set for exactly these");
  sub->add_flag("--list", options->list, "List the faults in force");
  sub->callback([&command, options, sub] {
    if (options->fault.kind.empty() && !options->clear && !options->list) {
      throw CLI::ValidationError("fault", "name a kind of fault, or --clear, or --list");
    }
    if (options->count != 0) options->fault.count = options->count;
    const auto parsed = [](const std::string& name, const std::string& text) {
      if (text.empty()) return json();
      json value = json::parse(text, nullptr, false);
      if (value.is_discarded()) throw CLI::ValidationError(name, "is not JSON: " + text);
      return value;
    };
    options->fault.error = parsed("--error", options->error);
    options->fault.data = parsed("--data", options->data);
    FaultSelection cleared;
    if (options->fault.kind.empty()) {
      if (sub->count("--service") != 0) cleared.service = options->fault.service;
      if (sub->count("--method") != 0) cleared.method = options->fault.method;
    }
    command.run = [&command, options, cleared] {
      const CloudAdmin admin(command.cloud);
      if (options->clear) admin.clear_faults(cleared);
      if (!options->fault.kind.empty()) admin.add_fault(to_json(options->fault));
      print(admin.faults());
      return exit_code::ok;
    };
  });
}

}  // namespace

void add_cloud_commands(CLI::App& app, Command& command) {
  add_cloud(app, command);
  add_fault(app, command);
}

}  // namespace devkit
