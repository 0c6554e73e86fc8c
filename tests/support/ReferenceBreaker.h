#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace support {

/// What the telemetry tells: that throttling began, or that it ended.
struct ReferenceReport {
  std::string service;
  bool began = false;
  std::vector<std::string> failures;  ///< the values of those remembered, when it began
  std::uint32_t blocked = 0;          ///< when it ended
  std::uint32_t allowed = 0;
};

/// All that breakers have around them, and share. Times are in ticks of 100 ns since 1970.
struct ReferenceWorld {
  /// Chooses a break's seconds between two ends, for a time's low half.
  using Draw =
      std::function<std::uint32_t(std::uint32_t min, std::uint32_t max, std::uint32_t seed)>;

  std::int64_t now = 0;
  Draw draw;

  std::string packaged;                 ///< the settings file that ships
  std::optional<std::string> cache;     ///< the configuration's file, if there is one
  std::optional<std::string> services;  ///< the circuits' file, if there is one

  bool next_lock_fails = false;
  bool next_write_fails = false;  ///< the file is emptied then, and stays so

  std::size_t locks = 0;   ///< taken or tried
  std::size_t reads = 0;   ///< of cache and circuits; a file that is absent isn't read
  std::size_t writes = 0;  ///< tried
  std::vector<ReferenceReport> reports;
};

/// A breaker as simple as can be, to measure the real one against: no threads, no watcher, no clock
/// and no files but its world's. What is written anywhere reaches another breaker, and this one
/// too, when its flag is set from outside and an operation takes it.
class ReferenceBreaker {
 public:
  struct Failure {
    std::string value;
    std::int32_t field = 0;
    std::string method;
  };
  struct Circuit {
    std::int32_t state = 0;
    std::uint32_t counter = 0;
    std::uint32_t index = 0;
    std::int64_t next_request_time = 0;
    std::vector<Failure> errors;
    std::uint32_t blocked = 0;
    std::uint32_t allowed = 0;
  };
  using Circuits = std::map<std::string, Circuit>;

  /// `world` must outlive it. Throws std::runtime_error if no configuration can be read.
  explicit ReferenceBreaker(ReferenceWorld& world);

  bool is_send_allowed(const std::string& service);
  void succeeded(const std::string& service);
  void failed(const std::string& service, const std::optional<Failure>& failure);
  void settings_changed(const std::string& text);

  /// Somebody wrote that file: the next operation under the lock reads it.
  bool services_modified = false;
  bool cache_modified = false;

  bool is_monitored(const std::string& service) const;
  const Circuits& circuits() const noexcept { return circuits_; }

 private:
  struct Interval {
    std::uint32_t min;
    std::uint32_t max;
  };
  struct Config {
    std::uint32_t threshold = 0;
    std::vector<Interval> intervals;
    std::int32_t reset_threshold = 0;
    std::optional<std::vector<std::string>> services;
  };

  static Config parse_config(const std::string& text);
  static Circuits parse_circuits(const std::string& text);
  static nlohmann::json json_of(const Config& config);
  static nlohmann::json json_of(const Circuits& circuits);

  bool lock();
  bool refresh(const std::string& service);
  bool note_success(const std::string& service);
  bool note_failure(const std::string& service, const std::optional<Failure>& failure);
  bool close_all(bool report);
  void enter(const std::string& service, std::int32_t state, bool report);
  void count(const std::string& service, std::int32_t state_at_threshold);
  std::uint32_t capped(std::uint64_t index) const;
  void take_break(Circuit& circuit);
  void save_if(bool dirty);
  void write(std::optional<std::string>& file, const nlohmann::json& content);

  ReferenceWorld& world_;
  Config config_;
  Circuits circuits_;
};

/// For people, one line a circuit; the same for the same circuits.
std::string text_of(const ReferenceBreaker::Circuits& circuits);

}  // namespace support
