#include <cstdio>
#include <memory>

#include "devkit/broker/Broker.h"
#include "devkit/common/os.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/sighting_text.h"

namespace devkit {

namespace {

using bus::Sighting;
using nlohmann::json;

struct Options {
  std::uint64_t count = 0;
  double seconds = 0;
  std::string listener;
  std::uint16_t port = bus::Address{}.port;
  bool json = false;
};

/// The wish to end is looked for so often.
constexpr std::chrono::milliseconds slice(100);

int watch(const Command& command, const Options& options) {
  os::Interrupt interrupt;
  BusSightings sightings(command.broker_address());
  SightingLines lines;
  const Limit limit(options.seconds);
  std::uint64_t seen = 0;
  bool live = false;
  while (!interrupt.wait_for(0)) {
    if (limit.is_over()) return options.count == 0 ? exit_code::ok : exit_code::timed_out;
    const auto sighting = sightings.next(slice);
    if (!sighting) continue;
    if (command.wants_json()) {
      print(to_json(*sighting));
    } else {
      print_line(lines.line(*sighting));
    }
    // What was there before doesn't count, nor do the watcher's own affairs.
    const bool is_own = sighting->kind == Sighting::Kind::connected ||
                        sighting->kind == Sighting::Kind::caught_up ||
                        sighting->kind == Sighting::Kind::away;
    if (sighting->kind == Sighting::Kind::caught_up) live = true;
    if (live && !is_own && ++seen == options.count) break;
  }
  return exit_code::ok;
}

int list(const Command& command, const Options& options) {
  BusSightings sightings(command.broker_address());
  bool any = false;
  json all = json::array();
  SightingLines lines;
  for (const Sighting& sighting : sightings.listeners()) {
    if (!options.listener.empty() && sighting.listener.name != options.listener) continue;
    any = true;
    if (command.wants_json()) {
      json one = to_json(sighting);
      one.erase("seen");
      all.push_back(one);
    } else {
      print_line(lines.line(sighting).substr(2));
    }
  }
  if (command.wants_json()) {
    print(all);
  } else if (!any) {
    print_line(options.listener.empty() ? "Nobody announces anything."
                                        : "Nobody announces " + options.listener + ".");
  }
  return any ? exit_code::ok : exit_code::nobody_there;
}

/// Whether to go on. Throws if the broker ended by itself.
bool is_alive(const Broker& broker, os::Interrupt& interrupt) {
  if (broker.is_running()) return true;
  // Ctrl-C reaches every process of the terminal, and the broker may be the quicker one.
  constexpr std::uint32_t moment = 500;
  if (interrupt.wait_for(moment)) return false;
  throw std::runtime_error("the broker ended by itself; the last it said: " + broker.last_words());
}

int run_broker(const Options& options) {
  os::Interrupt interrupt;
  const Broker broker(options.port == 0 ? std::nullopt : std::make_optional(options.port));
  if (options.json) {
    print({{"address", broker.text()}, {"port", broker.port()}, {"process", os::process_id()}});
  } else {
    print_line("The bus's broker is at " + broker.text() + ". Stop it with Ctrl-C.");
    if (broker.port() != bus::Address{}.port)
      print_line("Others find it by SPLICE_BROKER=" + broker.text());
  }
  stay(interrupt, options.seconds, [&] { return is_alive(broker, interrupt); });
  return exit_code::ok;
}

void add_broker(CLI::App& app, Command& command) {
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand("broker", "Run the bus's broker until it is stopped");
  sub->add_option("--port", options->port, "Port on 127.0.0.1; 0 takes any free one")
      ->envname("SPLICE_BROKER_PORT")
      ->capture_default_str();
  add_for_option(*sub, options->seconds, "End by itself after so many seconds");
  sub->add_flag("--json", options->json, "Say the address as JSON")->envname("SPLICE_JSON");
  sub->callback([&command, options] { command.run = [options] { return run_broker(*options); }; });
}

}  // namespace

void add_bus_commands(CLI::App& app, Command& command) {
  add_broker(app, command);
  CLI::App* const bus =
      app.add_subcommand("bus", "Messages and listeners on the bus that all processes share");
  bus->require_subcommand(1);
  const auto options = std::make_shared<Options>();
  const auto add = [&](const char* name, const char* help,
                       int (*run)(const Command&, const Options&)) {
    CLI::App* const sub = bus->add_subcommand(name, help);
    add_broker_option(*sub, command);
    add_format_options(*sub, command);
    sub->callback([&command, options, run] {
      command.run = [&command, options, run] { return run(command, *options); };
    });
    return sub;
  };

  CLI::App* const watching =
      add("watch",
          "Who is there, and what they say, until stopped: requests (?) and their replies "
          "(!) with the time between; who comes (+) and goes (-)",
          watch);
  add_count_option(*watching, options->count, "End after so many lines of news");
  add_for_option(*watching, options->seconds, "End after so many seconds");

  add("listeners", "What the processes on the bus announce now", list)
      ->add_option("name", options->listener, "Only listeners of this name");
}

}  // namespace devkit
