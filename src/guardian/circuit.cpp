#include "guardian/circuit.h"

#include <algorithm>
#include <cstddef>

namespace cloud::guardian::circuit {

namespace {

/// The nearest rung that the ladder has; a ladder without rungs is taken for one with a single
/// break of no length.
std::uint32_t capped(std::uint64_t index, const guardian_config& config) {
  const std::size_t rungs = config.intervals.size();
  return rungs == 0 ? 0 : static_cast<std::uint32_t>(std::min<std::uint64_t>(index, rungs - 1));
}

void take_a_break(service_info& info, const guardian_config& config, surroundings& around) {
  info.next_request_time = around.get_next_request_time(
      config.intervals.empty() ? break_interval{} : config.intervals[info.index]);
}

bool is_quiet(const service_info& info, const guardian_config& config, surroundings& around) {
  // A sum beyond the last tick would never be before now, one below the first always.
  std::int64_t end = 0;
  if (__builtin_add_overflow(info.next_request_time, config.reset_threshold * ticks_per_minute,
                             &end)) {
    return config.reset_threshold < 0;
  }
  return end < around.now();
}

/// What a closed circuit had counted and remembered is forgotten.
bool forget_failures(service_info& info, surroundings& around) {
  bool dirty = false;
  if (info.counter != 0) {
    info.counter = 0;
    info.next_request_time = around.now();
    dirty = true;
  }
  if (!info.errors.empty()) {
    info.errors.clear();
    dirty = true;
  }
  return dirty;
}

}  // namespace

bool is_monitored(const guardian_config& config, std::string_view service) {
  return !config.services || std::find(config.services->begin(), config.services->end(), service) !=
                                 config.services->end();
}

bool forget_if_quiet(service_info& info, const guardian_config& config, surroundings& around) {
  if (!is_quiet(info, config, around)) return false;
  if (info.state == circuit_state::closed) return forget_failures(info, around);
  set_circuit_state(info, circuit_state::closed, config, true, around);
  return true;
}

permission ask(service_info& info, const guardian_config& config, surroundings& around) {
  if (info.state == circuit_state::closed) return {.allowed = true, .dirty = false};
  if (info.next_request_time >= around.now()) {
    ++info.blocked;
    return {.allowed = false, .dirty = true};
  }
  // The rung is taken with the permission, before anyone knows how the probe ends: the longer a
  // service fails, the less often it is bothered.
  switch (info.state) {
    case circuit_state::open:
      info.index = capped(std::uint64_t{info.index} + 1, config);
      break;
    case circuit_state::half_open:
      info.index = capped(info.index, config);
      if (info.index != 0) --info.index;
      break;
    default:
      return {.allowed = true, .dirty = false};
  }
  take_a_break(info, config, around);
  return {.allowed = true, .dirty = true};
}

bool succeed(service_info& info, const guardian_config& config, surroundings& around) {
  switch (info.state) {
    case circuit_state::closed:
      return forget_failures(info, around);
    case circuit_state::open:
      ++info.allowed;
      set_circuit_state(info, circuit_state::half_open, config, false, around);
      return true;
    case circuit_state::half_open:
      info.errors.clear();
      ++info.allowed;
      increment_counter(info, circuit_state::closed, config, around);
      return true;
  }
  const bool dirty = !info.errors.empty();
  info.errors.clear();
  return dirty;
}

bool fail(service_info& info, const guardian_config& config, const request_failure* failure,
          surroundings& around) {
  switch (info.state) {
    case circuit_state::closed:
      if (failure != nullptr) info.errors.push_back(*failure);
      increment_counter(info, circuit_state::open, config, around);
      return true;
    case circuit_state::open:
      ++info.allowed;
      return true;
    case circuit_state::half_open:
      ++info.allowed;
      // Back to the rung it had come down to, not to the first.
      set_circuit_state(info, circuit_state::open, config, true, around);
      return true;
  }
  return false;
}

bool reset(service_info& info, const guardian_config& config, bool notify, surroundings& around) {
  if (info.state == circuit_state::closed) return forget_failures(info, around);
  set_circuit_state(info, circuit_state::closed, config, notify, around);
  return true;
}

void set_circuit_state(service_info& info, circuit_state state, const guardian_config& config,
                       bool notify, surroundings& around) {
  around.entering(info, state, notify);
  info.state = state;
  info.counter = 0;
  info.errors.clear();
  if (state != circuit_state::closed) {
    info.index = capped(info.index, config);
    take_a_break(info, config, around);
  } else {
    info.index = 0;
    info.next_request_time = around.now();
    info.blocked = 0;
    info.allowed = 0;
  }
}

void increment_counter(service_info& info, circuit_state target, const guardian_config& config,
                       surroundings& around) {
  ++info.counter;
  if (info.counter >= config.threshold) {
    set_circuit_state(info, target, config, true, around);
  } else if (info.state == circuit_state::closed) {
    info.next_request_time = around.now();
  }
  around.counted(info.counter);
}

}  // namespace cloud::guardian::circuit
