#include "devkit/splicectl/circuits.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "devkit/common/text.h"
#include "guardian/circuit.h"

namespace devkit {

namespace {

using nlohmann::json;
namespace circuit = cloud::guardian::circuit;

/// Lets the rules run on a copy: nothing is drawn and nothing is told, but what break would begin
/// is remembered.
class Rehearsal final : public circuit::surroundings {
 public:
  explicit Rehearsal(std::int64_t now) : now_(now) {}

  std::int64_t now() override { return now_; }
  std::int64_t get_next_request_time(const break_interval& interval) override {
    next_break = interval;
    return now_;
  }
  void entering(const service_info&, circuit_state, bool) override {}
  void counted(std::uint32_t) override {}

  std::optional<break_interval> next_break;

 private:
  const std::int64_t now_;
};

std::string name_of(circuit_state state) {
  switch (state) {
    case circuit_state::closed:
      return "closed";
    case circuit_state::open:
      return "open";
    case circuit_state::half_open:
      return "half open";
  }
  return "unknown (" + std::to_string(static_cast<std::int32_t>(state)) + ")";
}

/// Whole seconds, the last one counted as begun.
std::int64_t seconds_left(const service_info& info, std::int64_t now) {
  if (info.next_request_time < now) return 0;
  return (info.next_request_time - now) / ticks_per_second + 1;
}

std::string seconds(const break_interval& interval) {
  const std::string most = std::to_string(interval.max) + " s";
  return interval.min >= interval.max ? std::to_string(interval.min) + " s"
                                      : std::to_string(interval.min) + " to " + most;
}

std::string counted(std::uint32_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string why_refused(const service_info& info, std::int64_t now) {
  return "is refused: the circuit is " + name_of(info.state) + ", and its break lasts another " +
         std::to_string(seconds_left(info, now)) + " s.";
}

std::string why_allowed(const service_info& info, const guardian_config& config,
                        const Rehearsal& rehearsal) {
  if (info.state == circuit_state::closed) {
    const std::string failures =
        info.counter == 0
            ? "no failures are counted"
            : counted(info.counter, "failure in a row is counted", "failures in a row are counted");
    return "passes: the circuit is closed; " + failures + ", and " +
           std::to_string(config.threshold) + " open it.";
  }
  if (!rehearsal.next_break) {
    return "passes: the file says " + name_of(info.state) + ", a state that no rule speaks of.";
  }
  const std::string end = info.state == circuit_state::open
                              ? "A success half opens the circuit."
                              : "Successes so far: " + std::to_string(info.counter) + ", and " +
                                    std::to_string(config.threshold) +
                                    " close the circuit; a failure opens it again.";
  return "passes as a probe: the circuit is " + name_of(info.state) +
         ", but its break is over. Others then wait " + seconds(*rehearsal.next_break) + ". " + end;
}

std::string failures_text(const service_info& info) {
  std::string text;
  for (const request_failure& failure : info.errors) {
    if (!text.empty()) text += ", ";
    text += failure.method + " " + failure.value;
  }
  return text.empty() ? "-" : text;
}

std::string probe_text(const service_info& info, std::int64_t now) {
  if (info.state == circuit_state::closed) return "-";
  const std::int64_t left = seconds_left(info, now);
  return left == 0 ? "now" : "in " + std::to_string(left) + " s";
}

/// In the order of the names; only `service` if that isn't empty.
std::map<std::string, service_info> chosen(const GuardianFiles& files, const std::string& service) {
  std::map<std::string, service_info> circuits;
  for (const auto& [name, info] : files.circuits.value_or(services_map())) {
    if (service.empty() || name == service) circuits.emplace(name, info);
  }
  return circuits;
}

using Row = std::vector<std::string>;

/// How wide a text is in characters.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

std::string table(const std::vector<Row>& rows, const std::string& indent) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  }
  std::string text;
  for (const Row& row : rows) {
    text += indent;
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(widths[i] - width(row[i]) + 2, ' ');
    }
    text += "\n";
  }
  return text;
}

}  // namespace

Prospect prospect(const GuardianFiles& files, const std::string& service, std::int64_t now) {
  const guardian_config& config = files.config;
  if (!circuit::is_monitored(config, service))
    return {true, "passes: the configuration doesn't have the service guarded."};

  service_info info = chosen(files, service)[service];
  Rehearsal rehearsal(now);
  const bool was_closed = info.state == circuit_state::closed;
  circuit::forget_if_quiet(info, config, rehearsal);
  if (!was_closed && info.state == circuit_state::closed) {
    return {true, "passes: the circuit was quiet for " + std::to_string(config.reset_threshold) +
                      " minutes, so all is forgotten and it is closed first."};
  }
  const service_info asked = info;
  const bool is_allowed = circuit::ask(info, config, rehearsal).allowed;
  return {is_allowed, is_allowed ? why_allowed(asked, config, rehearsal) : why_refused(asked, now)};
}

json circuits_json(const GuardianFiles& files, const std::string& service) {
  const std::int64_t now = platform::now_ticks();
  const auto request = [&](const std::string& name) {
    const Prospect outlook = prospect(files, name, now);
    return json{{"allowed", outlook.is_allowed}, {"why", outlook.why}};
  };
  json list = json::array();
  for (const auto& [name, info] : chosen(files, service)) {
    json errors = json::array();
    for (const request_failure& failure : info.errors) {
      errors.push_back(
          {{"method", failure.method}, {"value", failure.value}, {"field", failure.field}});
    }
    list.push_back({{"service", name},
                    {"state", name_of(info.state)},
                    {"counter", info.counter},
                    {"index", info.index},
                    {"next_request_time", info.next_request_time / ticks_per_second},
                    {"seconds_to_probe",
                     info.state == circuit_state::closed ? json() : json(seconds_left(info, now))},
                    {"blocked", info.blocked},
                    {"allowed", info.allowed},
                    {"errors", errors},
                    {"request", request(name)}});
  }
  json all = {{"file", path_text(files.services_path)},
              {"config", path_text(files.config_path)},
              {"circuits", list}};
  if (!service.empty() && list.empty()) all["request"] = request(service);
  return all;
}

std::string circuits_text(const GuardianFiles& files, const std::string& service,
                          const std::string& indent) {
  const std::int64_t now = platform::now_ticks();
  const auto circuits = chosen(files, service);
  std::vector<Row> rows = {{"service", "state", "counter", "index", "next probe", "blocked",
                            "allowed", "last failures"}};
  std::string sentences;
  const auto explain = [&](const std::string& name) {
    sentences += indent + "A request to " + name + " " + prospect(files, name, now).why + "\n";
  };
  for (const auto& [name, info] : circuits) {
    rows.push_back({name, name_of(info.state),
                    std::to_string(info.counter) + " of " + std::to_string(files.config.threshold),
                    std::to_string(info.index), probe_text(info, now), std::to_string(info.blocked),
                    std::to_string(info.allowed), failures_text(info)});
    explain(name);
  }
  if (!service.empty() && circuits.empty()) explain(service);
  const std::string upper =
      circuits.empty()
          ? indent + "There is no circuit yet" + (service.empty() ? "" : " for " + service) + ".\n"
          : table(rows, indent);
  return upper + sentences;
}

}  // namespace devkit
