#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>

#include "devkit/app/Application.h"
#include "devkit/common/os.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/Deliveries.h"
#include "devkit/splicectl/StandardInput.h"
#include "devkit/splicectl/agents.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"

namespace devkit {

namespace {

using nlohmann::json;

struct Options {
  std::string name;
  bool events = false;
  bool commands = false;
  std::vector<std::string> complete = {"all"};
  std::string status = "done";
  std::string agent = "client";
  bool alone = false;
  std::uint64_t count = 0;
  double seconds = 0;
  bool interactive = false;
};

constexpr double completion_patience = 10;

/// The application at work, and what it has to say.
class Player {
 public:
  Player(const Command& command, const Options& options)
      : options_(options),
        as_json_(command.wants_json()),
        deliveries_({options.name, options.complete, options.status, as_json_}),
        application_(
            command.module_path(), with_agent(options.agent, options.alone), options.name,
            [this](const Application::Event& event) { deliveries_.event(event); },
            [this](const Application::Command& came) { take(came); }) {
    // Without a wish it hears everything.
    const bool both = options.events == options.commands;
    if (both || options.events) application_.start_events();
    if (both || options.commands) application_.start_commands();
    deliveries_.ready();
  }

  /// Until the interrupt, or as many deliveries or as much time as wished.
  int play(os::Interrupt& interrupt) {
    constexpr std::uint32_t slice = 50;
    const Limit limit(options_.seconds);
    while (!has_enough()) {
      watch_completions();
      if (limit.is_over()) return options_.count == 0 ? end() : exit_code::timed_out;
      if (options_.count != 0) deliveries_.wait_for(options_.count, slice);
      if (interrupt.wait_for(options_.count != 0 ? 0 : slice)) break;
    }
    return end();
  }

  /// What the lines on standard input say, up to their end or the interrupt.
  int obey(os::Interrupt& interrupt) {
    constexpr const char* last = "quit";
    constexpr std::chrono::milliseconds slice(50);
    StandardInput input(last);
    while (!input.has_ended() && !interrupt.wait_for(0)) {
      watch_completions();
      const std::optional<std::string> line = input.next(slice);
      if (line && !line->empty() && *line != last) obey(*line);
    }
    return end();
  }

 private:
  bool has_enough() const { return options_.count != 0 && deliveries_.count() >= options_.count; }

  void take(const Application::Command& command) {
    if (const auto status = deliveries_.command(command))
      application_.complete(std::string(command.id.view()), *status);
  }

  void obey(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    std::string object;
    std::string status = options_.status;
    words >> verb >> object >> status;
    if (line == "events on") {
      application_.start_events();
    } else if (line == "events off") {
      application_.stop_events();
    } else if (line == "commands on") {
      application_.start_commands();
    } else if (line == "commands off") {
      application_.stop_commands();
    } else if (line == "pending") {
      const std::vector<std::string> ids = application_.pending();
      std::string text = options_.name + ": " + std::to_string(ids.size()) + " pending";
      for (const std::string& id : ids) text += " " + id;
      say("pending", ids, text);
      return;
    } else if (verb == "complete" && !object.empty()) {
      deliveries_.note_completion(object, status);
      application_.complete(object, status);
    } else {
      std::fprintf(stderr,
                   "splicectl: \"%s\" isn't understood; there are: events on, events off, commands "
                   "on, commands off, complete ID [STATUS], pending, quit\n",
                   line.c_str());
      return;
    }
    say("did", line, options_.name + ": did " + line);
  }

  /// Those that are underway still. To be looked at early: a command whose completion has gone out
  /// may come back, and must not count as one that never went.
  std::vector<std::string> watch_completions() {
    const std::vector<std::string> before = deliveries_.underway();
    if (before.empty()) return {};
    std::vector<std::string> left = application_.unsent(before);
    deliveries_.keep_underway(before, left);
    return left;
  }

  /// Lets the completions go out before all ends.
  int end() {
    const Limit limit(completion_patience);
    for (;;) {
      const std::vector<std::string> unsent = watch_completions();
      if (unsent.empty()) return exit_code::ok;
      if (limit.is_over()) return report_lost(unsent);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  static int report_lost(const std::vector<std::string>& ids) {
    std::string list;
    for (const std::string& id : ids) list += " " + id;
    std::fprintf(stderr, "splicectl: these completions didn't go out:%s\n", list.c_str());
    return exit_code::request_failed;
  }

  void say(const char* what, const json& value, const std::string& text) const {
    if (as_json_) {
      print({{what, value}});
    } else {
      print_line(text);
    }
  }

  const Options& options_;
  const bool as_json_;
  Deliveries deliveries_;
  Application application_;
};

}  // namespace

void add_app_commands(CLI::App& app, Command& command) {
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand(
      "app", "Be a local application: take events and commands over the bus, and show them");
  add_cloud_option(*sub, command);
  add_broker_option(*sub, command);
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_option("name", options->name, "The application's identifier")
      ->envname("SPLICE_APP")
      ->required();
  sub->add_flag("--events", options->events, "Take events (default: both)");
  sub->add_flag("--commands", options->commands, "Take commands (default: both)");
  sub->add_option("--complete", options->complete, "Commands to complete: all, none, or ids")
      ->envname("SPLICE_COMPLETE")
      ->capture_default_str();
  sub->add_option("--status", options->status, "What is said of a completed command")
      ->envname("SPLICE_STATUS")
      ->capture_default_str();
  add_agent_option(*sub, options->agent);
  sub->add_flag("--alone", options->alone, "Give the module no host services, and so no agent")
      ->envname("SPLICE_ALONE");
  CLI::Option* const count =
      add_count_option(*sub, options->count, "End after so many events and commands");
  CLI::Option* const seconds = add_for_option(*sub, options->seconds, "End after so many seconds");
  sub->add_flag("--interactive", options->interactive,
                "Obey the lines on standard input, up to their end: events on, events off, "
                "commands on, commands off, complete ID [STATUS], pending, quit")
      ->excludes(count)
      ->excludes(seconds);
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::Interrupt interrupt;
      command.tell_environment();
      warn_without_broker(command.broker_address());
      Player player(command, *options);
      return options->interactive ? player.obey(interrupt) : player.play(interrupt);
    };
  });
}

}  // namespace devkit
