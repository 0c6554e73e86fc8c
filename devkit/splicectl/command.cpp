#include "devkit/splicectl/command.h"

#include <charconv>
#include <cstdio>
#include <stdexcept>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/Host.h"

namespace devkit {

namespace {

/// A year.
constexpr double most_seconds = 365.0 * 24 * 60 * 60;
constexpr std::uint64_t most_things = 1000000000;

/// What is wrong with the text of a time in seconds; empty if nothing is.
std::string is_duration(const std::string& text) {
  double seconds = 0;
  // Not a number is in no range.
  if (CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= most_seconds)
    return {};
  return "is to be a number of seconds up to 31536000 (a year), 0 for no limit, not " + text;
}

}  // namespace

std::string is_count(const std::string& text) {
  std::uint64_t count = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, count);
  if (parsed.ec == std::errc() && parsed.ptr == end && count <= most_things) return {};
  return "is to be a whole number up to 1000000000, 0 for no limit, not " + text;
}

std::filesystem::path Command::module_path() const {
  return module.empty() ? default_module() : to_path(module);
}

void Command::tell_environment() const {
  os::set_environment("SPLICE_CLOUD", cloud);
  if (!broker.empty()) os::set_environment("SPLICE_BROKER", broker_address().text());
}

bus::Address Command::broker_address() const {
  if (broker.empty()) return {};
  const auto address = bus::Address::parse(broker);
  if (!address) throw std::invalid_argument("\"" + broker + "\" is no address; write host:port");
  return *address;
}

void add_cloud_option(CLI::App& app, Command& command) {
  app.add_option("--cloud", command.cloud, "Address of the development cloud")
      ->envname("SPLICE_CLOUD")
      ->capture_default_str();
}

void add_broker_option(CLI::App& app, Command& command) {
  app.add_option("--broker", command.broker, "Where the bus's broker is (default: 127.0.0.1:1883)")
      ->envname("SPLICE_BROKER");
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

CLI::Option* add_for_option(CLI::App& app, double& seconds, const char* help) {
  return app.add_option("--for", seconds, help)->envname("SPLICE_FOR")->check(is_duration);
}

IBus& require_bus(IBus* bus) {
  if (bus != nullptr) return *bus;
  throw host_error("the bus library " + os::library_name("msgbus") +
                   " is missing beside the module, or gives no bus; without it no process finds "
                   "another");
}

std::string line_of(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void print(const nlohmann::json& value) {
  print_line(line_of(value));
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

void stay(os::Interrupt& interrupt, double seconds, const std::function<bool()>& look) {
  constexpr std::uint32_t slice = 100;
  const Limit limit(seconds);
  while (look() && !limit.is_over() && !interrupt.wait_for(slice)) {
  }
}

}  // namespace devkit
