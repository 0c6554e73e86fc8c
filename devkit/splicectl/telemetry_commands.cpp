#include <memory>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/module_folder.h"
#include "devkit/splicectl/telemetry.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::uint32_t look_again_ms = 100;

/// False if a line was no JSON.
bool show(EventsFile& file, bool wants_json) {
  bool all_good = true;
  for (const std::string& line : file.next_lines()) {
    const json event = json::parse(line, nullptr, false);
    if (event.is_object()) {
      print_line(wants_json ? line : event_text(event));
    } else {
      std::fprintf(stderr, "splicectl: this line is no event: %s\n", line.c_str());
      all_good = false;
    }
  }
  return all_good;
}

}  // namespace

void add_telemetry_commands(CLI::App& app, Command& command) {
  struct Options {
    bool follow = false;
    double seconds = 0;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand("telemetry", "Show the events that were reported");
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_flag("--follow", options->follow, "Stay, and show those to come");
  add_for_option(*sub, options->seconds, "Follow for so many seconds");
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::Interrupt interrupt;
      const std::filesystem::path path = events_file(command.module_path());
      EventsFile file(path);
      if (!options->follow && !file.exists())
        throw host_error("there are no events yet: nobody has written " + path_text(path) +
                         "; send something with \"splicectl request\" until a circuit opens");
      const Limit limit(options->follow ? options->seconds : 0);
      bool all_good = show(file, command.wants_json());
      while (options->follow && !limit.is_over() && !interrupt.wait_for(look_again_ms))
        all_good = show(file, command.wants_json()) && all_good;
      return all_good ? exit_code::ok : exit_code::cannot_start;
    };
  });
}

}  // namespace devkit
