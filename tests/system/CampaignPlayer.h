#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devkit/app/Application.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace campaign {

/// The pushes of a campaign carry whom they are meant for and a number, from 0 for each application
/// and kind. This name makes the callback stay until it is released.
inline constexpr const char* hold = "hold";

/// What came of one kind to one application. Each number takes one bit, so that counting itself
/// takes no memory that grows.
class Numbers {
 public:
  Numbers() { seen_.reserve(1 << 20); }

  void add(std::size_t number) {
    if (number >= seen_.size()) seen_.resize(number + 1);
    if (seen_[number]) {
      ++repeated_;
      return;
    }
    seen_[number] = true;
    ++distinct_;
    while (first_gap_ < seen_.size() && seen_[first_gap_]) ++first_gap_;
  }

  nlohmann::json told() const {
    return {{"distinct", distinct_}, {"repeated", repeated_}, {"first_gap", first_gap_}};
  }

 private:
  std::vector<bool> seen_;
  std::size_t distinct_ = 0;
  std::size_t repeated_ = 0;
  std::size_t first_gap_ = 0;
};

/// An application that counts what it gets, and completes its commands.
class Player {
 public:
  /// `part` is the application's name, with ":e" or ":c" behind it for events or commands alone.
  Player(const std::filesystem::path& module, std::string_view part, bool completes)
      : name_(part.substr(0, part.find(':'))),
        completes_(completes),
        application_(
            module, options(), name_, [this](const auto& event) { take(event); },
            [this](const auto& command) { take(command); }) {
    if (!part.ends_with(":c")) application_.start_events();
    if (!part.ends_with(":e")) application_.start_commands();
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  // What holds its callbacks mustn't hold up its end.
  ~Player() { release(true); }

  const std::string& name() const { return name_; }

  /// Lets the callbacks go that stay; with `for_good` also those to come.
  void release(bool for_good = false) {
    const std::lock_guard guard(mutex_);
    ++releases_;
    for_good_ = for_good;
    released_.notify_all();
  }

  nlohmann::json told() const {
    const std::lock_guard guard(mutex_);
    return {{"events", events_.told()},
            {"commands", commands_.told()},
            {"held", held_},
            {"strange", strange_},
            {"foreign", foreign_}};
  }

  /// Completes what this process has kept of other processes' commands, and gives how many it was:
  /// a process keeps all that it sees until somebody in it says that they are done.
  std::size_t forget(const std::set<std::string>& own) {
    // The ids of a campaign begin with the application's name.
    std::size_t count = 0;
    for (const std::string& id : application_.pending()) {
      if (own.count(id.substr(0, id.find('/'))) != 0) continue;
      application_.complete(id, "not ours");
      ++count;
    }
    return count;
  }

 private:
  static devkit::HostOptions options() {
    devkit::HostOptions options;
    options.product_agent_client = true;
    return options;
  }

  void take(const devkit::Application::Event& event) {
    count(event, events_);
    if (event.destination_app_id.view() != name_) note(strange_);
  }

  void take(const devkit::Application::Command& command) {
    // Who begins to listen is shown what the whole process keeps.
    if (command.destination_app_id.view() != name_) return note(foreign_);
    count(command, commands_);
    if (completes_) application_.complete(std::string(command.id.view()), "done");
  }

  template <class Push>
  void count(const Push& push, Numbers& numbers) {
    const nlohmann::json params = nlohmann::json::parse(push.params.view(), nullptr, false);
    std::unique_lock lock(mutex_);
    if (!params.is_object() || params.value("for", "") != name_ || !params.contains("n")) {
      ++strange_;
    } else if (push.name.view() == hold) {
      // A command may come once more, for instance when its callback has just been registered.
      if (!held_before_.emplace(&numbers, params.at("n").get<std::size_t>()).second) return;
      ++held_;
      released_.wait(lock, [&, before = releases_] { return for_good_ || releases_ != before; });
      --held_;
    } else {
      numbers.add(params.at("n").get<std::size_t>());
    }
  }

  void note(std::size_t& number) {
    const std::lock_guard guard(mutex_);
    ++number;
  }

  const std::string name_;
  const bool completes_;
  mutable std::mutex mutex_;
  std::condition_variable released_;
  std::uint64_t releases_ = 0;
  std::set<std::pair<const Numbers*, std::size_t>> held_before_;
  bool for_good_ = false;
  Numbers events_;
  Numbers commands_;
  std::size_t held_ = 0;     ///< callbacks that stay right now
  std::size_t strange_ = 0;  ///< that should never have come here
  std::size_t foreign_ = 0;  ///< commands of other applications
  devkit::Application application_;
};

/// A process with any number of applications, which obeys the lines on standard input:
///   tally          tells what came to each
///   release NAME   lets its callbacks go
///   forget         see Player::forget
inline int play(const std::vector<std::string>& arguments) {
  const auto say = [](const char* what, const nlohmann::json& value) {
    std::cout << nlohmann::json({{what, value}}).dump() << std::endl;
  };
  const bool completes = arguments.at(1) == "complete";
  std::vector<std::unique_ptr<Player>> players;
  std::set<std::string> own;
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    players.push_back(
        std::make_unique<Player>(devkit::to_path(arguments[0]), arguments[i], completes));
    own.insert(players.back()->name());
  }
  say("ready", devkit::os::process_id());

  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string order, name;
    words >> order >> name;
    if (order == "tally") {
      nlohmann::json all = nlohmann::json::object();
      for (const auto& player : players) all[player->name()] = player->told();
      say("tally", all);
    } else if (order == "release") {
      for (const auto& player : players) {
        if (player->name() == name) player->release();
      }
      say("released", name);
    } else if (order == "forget") {
      say("forgot", players.front()->forget(own));
    } else {
      throw std::runtime_error("\"" + line + "\" isn't understood");
    }
  }
  // The first one's host started what all of them use.
  while (!players.empty()) players.pop_back();
  return 0;
}

}  // namespace campaign
