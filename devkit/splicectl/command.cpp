#include "devkit/splicectl/command.h"

#include <cstdio>

#include "devkit/common/text.h"
#include "devkit/host/Host.h"

namespace devkit {

std::filesystem::path Command::module_path() const {
  return module.empty() ? default_module() : to_path(module);
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
  app.add_flag("--json", command.force_json, "JSON (the default where no terminal is)")
      ->envname("SPLICE_JSON");
  app.add_flag("--text", command.force_text, "Text for people (the default on a terminal)")
      ->envname("SPLICE_TEXT");
}

void print(const nlohmann::json& value) {
  print_line(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void print_line(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

Limit::Limit(double seconds)
    : end_(seconds > 0 ? std::chrono::steady_clock::now() +
                             std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000))
                       : std::chrono::steady_clock::time_point::max()) {}

bool Limit::is_over() const {
  return std::chrono::steady_clock::now() >= end_;
}

}  // namespace devkit
