#include <cstdio>
#include <memory>
#include <optional>

#include "cloud/ICloudRequests.h"
#include "devkit/common/os.h"
#include "devkit/host/ServerPlugins.h"
#include "devkit/host/UserService.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/agents.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"

namespace devkit {

namespace {

struct Options {
  std::string agent = "local";
  bool user_service = false;
  double seconds = 0;
  bool json = false;
};

/// Tells of the cloud's coming and going until it is time to end.
void watch_cloud(cloud::ICloudRequests& requests, const Options& options,
                 os::Interrupt& interrupt) {
  std::optional<bool> was_up;
  stay(interrupt, options.seconds, [&] {
    const bool up = requests.is_cloud_up();
    if (was_up != up) {
      if (options.json) {
        print({{"cloud", up ? "up" : "down"}});
      } else {
        print_line(up ? "+ the cloud is up" : "- the cloud is down");
      }
    }
    was_up = up;
    return true;
  });
}

int serve(const Command& command, const Options& options) {
  os::Interrupt interrupt;
  command.tell_environment();
  PluginHost host(command.module_path(), with_agent(options.agent, false));
  IBus& bus = require_bus(host.bus());
  warn_without_broker(command.broker_address());
  // Before the plug-ins, so that they find the user at once.
  std::optional<UserService> user_service;
  if (options.user_service) user_service.emplace(bus);
  const ServerPlugins plugins(host);
  const HeldPlugin requests(host, "cloud_requests", cloud::IID_ICloudRequests);
  if (options.json) {
    print({{"serving", true}, {"process", os::process_id()}});
  } else {
    print_line("The module's four plug-ins serve (process " + std::to_string(os::process_id()) +
               "). Stop with Ctrl-C.");
  }
  watch_cloud(requests.as<cloud::ICloudRequests>(), options, interrupt);
  return exit_code::ok;
}

}  // namespace

void add_serve_command(CLI::App& host, Command& command) {
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = host.add_subcommand(
      "serve", "Run the module's four plug-ins as the service process does, until stopped");
  add_cloud_option(*sub, command);
  add_broker_option(*sub, command);
  add_module_option(*sub, command);
  add_agent_option(*sub, options->agent);
  sub->add_flag("--user-service", options->user_service,
                "Announce on the bus that this process knows the user")
      ->envname("SPLICE_USER_SERVICE");
  add_for_option(*sub, options->seconds, "End by itself after so many seconds");
  sub->add_flag("--json", options->json, "Say it as JSON")->envname("SPLICE_JSON");
  sub->callback([&command, options] {
    command.run = [&command, options] { return serve(command, *options); };
  });
}

}  // namespace devkit
