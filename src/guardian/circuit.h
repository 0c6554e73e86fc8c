#pragma once

#include <cstdint>
#include <string_view>

#include "guardian/guardian_config.h"
#include "guardian/service_info.h"

/// The rules of one circuit, as plain functions of its record and the configuration: no files, no
/// locks, no logs. What they need besides and what others need to hear goes through `surroundings`,
/// so the module and a simulation run the same rules.
///
/// A closed circuit opens after `threshold` failures in a row. While it is open or half open, a
/// request passes as a probe when the break is over, and begins the next break; an open circuit
/// climbs the ladder of breaks with each probe, a half open one descends it. A success half opens
/// an open circuit, `threshold` successes close a half open one, a failure opens it again. A
/// circuit nothing happened to for `reset_threshold` minutes begins anew.
namespace cloud::guardian::circuit {

class surroundings {
 public:
  virtual std::int64_t now() = 0;
  /// When a break of this length, drawn now, is over.
  virtual std::int64_t get_next_request_time(const break_interval& interval) = 0;
  /// `info` is about to enter `state`, and still is as it was before.
  virtual void entering(const service_info& info, circuit_state state, bool notify) = 0;
  virtual void counted(std::uint32_t counter) = 0;

 protected:
  ~surroundings() = default;
};

/// A service that isn't has no circuit, and all its requests pass.
bool is_monitored(const guardian_config& config, std::string_view service);

struct permission {
  bool allowed;
  bool dirty;
};

// All of these but `set_circuit_state` and `increment_counter` return whether the record has
// changed and is to be saved.

/// Before anything else happens to a circuit.
bool forget_if_quiet(service_info& info, const guardian_config& config, surroundings& around);

permission ask(service_info& info, const guardian_config& config, surroundings& around);
bool succeed(service_info& info, const guardian_config& config, surroundings& around);
/// `failure` may be null: the failure is then counted, but not remembered.
bool fail(service_info& info, const guardian_config& config, const request_failure* failure,
          surroundings& around);

/// For a new configuration.
bool reset(service_info& info, const guardian_config& config, bool notify, surroundings& around);

/// Whatever the state was. `notify` is passed on to `entering`.
void set_circuit_state(service_info& info, circuit_state state, const guardian_config& config,
                       bool notify, surroundings& around);
/// One more of what leads to `target`.
void increment_counter(service_info& info, circuit_state target, const guardian_config& config,
                       surroundings& around);

}  // namespace cloud::guardian::circuit
