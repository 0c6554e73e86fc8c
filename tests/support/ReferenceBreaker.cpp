#include "support/ReferenceBreaker.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace support {

namespace {

constexpr std::int64_t second = 10'000'000;
constexpr std::int64_t minute = 60 * second;

constexpr std::int32_t closed = 0;
constexpr std::int32_t open = 1;
constexpr std::int32_t half_open = 2;

}  // namespace

ReferenceBreaker::ReferenceBreaker(ReferenceWorld& world) : world_(world) {
  if (!lock()) throw std::runtime_error("no lock");
  try {
    config_ = parse_config(world_.cache.value_or(""));
  } catch (const std::exception&) {
    config_ = parse_config(world_.packaged);
  }
  try {
    circuits_ = parse_circuits(world_.services.value_or(""));
  } catch (const std::exception&) {
    // An empty history.
  }
}

bool ReferenceBreaker::is_send_allowed(const std::string& service) {
  if (!lock()) return true;
  bool dirty = refresh(service);
  bool answer = true;
  if (is_monitored(service)) {
    Circuit& circuit = circuits_.at(service);
    if (circuit.state != closed && circuit.next_request_time >= world_.now) {
      answer = false;
      ++circuit.blocked;
      dirty = true;
    } else if (circuit.state == open) {
      circuit.index = capped(std::uint64_t{circuit.index} + 1);
      take_break(circuit);
      dirty = true;
    } else if (circuit.state == half_open) {
      circuit.index = capped(circuit.index);
      if (circuit.index != 0) --circuit.index;
      take_break(circuit);
      dirty = true;
    }
  }
  save_if(dirty);
  return answer;
}

void ReferenceBreaker::succeeded(const std::string& service) {
  if (!is_monitored(service) || !lock()) return;
  bool dirty = refresh(service);
  // It has none if it came off the list just now.
  if (circuits_.contains(service)) dirty = note_success(service) || dirty;
  save_if(dirty);
}

bool ReferenceBreaker::note_success(const std::string& service) {
  Circuit& circuit = circuits_.at(service);
  bool dirty = !circuit.errors.empty();
  circuit.errors.clear();
  if (circuit.state == closed && circuit.counter != 0) {
    circuit.counter = 0;
    circuit.next_request_time = world_.now;
    dirty = true;
  } else if (circuit.state == open) {
    ++circuit.allowed;
    circuit.state = half_open;
    circuit.counter = 0;
    circuit.index = capped(circuit.index);
    take_break(circuit);
    dirty = true;
  } else if (circuit.state == half_open) {
    ++circuit.allowed;
    count(service, closed);
    dirty = true;
  }
  return dirty;
}

void ReferenceBreaker::failed(const std::string& service, const std::optional<Failure>& failure) {
  if (!is_monitored(service) || !lock()) return;
  bool dirty = refresh(service);
  if (circuits_.contains(service)) dirty = note_failure(service, failure) || dirty;
  save_if(dirty);
}

bool ReferenceBreaker::note_failure(const std::string& service,
                                    const std::optional<Failure>& failure) {
  Circuit& circuit = circuits_.at(service);
  if (circuit.state == closed) {
    if (failure) circuit.errors.push_back(*failure);
    count(service, open);
    return true;
  }
  if (circuit.state != open && circuit.state != half_open) return false;
  ++circuit.allowed;
  if (circuit.state == half_open) enter(service, open, true);
  return true;
}

void ReferenceBreaker::settings_changed(const std::string& text) {
  Config config;
  try {
    config = parse_config(text);
  } catch (const std::exception&) {
    return;
  }
  if (!lock() || json_of(config) == json_of(config_)) return;
  config_ = config;
  write(world_.cache, json_of(config_));
  save_if(close_all(true));
}

bool ReferenceBreaker::is_monitored(const std::string& service) const {
  if (!config_.services) return true;
  return std::count(config_.services->begin(), config_.services->end(), service) != 0;
}

bool ReferenceBreaker::lock() {
  ++world_.locks;
  return !std::exchange(world_.next_lock_fails, false);
}

bool ReferenceBreaker::refresh(const std::string& service) {
  bool dirty = false;
  if (std::exchange(cache_modified, false)) {
    if (world_.cache) ++world_.reads;
    try {
      config_ = parse_config(world_.cache.value_or(""));
    } catch (const std::exception&) {
      // The old one stays. The circuits are closed all the same.
    }
    dirty = close_all(false);
  }
  if (std::exchange(services_modified, false)) {
    if (world_.services) ++world_.reads;
    try {
      circuits_ = parse_circuits(world_.services.value_or(""));
    } catch (const std::exception&) {
      // The old ones stay.
    }
  }
  if (!is_monitored(service)) return dirty;
  const auto [place, is_new] = circuits_.try_emplace(service);
  Circuit& circuit = place->second;
  if (is_new) {
    circuit.next_request_time = world_.now;
    dirty = true;
  }
  const std::int64_t quiet_time = std::int64_t{config_.reset_threshold} * minute;
  if (circuit.next_request_time + quiet_time >= world_.now) return dirty;
  if (circuit.state != closed) {
    enter(service, closed, true);
    return true;
  }
  if (circuit.counter != 0) {
    circuit.counter = 0;
    circuit.next_request_time = world_.now;
    dirty = true;
  }
  if (!circuit.errors.empty()) {
    circuit.errors.clear();
    dirty = true;
  }
  return dirty;
}

bool ReferenceBreaker::close_all(bool report) {
  bool changed = false;
  for (auto& [service, circuit] : circuits_) {
    if (circuit.state != closed) {
      enter(service, closed, report);
      changed = true;
      continue;
    }
    if (circuit.counter != 0) {
      circuit.counter = 0;
      circuit.next_request_time = world_.now;
      changed = true;
    }
    if (!circuit.errors.empty()) {
      circuit.errors.clear();
      changed = true;
    }
  }
  return changed;
}

void ReferenceBreaker::enter(const std::string& service, std::int32_t state, bool report) {
  Circuit& circuit = circuits_.at(service);
  if (report && circuit.state != closed && state == closed) {
    world_.reports.push_back({service, false, {}, circuit.blocked, circuit.allowed});
  }
  if (report && circuit.state == closed && state == open) {
    ReferenceReport report_of_begin = {service, true, {}, 0, 0};
    for (const Failure& failure : circuit.errors) report_of_begin.failures.push_back(failure.value);
    world_.reports.push_back(report_of_begin);
  }
  circuit.state = state;
  circuit.counter = 0;
  circuit.errors.clear();
  if (state == closed) {
    circuit.index = 0;
    circuit.next_request_time = world_.now;
    circuit.blocked = 0;
    circuit.allowed = 0;
  } else {
    circuit.index = capped(circuit.index);
    take_break(circuit);
  }
}

void ReferenceBreaker::count(const std::string& service, std::int32_t state_at_threshold) {
  Circuit& circuit = circuits_.at(service);
  ++circuit.counter;
  if (circuit.counter >= config_.threshold) {
    enter(service, state_at_threshold, true);
  } else if (circuit.state == closed) {
    circuit.next_request_time = world_.now;
  }
}

std::uint32_t ReferenceBreaker::capped(std::uint64_t index) const {
  if (config_.intervals.empty()) return 0;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(index, config_.intervals.size() - 1));
}

void ReferenceBreaker::take_break(Circuit& circuit) {
  circuit.next_request_time = world_.now;
  if (config_.intervals.empty()) return;
  const Interval& interval = config_.intervals.at(circuit.index);
  circuit.next_request_time +=
      second *
      std::int64_t{world_.draw(interval.min, interval.max, static_cast<std::uint32_t>(world_.now))};
}

void ReferenceBreaker::save_if(bool dirty) {
  if (dirty) write(world_.services, json_of(circuits_));
}

void ReferenceBreaker::write(std::optional<std::string>& file, const nlohmann::json& content) {
  ++world_.writes;
  // Emptied before anything else: what can't be written, or put into words, leaves it so.
  file.emplace();
  if (std::exchange(world_.next_write_fails, false)) return;
  try {
    file = content.dump();
  } catch (const nlohmann::json::exception&) {
    // A text that isn't UTF-8.
  }
}

ReferenceBreaker::Config ReferenceBreaker::parse_config(const std::string& text) {
  const auto json = nlohmann::json::parse(text);
  const auto& rules = json.at("circuit_config");
  Config config;
  config.threshold = rules.at("threshold").get<std::uint32_t>();
  if (!rules.at("intervals").is_array()) throw std::runtime_error("no array");
  for (const auto& interval : rules.at("intervals")) {
    config.intervals.push_back(
        {interval.at("min").get<std::uint32_t>(), interval.at("max").get<std::uint32_t>()});
  }
  config.reset_threshold = rules.at("reset_threshold").get<std::int32_t>();
  if (json.contains("services")) {
    config.services = json.at("services").get<std::vector<std::string>>();
  }
  return config;
}

nlohmann::json ReferenceBreaker::json_of(const Config& config) {
  auto intervals = nlohmann::json::array();
  for (const Interval& interval : config.intervals) {
    intervals.push_back({{"min", interval.min}, {"max", interval.max}});
  }
  nlohmann::json json = {{"circuit_config",
                          {{"threshold", config.threshold},
                           {"intervals", intervals},
                           {"reset_threshold", config.reset_threshold}}}};
  if (config.services) json["services"] = *config.services;
  return json;
}

ReferenceBreaker::Circuits ReferenceBreaker::parse_circuits(const std::string& text) {
  const auto json = nlohmann::json::parse(text);
  if (!json.is_object()) throw std::runtime_error("no object");
  Circuits circuits;
  for (const auto& [service, entry] : json.items()) {
    Circuit& circuit = circuits[service];
    circuit.state = entry.at("state").get<std::int32_t>();
    circuit.counter = entry.at("counter").get<std::uint32_t>();
    circuit.index = entry.at("index").get<std::uint32_t>();
    circuit.next_request_time = entry.at("next_request_time").get<std::int64_t>() * second;
    if (!entry.at("errors").is_array()) throw std::runtime_error("no array");
    for (const auto& error : entry.at("errors")) {
      circuit.errors.push_back({error.at("value").get<std::string>(),
                                error.at("field").get<std::int32_t>(),
                                error.at("method").get<std::string>()});
    }
    if (entry.contains("blocked")) circuit.blocked = entry.at("blocked").get<std::uint32_t>();
    if (entry.contains("allowed")) circuit.allowed = entry.at("allowed").get<std::uint32_t>();
  }
  return circuits;
}

nlohmann::json ReferenceBreaker::json_of(const Circuits& circuits) {
  auto json = nlohmann::json::object();
  for (const auto& [service, circuit] : circuits) {
    auto errors = nlohmann::json::array();
    for (const Failure& failure : circuit.errors) {
      errors.push_back(
          {{"method", failure.method}, {"field", failure.field}, {"value", failure.value}});
    }
    json[service] = {
        {"state", circuit.state},    {"counter", circuit.counter},
        {"index", circuit.index},    {"next_request_time", circuit.next_request_time / second},
        {"errors", errors},          {"blocked", circuit.blocked},
        {"allowed", circuit.allowed}};
  }
  return json;
}

std::string text_of(const ReferenceBreaker::Circuits& circuits) {
  std::ostringstream out;
  for (const auto& [service, circuit] : circuits) {
    out << "\n    " << service << ": state " << circuit.state << ", counter " << circuit.counter
        << ", index " << circuit.index << ", time " << circuit.next_request_time << ", blocked "
        << circuit.blocked << ", allowed " << circuit.allowed;
    for (const auto& error : circuit.errors) {
      out << ", " << error.method << '/' << error.field << '/' << error.value;
    }
  }
  return out.str();
}

}  // namespace support
