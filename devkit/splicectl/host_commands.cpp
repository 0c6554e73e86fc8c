#include <cstdio>
#include <memory>

#include "_base/win_error.h"
#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/command.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/printing.h"

namespace devkit {

namespace {

using nlohmann::json;

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
    if (outcome.error_type == 1 && outcome.code == win_error::access_denied)
      print_line("\"splicectl circuits\" shows why.");
  }
  if (outcome.is_unreachable()) {
    std::fprintf(stderr, "Nothing answers at %s; start a cloud with \"splicectl cloud\".\n",
                 command.cloud.c_str());
  }
  return exit_code_of(outcome);
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
  add_for_option(*sub, options->seconds, "End by itself after so many seconds");
  add_serve_command(*sub, command);
  sub->callback([&command, options, sub] {
    // With "serve" after it this is but the way there.
    if (!sub->get_subcommands().empty()) return;
    command.run = [&command, options] {
      os::Interrupt interrupt;
      command.tell_environment();
      if (!os::environment("SPLICE_LOG")) os::set_environment("SPLICE_LOG", "-");
      Host host(command.module_path(), options->alone);
      std::printf("The module is loaded and looks for the cloud at %s. Stop with Ctrl-C.\n",
                  command.cloud.c_str());
      std::fflush(stdout);
      std::optional<bool> was_up;
      stay(interrupt, options->seconds, [&] {
        const bool up = host.is_cloud_up();
        if (was_up != up) {
          std::printf("%s the cloud is %s\n", up ? "+" : "-", up ? "up" : "down");
          std::fflush(stdout);
        }
        was_up = up;
        return true;
      });
      return exit_code::ok;
    };
  });
}

void add_request(CLI::App& app, Command& command) {
  struct Options {
    ConnectCall call;
    bool technology = false;
    std::uint32_t times = 1;
    std::uint32_t pause = 0;
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
  sub->add_option("--times", options->times, "So many requests, by one process; 0 for ever")
      ->envname("SPLICE_TIMES")
      ->capture_default_str();
  sub->add_option("--pause", options->pause, "Milliseconds between them")
      ->envname("SPLICE_PAUSE")
      ->capture_default_str();
  sub->callback([&command, options] {
    command.run = [&command, options] {
      os::Interrupt interrupt;
      command.tell_environment();
      const ConnectCall& call = options->call;
      Host host(command.module_path());
      for (std::uint32_t done = 1;; ++done) {
        const CloudView view(command.cloud);
        const Outcome outcome = options->technology
                                    ? host.technology(call.service, call.message, call.timeout)
                                    : host.connect(call);
        const int code = report(command, outcome, view.envelope(call.service));
        if (done == options->times || interrupt.wait_for(options->pause)) return code;
      }
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
      command.tell_environment();
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

}  // namespace

void add_host_commands(CLI::App& app, Command& command) {
  add_host(app, command);
  add_request(app, command);
  add_upload(app, command);
}

}  // namespace devkit
