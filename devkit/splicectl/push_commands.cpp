#include <memory>
#include <stdexcept>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/text.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/printing.h"

namespace devkit {

namespace {

using nlohmann::json;

struct Options {
  PushTarget target;
  std::string name;
  std::string params = "{}";
  std::string id;
  std::string text;
};

std::string in_words(std::size_t streams) {
  if (streams == 0) return "Nobody is registered for it";
  return "Sent to " + std::to_string(streams) + (streams == 1 ? " client" : " clients");
}

CLI::App* add(CLI::App& push, Command& command, const std::shared_ptr<Options>& options,
              const char* name, const char* help) {
  CLI::App* const sub = push.add_subcommand(name, help);
  sub->add_option("--app", options->target.app_id, "The application; none: every client's")
      ->envname("SPLICE_APP");
  sub->add_option("--device", options->target.device_id, "The device; none: any")
      ->envname("SPLICE_DEVICE");
  add_cloud_option(*sub, command);
  add_format_options(*sub, command);
  return sub;
}

void add_name_and_params(CLI::App& sub, Options& options) {
  sub.add_option("name", options.name, "Its name")->required();
  sub.add_option("params", options.params, "Its parameters, as JSON")->capture_default_str();
}

/// JSON carries nothing else.
void require_utf8(const char* what, const std::string& text) {
  if (to_utf8(to_wide(text)) != text) throw CLI::ValidationError(what, "is not UTF-8");
}

json push_json(const Options& options, const char* kind) {
  require_utf8("name", options.name);
  require_utf8("--app", options.target.app_id);
  require_utf8("--device", options.target.device_id);
  require_utf8("--id", options.id);
  json params = json::parse(options.params, nullptr, false);
  if (params.is_discarded()) throw CLI::ValidationError("params", "is not JSON: " + options.params);
  return {{"kind", kind},
          {"app_id", options.target.app_id},
          {"device_id", options.target.device_id},
          {"name", options.name},
          {"params", params}};
}

/// Prints what the cloud says of a push.
int show(const Command& command, const json& answer) {
  if (command.wants_json()) {
    print(answer);
    return exit_code::ok;
  }
  std::string line = in_words(answer.at("streams"));
  if (answer.contains("command_id")) {
    const std::string id = answer["command_id"];
    line += id.empty() ? "; it is a command without an identifier, which isn't kept"
                       : "; it is command " + id;
  }
  print_line(line);
  return exit_code::ok;
}

void add_push(CLI::App& app, Command& command) {
  CLI::App* const push = app.add_subcommand("push", "Have the running cloud send a push");
  push->require_subcommand(1);
  const auto options = std::make_shared<Options>();

  CLI::App* const event = add(*push, command, options, "event", "An event, lost if nobody listens");
  add_name_and_params(*event, *options);
  event->callback([&command, options] {
    command.run = [&command, request = push_json(*options, "event")] {
      return show(command, CloudAdmin(command.cloud).push(request));
    };
  });

  CLI::App* const a_command =
      add(*push, command, options, "command", "A command, kept until an application completes it");
  add_name_and_params(*a_command, *options);
  const CLI::Option* const id =
      a_command
          ->add_option("--id", options->id,
                       "Its identifier (default: a new one); an empty one: the command has none, "
                       "and isn't kept")
          ->envname("SPLICE_COMMAND_ID");
  a_command->callback([&command, options, id] {
    json request = push_json(*options, "command");
    if (id->count() != 0) request["command_id"] = options->id;
    command.run = [&command, request] {
      return show(command, CloudAdmin(command.cloud).push(request));
    };
  });

  CLI::App* const text =
      add(*push, command, options, "text", "A text as it is, however wrong it may be");
  text->add_option("text", options->text, "The text")->required();
  text->callback([&command, options] {
    command.run = [&command, options] {
      const CloudAdmin admin(command.cloud);
      return show(command, {{"streams", admin.push_text(options->target, options->text)}});
    };
  });
}

void show_commands(const json& commands) {
  for (const json& one : commands) {
    const auto text = [&](const char* member) { return one.at(member).get<std::string>(); };
    const auto completions = one.at("completions").get<std::uint64_t>();
    std::string line = text("command_id") + "  " + text("app_id") + "  " + text("name") + " " +
                       shortened(one.at("params").dump(), 100);
    if (!text("device_id").empty()) line += "  on " + text("device_id");
    line += completions == 0 ? "  waits"
                             : "  completed with \"" + text("status") + "\" by " +
                                   text("by_app_id") + " on " + text("by_device_id");
    if (completions > 1) line += ", " + std::to_string(completions) + " times";
    print_line(line);
  }
  if (commands.empty()) print_line("No commands");
}

void show_streams(const json& streams) {
  for (const json& one : streams) {
    std::string line = "process " + one.at("process").dump() + "  " + one.at("sent").dump() +
                       " sent, " + one.at("waiting").dump() + " waiting  ";
    for (const json& registration : one.at("registrations"))
      line += " " + registration.at("app_id").get<std::string>() + " on " +
              registration.at("device_id").get<std::string>() + ";";
    if (!one.at("connected").get<bool>()) line += " not connected yet";
    print_line(line);
  }
  if (streams.empty()) print_line("No clients");
}

void add_cloud_views(CLI::App& cloud, Command& command) {
  const auto add_view = [&](const char* name, const char* help, json (CloudAdmin::*read)() const,
                            void (*show_text)(const json&)) {
    CLI::App* const sub = cloud.add_subcommand(name, help);
    add_cloud_option(*sub, command);
    add_format_options(*sub, command);
    sub->callback([&command, read, show_text] {
      command.run = [&command, read, show_text] {
        const json answer = (CloudAdmin(command.cloud).*read)();
        if (command.wants_json()) {
          print(answer);
        } else {
          show_text(answer);
        }
        return exit_code::ok;
      };
    });
  };
  add_view("commands", "The running cloud's commands, and what became of each",
           &CloudAdmin::commands, show_commands);
  add_view("streams", "Who is connected for pushes", &CloudAdmin::streams, show_streams);
}

}  // namespace

void add_push_commands(CLI::App& app, Command& command) {
  add_push(app, command);
  add_cloud_views(*app.get_subcommand("cloud"), command);
}

}  // namespace devkit
