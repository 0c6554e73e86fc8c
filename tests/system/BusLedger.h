#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "devkit/msgbus/Watch.h"

namespace kit_test {

/// Who has been registered for pushes by the server of now, as the bus shows it from outside. Any
/// thread.
class BusLedger {
 public:
  enum class Topic : std::int64_t { events = 0, commands = 1 };

  explicit BusLedger(const devkit::bus::Address& broker)
      : watch_(broker, [this](const devkit::bus::Sighting& seen) { see(seen); }) {}

  /// The process is about to end, and what it did will count no more as soon as the bus has lost
  /// it. With the server goes everything.
  void ends(std::uint64_t process, bool is_server) {
    const std::lock_guard guard(mutex_);
    ending_[process] = is_server;
  }
  bool is_here(std::uint64_t process) const {
    const std::lock_guard guard(mutex_);
    return here_.count(process) != 0;
  }
  /// A broker is about to end; `is_watching` gets true again when the next one was looked through.
  void loses_broker() {
    const std::lock_guard guard(mutex_);
    watching_ = false;
    must_be_away_ = true;
  }
  bool is_watching() const {
    const std::lock_guard guard(mutex_);
    return watching_;
  }
  bool has_registered(std::uint64_t process, const std::string& app, Topic topic) const {
    const std::lock_guard guard(mutex_);
    return registered_.count({process, {app, topic}}) != 0;
  }
  void forget(std::uint64_t process, const std::string& app, Topic topic) {
    const std::lock_guard guard(mutex_);
    registered_.erase({process, {app, topic}});
  }
  /// Whether the process was refused, or asked for longer than it waits; then nothing makes it ask
  /// again but a server that comes anew.
  bool has_given_up(std::uint64_t process) const {
    const std::lock_guard guard(mutex_);
    if (refused_.count(process) != 0) return true;
    for (const auto& [correlation, request] : asked_) {
      if (request.process == process && clock::now() - request.at > patience) return true;
    }
    return false;
  }

 private:
  using clock = std::chrono::steady_clock;
  using Sighting = devkit::bus::Sighting;
  static constexpr std::chrono::milliseconds patience{5000};  ///< of a process that registers
  struct Request {
    std::uint64_t process;
    std::string app;
    Topic topic;
    clock::time_point at;
  };

  void see(const Sighting& seen) {
    const std::lock_guard guard(mutex_);
    switch (seen.kind) {
      case Sighting::Kind::away:
        must_be_away_ = false;
        watching_ = false;
        break;
      case Sighting::Kind::caught_up:
        watching_ = !must_be_away_;
        break;
      case Sighting::Kind::process_here:
        here_.insert(seen.process_id);
        break;
      case Sighting::Kind::process_left:
      case Sighting::Kind::process_died:
        lose(seen.process_id);
        break;
      case Sighting::Kind::request:
        if (text(seen, "method") == "push_register") {
          asked_[seen.correlation] = {seen.process_id, text(seen, "source_app_id"),
                                      Topic{number(seen, "topic")}, clock::now()};
        }
        break;
      case Sighting::Kind::reply:
        answer(seen);
        break;
      default:
        break;
    }
  }

  void lose(std::uint64_t process) {
    here_.erase(process);
    const auto ending = ending_.find(process);
    // One that lost its broker is only late to come back.
    if (ending == ending_.end()) return;
    const auto is_meant = [all = ending->second, process](std::uint64_t one) {
      return all || one == process;
    };
    std::erase_if(registered_, [&](const auto& one) { return is_meant(one.first); });
    std::erase_if(asked_, [&](const auto& one) { return is_meant(one.second.process); });
    std::erase_if(refused_, is_meant);
    ending_.erase(ending);
  }

  void answer(const Sighting& seen) {
    const auto asked = asked_.find(seen.correlation);
    if (asked == asked_.end()) return;
    const Request& request = asked->second;
    if (number(seen, "err") == 0 && clock::now() - request.at < patience) {
      registered_.insert({request.process, {request.app, request.topic}});
    } else {
      refused_.insert(request.process);
    }
    asked_.erase(asked);
  }

  static std::string text(const Sighting& seen, const char* field) {
    const auto found = seen.fields.find(field);
    const auto* const value =
        found == seen.fields.end() ? nullptr : std::get_if<std::string>(&found->second);
    return value != nullptr ? *value : std::string();
  }
  static std::int64_t number(const Sighting& seen, const char* field) {
    const auto found = seen.fields.find(field);
    const auto* const value =
        found == seen.fields.end() ? nullptr : std::get_if<std::int64_t>(&found->second);
    return value != nullptr ? *value : -1;
  }

  mutable std::mutex mutex_;
  bool watching_ = false;
  bool must_be_away_ = false;
  std::set<std::uint64_t> here_;
  std::map<std::uint64_t, bool> ending_;
  std::map<std::string, Request> asked_;
  std::set<std::pair<std::uint64_t, std::pair<std::string, Topic>>> registered_;
  std::set<std::uint64_t> refused_;
  const devkit::bus::Watch watch_;  ///< last: its thread uses the others
};

}  // namespace kit_test
