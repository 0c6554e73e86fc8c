#include <cstdio>
#include <memory>

#include "devkit/common/FileWatcher.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/circuits.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/module_folder.h"
#include "guardian/guardian_json.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::uint32_t look_again_ms = 100;
constexpr const char* clear_screen = "\x1b[H\x1b[2J";

struct CircuitsOptions {
  std::string service;
  bool elevated = false;
  bool unelevated = false;
  bool watch = false;
  double seconds = 0;
};

/// The circuits as they are now, as text or as a line of JSON.
std::string render(const GuardianFiles& files, const Command& command,
                   const CircuitsOptions& options) {
  if (!files.circuits && options.service.empty()) {
    throw host_error("there are no circuits yet: no module has written " +
                     path_text(files.services_path) +
                     "; send something with \"splicectl request\"");
  }
  if (command.wants_json()) return circuits_json(files, options.service).dump() + "\n";
  return circuits_text(files, options.service, "");
}

/// On a terminal the table stays in its place; elsewhere what has changed follows the old.
int keep_showing(const Command& command, const CircuitsOptions& options) {
  os::Interrupt interrupt;
  const Limit limit(options.seconds);
  GuardianFilesWatch watch;
  std::string shown;
  while (!limit.is_over()) {
    std::string now = shown;
    FILE* to = stdout;
    try {
      if (const GuardianFiles* const files = watch.now()) now = render(*files, command, options);
    } catch (const host_error& error) {
      // What isn't there may come. A sentence is nothing for who reads JSON.
      now = std::string(error.what()) + "\n";
      if (command.wants_json()) to = stderr;
    }
    if (now != shown) {
      std::fprintf(to, "%s%s", command.is_terminal && to == stdout ? clear_screen : "",
                   now.c_str());
      std::fflush(to);
      shown = now;
    }
    if (interrupt.wait_for(look_again_ms)) break;
  }
  return exit_code::ok;
}

void add_circuits(CLI::App& app, Command& command) {
  const auto options = std::make_shared<CircuitsOptions>();
  CLI::App* const sub = app.add_subcommand(
      "circuits", "Show the circuits, and why a request would pass or be refused now");
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_option("--service", options->service, "Only this one")->envname("SPLICE_SERVICE");
  CLI::Option* const elevated = sub->add_flag(
      "--elevated", options->elevated,
      "The circuits of processes with elevated rights (default: of those with this one's)");
  sub->add_flag("--unelevated", options->unelevated, "The circuits of all other processes")
      ->excludes(elevated);
  sub->add_flag("--watch", options->watch, "Stay, and show each change");
  add_for_option(*sub, options->seconds, "Watch for so many seconds");
  sub->callback([&command, options] {
    command.run = [&command, options] {
      read_as(command.module_path(), options->elevated     ? std::optional(true)
                                     : options->unelevated ? std::optional(false)
                                                           : std::nullopt);
      if (options->watch) return keep_showing(command, *options);
      std::printf("%s", render(read_guardian_files(), command, *options).c_str());
      return exit_code::ok;
    };
  });
}

json parsed_or_text(const std::string& text) {
  json value = json::parse(text, nullptr, false);
  return value.is_discarded() ? json(text) : value;
}

int show_config(const Command& command) {
  const GuardianFiles files = read_guardian_config();
  const json config = json(files.config);
  // To the module an empty file is none.
  const std::string from_cloud =
      read_file(guardian_config_file(command.module_path())).value_or("");
  if (command.wants_json()) {
    print(json{{"source", files.is_from_cloud ? "cache" : "packaged"},
               {"file", path_text(files.config_path)},
               {"config", config},
               {"cache_complaint", files.cache_complaint},
               {"cloud", from_cloud.empty() ? json() : parsed_or_text(from_cloud)}});
    return exit_code::ok;
  }
  if (!files.cache_complaint.empty()) print_line(files.cache_complaint);
  print_line(std::string(files.is_from_cloud ? "In force is what the cloud said last, kept in "
                                             : "In force is the packaged configuration, ") +
             path_text(files.config_path));
  print_line(config.dump(2));
  print_line(from_cloud.empty() ? "The cloud says nothing now."
                                : "The cloud says now, to hosts that run or start:\n" + from_cloud);
  return exit_code::ok;
}

/// The text itself, or that of the file it names.
std::string config_text(const std::string& file_or_json) {
  const std::size_t first = file_or_json.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && file_or_json[first] == '{') return file_or_json;
  std::error_code reason;
  const auto content = read_file(to_path(file_or_json), reason);
  if (content) return *content;
  throw host_error(file_or_json + " is no JSON object, nor a file that can be read (" +
                   reason.message() + ")");
}

int set_config(const Command& command, const std::string& file_or_json) {
  const std::string text = config_text(file_or_json);
  try {
    parse_guardian_config(text);
  } catch (const std::invalid_argument& wrong) {
    std::fprintf(stderr, "splicectl: %s\n", wrong.what());
    return exit_code::usage;
  }
  const std::filesystem::path file = guardian_config_file(command.module_path());
  replace_file(file, text);
  print_line(path_text(file) +
             " is what the cloud says now. Hosts that run take it at once, others when "
             "they start.");
  return exit_code::ok;
}

int clear_config(const Command& command) {
  const std::filesystem::path file = guardian_config_file(command.module_path());
  print_line(std::filesystem::remove(file)
                 ? "The cloud says nothing more. What it said last stays in force, from the cache."
                 : "The cloud said nothing: there is no " + path_text(file));
  return exit_code::ok;
}

void add_guardian(CLI::App& app, Command& command) {
  CLI::App* const guardian = app.add_subcommand("guardian", "The guardian's configuration");
  CLI::App* const config =
      guardian->add_subcommand("config", "Show it, or set what the cloud says about it");
  guardian->require_subcommand(1);
  config->require_subcommand(1);

  CLI::App* const show = config->add_subcommand("show", "What is in force, and where it is from");
  add_module_option(*show, command);
  add_format_options(*show, command);
  show->callback([&command] {
    command.run = [&command] {
      read_as(command.module_path());
      return show_config(command);
    };
  });

  CLI::App* const set = config->add_subcommand("set", "Let the cloud say this from now on");
  const auto value = std::make_shared<std::string>();
  add_module_option(*set, command);
  set->add_option("config", *value, "A file with the JSON object, or the object itself")
      ->envname("SPLICE_CONFIG")
      ->required();
  set->callback([&command, value] {
    command.run = [&command, value] { return set_config(command, *value); };
  });

  CLI::App* const clear = config->add_subcommand("clear", "Let the cloud say nothing");
  add_module_option(*clear, command);
  clear->callback([&command] { command.run = [&command] { return clear_config(command); }; });
}

}  // namespace

void add_guardian_commands(CLI::App& app, Command& command) {
  add_circuits(app, command);
  add_guardian(app, command);
}

}  // namespace devkit
