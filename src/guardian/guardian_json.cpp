#include "guardian/guardian_json.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

/// Cut towards zero. The language leaves open what becomes of a number that doesn't fit; here it is
/// the nearest that does.
std::int64_t whole(double number) {
  using limits = std::numeric_limits<std::int64_t>;
  constexpr double beyond = 9223372036854775808.0;  // limits::max() itself has no double
  if (number >= beyond) return limits::max();
  if (number > -beyond) return static_cast<std::int64_t>(number);
  return limits::min();
}

/// Any number that the library converts to an Integer, and a boolean where it does. Beyond 32 bits
/// the low ones are what is left, as with the library.
template <class Integer>
void get_number(const nlohmann::json& member, Integer& number) {
  if (member.is_number_float()) {
    number = static_cast<Integer>(whole(member.get<double>()));
  } else {
    member.get_to(number);
  }
}

// The services file is the plug-in's own: other than in the settings, which people write, its whole
// numbers have to be whole numbers.

std::int32_t signed_number(const nlohmann::json& member) {
  return static_cast<std::int32_t>(member.get_ref<const nlohmann::json::number_integer_t&>());
}

std::uint32_t unsigned_number(const nlohmann::json& member) {
  // The first look takes a number of either kind; the second one, for what seems to be below zero,
  // refuses all that is.
  const auto number = member.get_ref<const nlohmann::json::number_integer_t&>();
  return number >= 0 ? static_cast<std::uint32_t>(number)
                     : static_cast<std::uint32_t>(
                           member.get_ref<const nlohmann::json::number_unsigned_t&>());
}

template <class Element>
void add_elements(nlohmann::json& array, const std::vector<Element>& elements) {
  array = nlohmann::json::array();
  for (const Element& element : elements) to_json(array.emplace_back(), element);
}

/// A time too far away to be told in ticks is the farthest that can.
std::int64_t to_ticks(std::int64_t seconds) {
  std::int64_t ticks = 0;
  if (!__builtin_mul_overflow(seconds, ticks_per_second, &ticks)) return ticks;
  using limits = std::numeric_limits<std::int64_t>;
  return seconds < 0 ? limits::min() : limits::max();
}

}  // namespace

// Member by member, into the value where it will stay: a value that is made elsewhere first may be
// lost on its way, or take memory for its end (see json_tree). And into an object from the start: a
// null that fails to become one by its first member is broken.

void to_json(nlohmann::json& json, const break_interval& interval) {
  json = nlohmann::json::object();
  json["min"] = interval.min;
  json["max"] = interval.max;
}

void from_json(const nlohmann::json& json, break_interval& interval) {
  get_number(json.at("min"), interval.min);
  get_number(json.at("max"), interval.max);
}

void to_json(nlohmann::json& json, const guardian_config& config) {
  json = nlohmann::json::object();
  nlohmann::json& circuit = json["circuit_config"] = nlohmann::json::object();
  circuit["threshold"] = config.threshold;
  add_elements(circuit["intervals"], config.intervals);
  circuit["reset_threshold"] = config.reset_threshold;
  if (!config.services) return;
  nlohmann::json& services = json["services"] = nlohmann::json::array();
  for (const std::string& service : *config.services) services.push_back(service);
}

void from_json(const nlohmann::json& json, guardian_config& config) {
  const nlohmann::json& circuit = json.at("circuit_config");
  get_number(circuit.at("threshold"), config.threshold);
  circuit.at("intervals").get_to(config.intervals);
  get_number(circuit.at("reset_threshold"), config.reset_threshold);

  config.services.reset();
  const auto services = json.find("services");
  if (services != json.end()) services->get_to(config.services.emplace());
}

void to_json(nlohmann::json& json, const service_info& info) {
  json = nlohmann::json::object();
  json["state"] = static_cast<std::int32_t>(info.state);
  json["counter"] = info.counter;
  json["index"] = info.index;
  // The fraction of a second is lost on purpose: the file knows whole seconds only.
  json["next_request_time"] = info.next_request_time / ticks_per_second;
  add_elements(json["errors"], info.errors);
  json["blocked"] = info.blocked;
  json["allowed"] = info.allowed;
}

void from_json(const nlohmann::json& json, service_info& info) {
  info.state = static_cast<circuit_state>(signed_number(json.at("state")));
  info.counter = unsigned_number(json.at("counter"));
  info.index = unsigned_number(json.at("index"));
  std::int64_t seconds = 0;
  get_number(json.at("next_request_time"), seconds);
  info.next_request_time = to_ticks(seconds);
  json.at("errors").get_to(info.errors);
  if (json.contains("blocked")) info.blocked = unsigned_number(json.at("blocked"));
  if (json.contains("allowed")) info.allowed = unsigned_number(json.at("allowed"));
}

void to_json(nlohmann::json& json, const services_map& services) {
  json = nlohmann::json::object();
  for (const auto& [service, info] : services) to_json(json[service], info);
}

void to_json(nlohmann::json& json, const request_failure& failure) {
  json = nlohmann::json::object();
  json["value"] = failure.value;
  json["field"] = failure.field;
  json["method"] = failure.method;
}

void from_json(const nlohmann::json& json, request_failure& failure) {
  json.at("method").get_to(failure.method);
  failure.field = signed_number(json.at("field"));
  json.at("value").get_to(failure.value);
}
