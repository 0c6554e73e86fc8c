#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/common/defaults.h"
#include "devkit/common/os.h"
#include "devkit/msgbus/Address.h"
#include "frame/msgbus/IBus.h"

namespace devkit {

/// What all subcommands share, and the one to run.
struct Command {
  std::string cloud = default_cloud;
  std::string broker;  ///< empty: where the bus library looks by itself
  std::string module;
  bool force_json = false;
  bool force_text = false;
  bool is_terminal = false;
  std::function<int()> run;

  bool wants_json() const { return force_json || (!force_text && !is_terminal); }
  std::filesystem::path module_path() const;
  /// Tells the libraries, and the processes to come, where cloud and bus are. Before any thread.
  void tell_environment() const;
  /// Throws std::invalid_argument if what is wished for is no address.
  bus::Address broker_address() const;
};

/// What is wrong with the text of a number of things; empty if nothing is.
std::string is_count(const std::string& text);

// Each adds its subcommands; they set `run`. `command` must outlive the parsing and the run.
void add_cloud_commands(CLI::App& app, Command& command);  ///< cloud, fault
void add_push_commands(CLI::App& app, Command& command);   ///< push; after cloud, which it adds to
void add_host_commands(CLI::App& app, Command& command);   ///< host, request, upload
void add_guardian_commands(CLI::App& app, Command& command);   ///< circuits, guardian config
void add_proxy_commands(CLI::App& app, Command& command);      ///< proxy
void add_telemetry_commands(CLI::App& app, Command& command);  ///< telemetry
void add_user_commands(CLI::App& app, Command& command);       ///< user
void add_app_commands(CLI::App& app, Command& command);        ///< app
void add_bus_commands(CLI::App& app, Command& command);        ///< bus, broker
void add_ask_command(CLI::App& app, Command& command);         ///< ask
void add_serve_command(CLI::App& host, Command& command);      ///< host serve

void add_cloud_option(CLI::App& app, Command& command);
void add_broker_option(CLI::App& app, Command& command);
void add_module_option(CLI::App& app, Command& command);
void add_format_options(CLI::App& app, Command& command);
/// --for and --count, which refuse what makes no sense with a sentence.
CLI::Option* add_for_option(CLI::App& app, double& seconds, const char* help);
template <class Number>
CLI::Option* add_count_option(CLI::App& app, Number& count, const char* help) {
  return app.add_option("--count", count, help)->envname("SPLICE_COUNT")->check(is_count);
}

/// The bus that a folder's library gives. Throws host_error where there is none.
IBus& require_bus(IBus* bus);

/// On one line, whatever its texts are made of.
std::string line_of(const nlohmann::json& value);
/// One line, at once.
void print(const nlohmann::json& value);
void print_line(const std::string& text);

/// A time limit of so many seconds from now on; 0 means none.
class Limit {
 public:
  explicit Limit(double seconds);
  bool is_over() const;

 private:
  std::chrono::steady_clock::time_point end_;
};

/// Returns at the interrupt, after so many seconds (0: no limit), or when `look`, which is asked
/// ten times a second, says false.
void stay(
    os::Interrupt& interrupt, double seconds,
    const std::function<bool()>& look = [] { return true; });

}  // namespace devkit
