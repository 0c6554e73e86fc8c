#include <cstdio>
#include <memory>
#include <tuple>

#include "devkit/common/FileWatcher.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/BusLibrary.h"
#include "devkit/host/User.h"
#include "devkit/host/UserService.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/module_folder.h"

namespace devkit {

namespace {

constexpr const char* first_device = "device-1";
constexpr const char* first_token = "token-1";

struct Options {
  std::string file;
  std::string token = first_token;
  std::string device;
  double seconds = 0;

  std::filesystem::path path(const Command& command) const {
    return file.empty() ? user_file(command.module_path()) : to_path(file);
  }
};

/// Without the file nobody is signed in; one that can't be read says nothing about that.
User read_user(const std::filesystem::path& path) {
  std::error_code reason;
  const std::optional<std::string> text = read_file(path, reason);
  if (reason && reason != std::errc::no_such_file_or_directory)
    throw std::runtime_error(path_text(path) + " can't be read: " + reason.message());
  return parse_user(text);
}

/// What the file makes no sense of is nobody: it is about to be written anew.
User known_user(const std::filesystem::path& path) {
  try {
    return read_user(path);
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "splicectl: %s held no user: %s\n", path_text(path).c_str(), error.what());
    return {};
  }
}

int show(const Command& command, const User& user) {
  if (command.wants_json()) {
    print({{"signed_in", user.is_signed_in()},
           {"device_id", user.device_id},
           {"user_token", user.is_signed_in() ? nlohmann::json(user.user_token) : nullptr}});
  } else {
    const std::string device = user.device_id.empty() ? "a device without a name" : user.device_id;
    print_line(user.is_signed_in() ? "Signed in on " + device + ", token " + user.user_token
                                   : "Nobody is signed in on " + device);
  }
  return exit_code::ok;
}

int write(const Command& command, const Options& options, const User& user) {
  replace_file(options.path(command), to_text(user));
  return show(command, user);
}

int sign_in(const Command& command, const Options& options) {
  if (options.token.empty())
    throw std::invalid_argument(
        "an empty token is nobody's; \"splicectl user sign-out\" says that nobody is there");
  User user = known_user(options.path(command));
  user.user_token = options.token;
  if (!options.device.empty()) user.device_id = options.device;
  if (user.device_id.empty()) user.device_id = first_device;
  return write(command, options, user);
}

int change(const Command& command, const Options& options) {
  if (!known_user(options.path(command)).is_signed_in())
    throw std::runtime_error(
        "nobody is signed in who could change; begin with \"splicectl user sign-in\"");
  return sign_in(command, options);
}

int sign_out(const Command& command, const Options& options) {
  User user = known_user(options.path(command));
  user.user_token.clear();
  return write(command, options, user);
}

/// A process that does nothing but know the user.
int announce(const Command& command, const Options& options) {
  os::Interrupt interrupt;
  command.tell_environment();
  const BusLibrary library(std::filesystem::absolute(command.module_path()).parent_path());
  const UserService service(require_bus(library.bus()));
  warn_without_broker(command.broker_address());
  if (command.wants_json()) {
    print({{"announced", UserService::listener}, {"process", os::process_id()}});
  } else {
    print_line(std::string("Announced ") + UserService::listener + " on " + UserService::channel +
               " (process " + std::to_string(os::process_id()) + "). Stop with Ctrl-C.");
  }
  stay(interrupt, options.seconds);
  return exit_code::ok;
}

}  // namespace

void add_user_commands(CLI::App& app, Command& command) {
  CLI::App* const user =
      app.add_subcommand("user", "Who is signed in, as the Product Agents of all hosts know it");
  user->require_subcommand(1);
  const auto options = std::make_shared<Options>();
  using Run = int (*)(const Command&, const Options&);
  const auto add = [&](const char* name, const char* help, Run run) {
    CLI::App* const sub = user->add_subcommand(name, help);
    add_module_option(*sub, command);
    add_format_options(*sub, command);
    sub->add_option("--file", options->file,
                    "The file that the agents read (default: user.json beside the module)")
        ->envname("SPLICE_USER");
    sub->callback([&command, options, run] {
      command.run = [&command, options, run] { return run(command, *options); };
    });
    return sub;
  };

  add("show", "Who it is now", [](const Command& to, const Options& chosen) {
    return show(to, read_user(chosen.path(to)));
  });
  for (const auto& [name, help, run] :
       {std::tuple<const char*, const char*, Run>{"sign-in", "Somebody signs in", sign_in},
        {"change", "Somebody else takes over; running hosts hear of it", change}}) {
    CLI::App* const sub = add(name, help, run);
    CLI::Option* const token =
        sub->add_option("token", options->token, "The user's token")->envname("SPLICE_TOKEN");
    // A change to the token that everyone begins with would most often be none.
    if (run == change) {
      token->required();
    } else {
      token->capture_default_str();
    }
    sub->add_option("--device", options->device,
                    "The device's identifier (default: the one it had, or device-1)")
        ->envname("SPLICE_DEVICE");
  }
  add("sign-out", "Nobody is signed in any more", sign_out);
  CLI::App* const service =
      add("service", "Announce on the bus that a process knows the user, until stopped", announce);
  add_broker_option(*service, command);
  add_for_option(*service, options->seconds, "End by itself after so many seconds");
}

}  // namespace devkit
