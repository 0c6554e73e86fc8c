#include <cstdio>
#include <memory>
#include <stdexcept>

#include "devkit/common/text.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/module_folder.h"
#include "devkit/splicectl/proxy_settings.h"

namespace devkit {

namespace {

using nlohmann::json;

std::string in_words(const json& proxy, const std::filesystem::path& file) {
  if (proxy.is_null()) return "No proxy: there is no " + path_text(file);
  const std::string address =
      proxy["host"].get<std::string>() + ":" + std::to_string(proxy["port"].get<std::uint32_t>());
  if (!proxy["enabled"].get<bool>() && proxy["host"].get<std::string>().empty())
    return "No proxy: " + path_text(file) + " names none";
  if (!proxy["enabled"].get<bool>())
    return "No proxy: " + path_text(file) + " has " + address + " turned off";
  const std::string user = proxy["user"].get<std::string>();
  std::string text = "The proxy is " + address;
  if (!user.empty()) text += ", for the user " + user;
  if (proxy["has_password"].get<bool>()) text += ", with a password";
  for (const auto& [operation, status] : proxy["fail"].items())
    text += "; " + operation + " fails with " + status.dump();
  return text;
}

struct Options {
  std::string file;
  ProxyChoice choice;

  std::filesystem::path path() const { return file.empty() ? default_proxy_file() : to_path(file); }
};

int show(const Command& command, const std::filesystem::path& file) {
  const json proxy = read_proxy(file);
  if (command.wants_json()) {
    print(proxy);
  } else {
    print_line(in_words(proxy, file));
  }
  return exit_code::ok;
}

/// Runs an edit and shows what came of it.
template <class Edit>
int edit(const Command& command, const std::filesystem::path& file, Edit apply) {
  try {
    apply(file);
  } catch (const std::invalid_argument& wrong) {
    std::fprintf(stderr, "splicectl: %s\n", wrong.what());
    return exit_code::usage;
  }
  return show(command, file);
}

}  // namespace

void add_proxy_commands(CLI::App& app, Command& command) {
  CLI::App* const proxy =
      app.add_subcommand("proxy", "The proxy that service processes are told to use");
  proxy->require_subcommand(1);
  const auto options = std::make_shared<Options>();
  const auto add = [&](const char* name, const char* help) {
    CLI::App* const sub = proxy->add_subcommand(name, help);
    sub->add_option(
           "--file", options->file,
           "The file that the proxy client reads (default: proxy.json beside this program)")
        ->envname("SPLICE_PROXY");
    add_format_options(*sub, command);
    return sub;
  };

  add("show", "What they are told now")->callback([&command, options] {
    command.run = [&command, options] { return show(command, options->path()); };
  });

  CLI::App* const set = add("set", "Use this one; running processes change over");
  ProxyChoice* const choice = &options->choice;
  set->add_option("--host", choice->host, "Its name or address")
      ->envname("SPLICE_PROXY_HOST")
      ->required();
  set->add_option("--port", choice->port, "Its port")->envname("SPLICE_PROXY_PORT")->required();
  CLI::Option* const user =
      set->add_option("--user", choice->user, "Who asks")->envname("SPLICE_PROXY_USER");
  set->add_option("--password", choice->password,
                  "The user's; better in the environment, where others don't see it")
      ->envname("SPLICE_PROXY_PASSWORD")
      ->needs(user);
  set->callback([&command, options] {
    command.run = [&command, options] {
      return edit(command, options->path(),
                  [&](const std::filesystem::path& file) { set_proxy(file, options->choice); });
    };
  });

  add("off", "Use none; running processes change over")->callback([&command, options] {
    command.run = [&command, options] { return edit(command, options->path(), set_no_proxy); };
  });
}

}  // namespace devkit
