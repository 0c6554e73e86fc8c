#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "guardian/circuit_breaker.h"
#include "platform/library.h"
#include "platform/seam.h"
#include "support/ReferenceBreaker.h"
#include "support/guardian_inside.h"

namespace breaker_processes {

inline constexpr unsigned processes = 4;

// Short breaks, so that all states are come through many times a second.
inline const std::array<std::string, 4> configurations = {
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":0,"max":0},{"min":0,"max":1}],"reset_threshold":30}})",
    R"({"circuit_config":{"threshold":3,"intervals":[{"min":0,"max":0}],"reset_threshold":30},"services":["a","b"]})",
    R"({"circuit_config":{"threshold":1,"intervals":[{"min":0,"max":1}],"reset_threshold":30}})",
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":0,"max":0}],"reset_threshold":0}})"};
inline const std::array<std::string, 4> services = {"a", "b", "c", "\xC3\xA4"};
inline const std::array<support::ReferenceBreaker::Failure, 2> failures = {
    {{"500", 0, "ask"}, {"32005.1011", 2, "upload"}}};

/// What the processes share.
struct Folder {
  explicit Folder(std::filesystem::path the_path) : path(std::move(the_path)) {}

  std::filesystem::path path;
  std::filesystem::path circuits = path / "guard" / "circuits.json";
  std::filesystem::path cache = path / "guard" / "cache.json";
  std::filesystem::path turns = path / "turns";
  std::filesystem::path settings = path / "settings" / "cloud_guardian_settings.json";

  std::filesystem::path record(unsigned process) const {
    return path / ("record" + std::to_string(process));
  }
};

/// What the process's one player does, as the system sees it. Each operation that touches anything
/// gets its number with the first call that comes after the lock was asked for, which is when it
/// has it: nothing but the breaker's own lock keeps two operations from the same number.
class PlayersSeam final : public platform::Seam {
 public:
  explicit PlayersSeam(const Folder& folder) : folder_(folder) { platform::set_seam(this); }
  PlayersSeam(const PlayersSeam&) = delete;
  PlayersSeam& operator=(const PlayersSeam&) = delete;
  ~PlayersSeam() override { platform::set_seam(nullptr); }

  struct Operation {
    std::optional<std::uint64_t> number;
    std::optional<std::int64_t> instant;  ///< of its readings of the clock
    std::size_t reads = 0;                ///< under the lock, as the writes
    std::size_t writes = 0;
  };

  void begin() {
    operation_ = {};
    asked_for_lock_ = false;
  }
  const Operation& operation() const noexcept { return operation_; }

  std::uint32_t fail(platform::Call call) noexcept override {
    if (std::this_thread::get_id() != player_) return 0;
    if (call == platform::Call::lock) {
      asked_for_lock_ = true;
      return 0;
    }
    note_lock();
    if (operation_.number && call == platform::Call::read) ++operation_.reads;
    if (operation_.number && call == platform::Call::write) ++operation_.writes;
    return 0;
  }

  /// The real time, standing still during an operation: the reference has only one.
  std::optional<std::int64_t> ticks() noexcept override {
    if (std::this_thread::get_id() != player_) return std::nullopt;
    note_lock();
    if (!operation_.instant) {
      using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
      const auto now = std::chrono::system_clock::now().time_since_epoch();
      operation_.instant = std::chrono::duration_cast<Ticks>(now).count();
    }
    return operation_.instant;
  }

  std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept override {
    error = 0;
    return (folder_.path / platform::library_file_name(L"cloudsplicer")).wstring();
  }
  std::optional<bool> elevated() noexcept override { return true; }

 private:
  void note_lock() {
    if (!asked_for_lock_) return;
    asked_for_lock_ = false;
    operation_.number = std::filesystem::file_size(folder_.turns);
    std::ofstream(folder_.turns, std::ios::binary | std::ios::app) << '.';
  }

  const Folder& folder_;
  const std::thread::id player_ = std::this_thread::get_id();
  Operation operation_;
  bool asked_for_lock_ = false;
};

/// One process's part: does what it likes, and writes down what became of it.
class Player {
 public:
  Player(const Folder& folder, unsigned process, unsigned seed)
      : seam_(folder),
        record_(folder.record(process), std::ios::binary),
        random_(seed * processes + process) {}

  void play(std::chrono::steady_clock::time_point end) {
    start();
    while (std::chrono::steady_clock::now() < end) step();
    record_.close();
    if (record_.fail()) throw std::runtime_error("the record can't be written");
  }

 private:
  unsigned below(std::size_t limit) { return static_cast<unsigned>(random_() % limit); }

  void start() {
    breaker_.reset();
    seam_.begin();
    breaker_.emplace();
    note({{"what", "start"}}, false);
  }

  void step() {
    const unsigned what = below(1000);
    const std::string& service = services[below(services.size())];
    if (what == 0) return start();

    const auto config = support::config_in(support::storage_in(*breaker_));
    nlohmann::json doing = {{"service", service}};
    seam_.begin();
    if (what < 400) {
      doing["what"] = "ask";
      doing["answer"] = breaker_->IsSendAllowed(service);
    } else if (what < 650) {
      doing["what"] = "success";
      breaker_->process_request_succeded(service.c_str());
    } else if (what < 800) {
      doing["what"] = "failure";
      breaker_->process_request_server_error(service.c_str());
    } else if (what < 997) {
      const unsigned which = below(failures.size());
      const auto& failure = failures[which];
      doing["what"] = "failure";
      doing["failure"] = which;
      breaker_->process_request_server_error(service.c_str(),
                                             {failure.value, failure.field, failure.method});
    } else {
      const unsigned which = below(configurations.size());
      doing["what"] = "settings";
      doing["settings"] = which;
      breaker_->OnSettingsChanged(configurations[which].c_str());
    }
    const bool has_new_config =
        config != support::config_in(support::storage_in(*breaker_)) && what < 997;
    note(std::move(doing), has_new_config);
  }

  void note(nlohmann::json doing, bool read_cache) {
    const auto& operation = seam_.operation();
    if (operation.number) doing["number"] = *operation.number;
    if (operation.instant) doing["instant"] = *operation.instant;
    doing["reads"] = operation.reads;
    doing["writes"] = operation.writes;
    doing["read cache"] = read_cache;
    std::string remembered = support::text_of(support::circuits_in(*breaker_));
    if (remembered != remembered_) doing["remembers"] = remembered;
    remembered_ = std::move(remembered);
    record_ << doing << '\n';
  }

  PlayersSeam seam_;
  std::ofstream record_;
  std::mt19937 random_;
  std::optional<cloud::guardian::circuit_breaker> breaker_;
  std::string remembered_;
};

}  // namespace breaker_processes
