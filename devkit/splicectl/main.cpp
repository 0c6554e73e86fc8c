#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>

#include "devkit/cloud/Cloud.h"
#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/defaults.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/CloudUpObserver.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/printing.h"
#include "devkit/splicectl/tour.h"

namespace devkit {

namespace {

using nlohmann::json;

/// What all subcommands share, and the one to run.
struct Command {
  std::string cloud = default_cloud;
  std::string module;
  bool force_json = false;
  bool force_text = false;
  bool is_terminal = false;
  std::function<int()> run;

  bool wants_json() const { return force_json || (!force_text && !is_terminal); }
  std::filesystem::path module_path() const {
    return module.empty() ? default_module() : to_path(module);
  }
};

void print(const json& value) {
  std::printf("%s\n", value.dump(-1, ' ', false, json::error_handler_t::replace).c_str());
  std::fflush(stdout);
}

void add_cloud_option(CLI::App& app, Command& command) {
  app.add_option("--cloud", command.cloud, "Address of the development cloud")
      ->envname("SPLICE_CLOUD")
      ->capture_default_str();
}

void add_module_option(CLI::App& app, Command& command) {
  app.add_option("--module", command.module, "The module's file (default: beside this program)")
      ->envname("SPLICE_MODULE");
}

void add_format_options(CLI::App& app, Command& command) {
  app.add_flag("--json", command.force_json, "One JSON object (the default where no terminal is)")
      ->envname("SPLICE_JSON");
  app.add_flag("--text", command.force_text, "Text for people (the default on a terminal)")
      ->envname("SPLICE_TEXT");
}

/// What the cloud has seen since `before`: the body, and how many requests there are. Nothing where
/// the cloud's admin endpoint can't be reached: the outcome tells more than its failure.
class CloudView {
 public:
  explicit CloudView(const std::string& address) : admin_(address) {
    try {
      before_ = admin_.info()["requests"].get<std::uint64_t>();
      is_there_ = true;
    } catch (const std::exception&) {
      is_there_ = false;
    }
  }

  std::string envelope(const std::string& service) const {
    if (!is_there_) return {};
    try {
      for (const json& request : admin_.requests(before_)) {
        if (request["service"] == service) return request.value("body", "");
      }
    } catch (const std::exception&) {
      return {};
    }
    return {};
  }

 private:
  CloudAdmin admin_;
  std::uint64_t before_ = 0;
  bool is_there_ = false;
};

int report(const Command& command, const Outcome& outcome, const std::string& envelope) {
  if (command.wants_json()) {
    print(to_json(outcome, envelope));
  } else {
    print_outcome(outcome, envelope, "");
  }
  if (outcome.is_unreachable()) {
    std::fprintf(stderr, "Nothing answers at %s; start a cloud with \"splicectl cloud\".\n",
                 command.cloud.c_str());
  }
  return exit_code_of(outcome);
}

void add_cloud(CLI::App& app, Command& command) {
  struct Options {
    std::uint16_t port = default_port;
    std::string certificate;
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
  sub->add_option("--for", options->seconds, "End by itself after so many seconds")
      ->envname("SPLICE_FOR");
  sub->add_flag("--json", options->json, "Say the address as JSON")->envname("SPLICE_JSON");
  sub->callback([&command, options] {
    command.run = [options] {
      os::Interrupt interrupt;
      const Cloud cloud({options->port, to_path(options->certificate)});
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
      if (options->seconds > 0) {
        interrupt.wait_for(static_cast<std::uint32_t>(options->seconds * 1000));
      } else {
        interrupt.wait();
      }
      return exit_code::ok;
    };
  });
}

void add_host(CLI::App& app, Command& command) {
  struct Options {
    double seconds = 0;
    bool alone = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand(
      "host", "Load the module, stay, and show the cloud going up and down, and the log");
  add_cloud_option(*sub, command);
  add_module_option(*sub, command);
  sub->add_flag("--alone", options->alone, "Give the module no host services")
      ->envname("SPLICE_ALONE");
  sub->add_option("--for", options->seconds, "End by itself after so many seconds")
      ->envname("SPLICE_FOR");
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::Interrupt interrupt;
      os::set_environment("SPLICE_CLOUD", command.cloud);
      if (!os::environment("SPLICE_LOG")) os::set_environment("SPLICE_LOG", "-");
      Host host(command.module_path(), options->alone);
      std::printf("The module is loaded and looks for the cloud at %s. Stop with Ctrl-C.\n",
                  command.cloud.c_str());
      std::fflush(stdout);
      constexpr std::uint32_t slice = 100;
      const auto limit = static_cast<std::uint64_t>(options->seconds * 1000);
      std::optional<bool> was_up;
      for (std::uint64_t spent = 0; limit == 0 || spent < limit; spent += slice) {
        const bool up = host.is_cloud_up();
        if (was_up != up) {
          std::printf("%s the cloud is %s\n", up ? "+" : "-", up ? "up" : "down");
          std::fflush(stdout);
        }
        was_up = up;
        if (interrupt.wait_for(slice)) break;
      }
      return exit_code::ok;
    };
  });
}

void add_request(CLI::App& app, Command& command) {
  struct Options {
    ConnectCall call;
    bool technology = false;
  };
  const auto options = std::make_shared<Options>();
  options->call.service = "connect/echo";
  options->call.method = "hello";
  CLI::App* const sub = app.add_subcommand("request", "Send a request through the module");
  add_cloud_option(*sub, command);
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_option("--service", options->call.service, "The cloud service")
      ->envname("SPLICE_SERVICE")
      ->capture_default_str();
  sub->add_option("--method", options->call.method, "The method (connect requests)")
      ->envname("SPLICE_METHOD")
      ->capture_default_str();
  sub->add_option("--message", options->call.message,
                  "JSON object of parameters, or the technology request's body")
      ->envname("SPLICE_MESSAGE");
  sub->add_option("--timeout", options->call.timeout, "Milliseconds")
      ->envname("SPLICE_TIMEOUT")
      ->capture_default_str();
  sub->add_option("--app", options->call.app_id, "The sender's application")->envname("SPLICE_APP");
  sub->add_option("--device", options->call.device_id, "The sender's device")
      ->envname("SPLICE_DEVICE");
  sub->add_option("--token", options->call.user_token, "The user's credential")
      ->envname("SPLICE_TOKEN");
  sub->add_flag("--technology", options->technology, "A technology request")
      ->envname("SPLICE_TECHNOLOGY");
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::set_environment("SPLICE_CLOUD", command.cloud);
      const ConnectCall& call = options->call;
      Host host(command.module_path());
      const CloudView view(command.cloud);
      const Outcome outcome = options->technology
                                  ? host.technology(call.service, call.message, call.timeout)
                                  : host.connect(call);
      return report(command, outcome, view.envelope(call.service));
    };
  });
}

void add_upload(CLI::App& app, Command& command) {
  struct Options {
    std::string file;
    std::string service = "files";
    std::string signature;
    std::string meta;
    std::uint32_t timeout = 60000;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const sub = app.add_subcommand("upload", "Send a file through the module");
  add_cloud_option(*sub, command);
  add_module_option(*sub, command);
  add_format_options(*sub, command);
  sub->add_option("file", options->file, "The file")->envname("SPLICE_FILE")->required();
  sub->add_option("--service", options->service, "The cloud service")
      ->envname("SPLICE_SERVICE")
      ->capture_default_str();
  sub->add_option("--signature", options->signature, "The file's signature")
      ->envname("SPLICE_SIGNATURE");
  sub->add_option("--meta", options->meta, "A text that goes along")->envname("SPLICE_META");
  sub->add_option("--timeout", options->timeout, "Milliseconds")
      ->envname("SPLICE_TIMEOUT")
      ->capture_default_str();
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::set_environment("SPLICE_CLOUD", command.cloud);
      Host host(command.module_path());
      ProgressBar bar(!command.wants_json() && command.is_terminal, "");
      const Outcome outcome = host.upload(
          options->service, to_path(options->file), options->timeout, options->signature,
          options->meta, [&](const cloud::upload_progress& progress) {
            bar.show(progress.state, progress.value, std::string(progress.text.view()));
          });
      bar.end();
      return report(command, outcome, "");
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
  sub->add_option("--count", options->count, "For so many requests; 0 until cleared")
      ->envname("SPLICE_COUNT")
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
  sub->add_flag("--clear", options->clear, "Clear all faults (before setting one)");
  sub->add_flag("--list", options->list, "List the faults in force");
  sub->callback([&command, options] {
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
    command.run = [&command, options] {
      const CloudAdmin admin(command.cloud);
      if (options->clear) admin.clear_faults();
      if (!options->fault.kind.empty()) admin.add_fault(to_json(options->fault));
      print(admin.faults());
      return exit_code::ok;
    };
  });
}

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
  add_tour(app, command);
  add_cloud(app, command);
  add_host(app, command);
  add_request(app, command);
  add_upload(app, command);
  add_fault(app, command);

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
