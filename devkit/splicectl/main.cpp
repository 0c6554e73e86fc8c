#include <algorithm>
#include <cstdio>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/os.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/tour.h"

namespace devkit {

namespace {

void add_tour(CLI::App& app, Command& command) {
  CLI::App* const sub = app.add_subcommand("tour", "See it all at work, in well under a minute");
  add_module_option(*sub, command);
  sub->callback([&command] {
    command.run = [&command] { return run_tour(command.module_path(), command.is_terminal); };
  });
}

int run(int count, char** values) {
  Command command;
  command.is_terminal = os::prepare_terminal();
  CLI::App app(
      "The development kit's command line. Without a cloud of your own: splicectl cloud &  "
      "splicectl request");
  app.footer(exit_codes_help);
  app.require_subcommand(1);
  // Otherwise the environment would speak for the other subcommands as well, last and loudest, and
  // they share some of their values.
  app.immediate_callback();
  add_tour(app, command);
  add_cloud_commands(app, command);
  add_push_commands(app, command);
  add_host_commands(app, command);
  add_guardian_commands(app, command);
  add_proxy_commands(app, command);
  add_telemetry_commands(app, command);
  add_user_commands(app, command);
  add_app_commands(app, command);
  add_bus_commands(app, command);
  add_ask_command(app, command);

  std::vector<std::string> arguments = os::arguments(count, values);
  // The library takes them from the end.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_code::ok : exit_code::usage;
  }
  try {
    return command.run();
  } catch (const no_cloud& error) {
    std::fprintf(stderr, "splicectl: %s\n", error.what());
    return exit_code::no_cloud;
  } catch (const no_broker& error) {
    std::fprintf(stderr, "splicectl: %s\n", error.what());
    return exit_code::no_broker;
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "splicectl: %s\n", error.what());
    return exit_code::usage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "splicectl: %s\n", error.what());
    return exit_code::cannot_start;
  }
}

}  // namespace

}  // namespace devkit

int main(int count, char** values) {
  return devkit::run(count, values);
}
