#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/common/defaults.h"

namespace devkit {

/// What all subcommands share, and the one to run.
struct Command {
  std::string cloud = default_cloud;
  std::string module;
  bool force_json = false;
  bool force_text = false;
  bool is_terminal = false;
  std::function<int()> run;

  bool wants_json() const { return force_json || (!force_text && !is_terminal); }
  std::filesystem::path module_path() const;
};

// Each adds its subcommands; they set `run`. `command` must outlive the parsing and the run.
void add_cloud_commands(CLI::App& app, Command& command);      ///< cloud, fault
void add_host_commands(CLI::App& app, Command& command);       ///< host, request, upload
void add_guardian_commands(CLI::App& app, Command& command);   ///< circuits, guardian config
void add_proxy_commands(CLI::App& app, Command& command);      ///< proxy
void add_telemetry_commands(CLI::App& app, Command& command);  ///< telemetry

void add_cloud_option(CLI::App& app, Command& command);
void add_module_option(CLI::App& app, Command& command);
void add_format_options(CLI::App& app, Command& command);

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

}  // namespace devkit
