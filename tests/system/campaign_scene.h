#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devkit/msgbus/Watch.h"
#include "support/campaign.h"
#include "system/CampaignPlayer.h"
#include "system/app_scene.h"

namespace campaign {

using nlohmann::json;

/// A process of the test program, with applications that count.
class Client {
 public:
  enum class Commands { complete, keep };

  Client(const kit_test::OwnKit& kit, const std::vector<std::string>& parts,
         Commands commands = Commands::complete)
      : process_(devkit::os::program(), arguments(kit, parts, commands),
                 devkit::os::Process::Input::piped) {
    for (const std::string& part : parts) names_.push_back(part.substr(0, part.find(':')));
  }

  /// Waits until its applications listen, as far as that is their own affair.
  void expect_ready() { EXPECT_FALSE(hears("ready").is_null()) << names_.front(); }

  std::uint64_t id() const { return process_.id(); }
  const std::vector<std::string>& names() const { return names_; }

  /// What came to one of its applications so far.
  json tally(const std::string& name) {
    if (!process_.write_line("tally")) return json::object();
    return hears("tally").value(name, json::object());
  }
  std::size_t count(const std::string& name, const char* kind) {
    return tally(name).value(json::json_pointer(std::string("/") + kind + "/distinct"),
                             std::size_t{0});
  }
  std::size_t held(const std::string& name) { return tally(name).value("held", std::size_t{0}); }
  void release(const std::string& name) {
    EXPECT_TRUE(process_.write_line("release " + name));
    EXPECT_EQ(hears("released"), name);
  }
  std::size_t forget() {
    EXPECT_TRUE(process_.write_line("forget"));
    const json number = hears("forgot");
    return number.is_number() ? number.get<std::size_t>() : 0;
  }

  bool is_running() { return !process_.wait(std::chrono::milliseconds(0)).has_value(); }
  void kill() { process_.kill(); }
  /// In good order.
  void expect_good_end() {
    process_.close_input();
    EXPECT_EQ(process_.wait(patience), std::optional<int>(0)) << names_.front();
  }

 private:
  static constexpr std::chrono::seconds patience{60};

  static std::vector<std::string> arguments(const kit_test::OwnKit& kit,
                                            const std::vector<std::string>& parts,
                                            Commands commands) {
    std::vector<std::string> all = {"play", kit_test::module_text(kit),
                                    commands == Commands::complete ? "complete" : "keep"};
    all.insert(all.end(), parts.begin(), parts.end());
    return all;
  }

  json hears(const char* member) {
    const auto line = process_.wait_for(
        [&](const std::string& text) {
          const json said = json::parse(text, nullptr, false);
          return said.is_object() && said.contains(member);
        },
        patience);
    return line ? json::parse(*line).at(member) : json();
  }

  devkit::WatchedProcess process_;
  std::vector<std::string> names_;
};

/// Who announces which listener on the bus.
class Roll {
 public:
  explicit Roll(const devkit::bus::Address& broker)
      : watch_(broker, [this](const devkit::bus::Sighting& seen) { take(seen); }) {}

  bool has(const std::string& listener, std::uint64_t process) const {
    const std::lock_guard guard(mutex_);
    return is_sure_ && listeners_.count({process, listener}) != 0;
  }
  /// Whether there is no broker right now.
  bool is_away() const {
    const std::lock_guard guard(mutex_);
    return is_away_;
  }
  /// How often the listener has come, and how often it has gone, whosever it was.
  std::size_t comings(const std::string& listener) const { return number(comings_, listener); }
  std::size_t goings(const std::string& listener) const { return number(goings_, listener); }

 private:
  using Kind = devkit::bus::Sighting::Kind;
  using Numbers = std::map<std::string, std::size_t>;

  void take(const devkit::bus::Sighting& seen) {
    const std::lock_guard guard(mutex_);
    const std::string& name = seen.listener.name;
    if (seen.kind == Kind::connected || seen.kind == Kind::away) {
      is_away_ = seen.kind == Kind::away;
      is_sure_ = false;
    }
    // Who was there before and is again isn't told anew.
    if (seen.kind == Kind::caught_up) is_sure_ = true;
    if (seen.kind == Kind::listener_added) {
      listeners_.insert({seen.process_id, name});
      ++comings_[name];
    } else if (seen.kind == Kind::listener_removed) {
      listeners_.erase({seen.process_id, name});
      ++goings_[name];
    }
  }
  std::size_t number(const Numbers& numbers, const std::string& listener) const {
    const std::lock_guard guard(mutex_);
    const auto found = numbers.find(listener);
    return found == numbers.end() ? 0 : found->second;
  }

  mutable std::mutex mutex_;
  bool is_away_ = false;
  bool is_sure_ = false;
  std::set<std::pair<std::uint64_t, std::string>> listeners_;
  Numbers comings_;
  Numbers goings_;
  devkit::bus::Watch watch_;  ///< last: its thread uses the others
};

/// Clients, a server, and pushes that are numbered for each application.
class CampaignScene : public kit_test::AppScene {
 protected:
  static constexpr const char* server_listener = "push_register";
  static constexpr const char* client_listener = "push_client";

  Client& add_client(const std::vector<std::string>& parts,
                     Client::Commands commands = Client::Commands::complete) {
    clients.push_back(std::make_unique<Client>(kit, parts, commands));
    return *clients.back();
  }

  json event_for(const std::string& app) { return push_for(app, "event", event_numbers[app]++); }
  json command_for(const std::string& app) {
    return push_for(app, "command", command_numbers[app]++);
  }
  /// So many of each kind for every application; none of those that start with "events" takes
  /// commands.
  json pushes_for_all(int of_each) {
    json pushes = json::array();
    for (int i = 0; i < of_each; ++i) {
      for (const std::string& name : all_names()) {
        pushes.push_back(event_for(name));
        if (!name.starts_with("events")) pushes.push_back(command_for(name));
      }
    }
    return pushes;
  }
  /// Sends them, and sees all through.
  void expect_all_goes(const json& pushes) {
    push(pushes);
    for (const auto& client : clients) expect_all_arrived(*client);
    EXPECT_TRUE(all_commands_become_complete()) << json(incomplete_commands());
  }
  /// One whose callback stays.
  json hold_for(const std::string& app, const char* kind) {
    json push = push_for(app, kind, holds++);
    push["name"] = hold;
    if (push["kind"] == "command") push["command_id"] = app + "/hold" + std::to_string(holds);
    return push;
  }
  /// Each must find a stream.
  void push(const json& pushes) {
    if (pushes.empty()) return;
    for (const json& result : admin().push(pushes)) ASSERT_EQ(result.at("streams"), 1) << result;
  }

  std::vector<std::string> all_names() const {
    std::vector<std::string> names;
    for (const auto& client : clients)
      names.insert(names.end(), client->names().begin(), client->names().end());
    return names;
  }
  bool all_are_registered(const devkit::WatchedProcess& server) const {
    return until([&] { return unregistered(server).empty(); });
  }
  /// The applications whose pushes the server doesn't get from the cloud.
  std::vector<std::string> unregistered(const devkit::WatchedProcess& server) const {
    std::vector<std::string> names = all_names();
    for (const json& stream : admin().streams()) {
      if (stream.at("process") != server.id() || stream.at("connected") != true) continue;
      for (const json& known : stream.at("registrations")) std::erase(names, known.at("app_id"));
    }
    return names;
  }
  /// All events that were numbered for the application.
  bool gets_all_events(Client& client, const std::string& app) {
    return until([&] { return client.count(app, "events") >= event_numbers[app]; });
  }
  bool gets_all_commands(Client& client, const std::string& app) {
    return until([&] { return client.count(app, "commands") >= command_numbers[app]; });
  }
  /// Every command is complete in the cloud's table.
  bool all_commands_become_complete() const {
    return until([&] { return incomplete_commands().empty(); });
  }
  std::vector<std::string> incomplete_commands() const {
    std::vector<std::string> ids;
    for (const json& one : cloud_commands()) {
      if (one.at("completions") == 0) ids.push_back(one.at("command_id"));
    }
    return ids;
  }
  json cloud_commands() const { return admin().commands(); }

  /// Each of the client's applications gets what was sent to it, and nothing that it wasn't sent.
  void expect_all_arrived(Client& client) {
    for (const std::string& name : client.names()) {
      EXPECT_TRUE(gets_all_events(client, name)) << name << " " << client.tally(name);
      EXPECT_TRUE(gets_all_commands(client, name)) << name << " " << client.tally(name);
      expect_nothing_strange(client, name);
    }
  }
  void expect_nothing_strange(Client& client, const std::string& name) {
    const json tally = client.tally(name);
    EXPECT_LE(tally.at("events").at("distinct"), event_numbers[name]) << name;
    EXPECT_LE(tally.at("commands").at("distinct"), command_numbers[name]) << name;
    EXPECT_EQ(tally.at("strange"), 0) << name;
  }

  std::vector<std::unique_ptr<Client>> clients;
  std::map<std::string, std::size_t> event_numbers;  ///< the next one, for each application
  std::map<std::string, std::size_t> command_numbers;
  std::size_t holds = 0;

 private:
  static json push_for(const std::string& app, const char* kind, std::size_t number) {
    json push = {{"kind", kind},
                 {"app_id", app},
                 {"device_id", device},
                 {"name", "numbered"},
                 {"params", {{"for", app}, {"n", number}}}};
    if (push["kind"] == "command") push["command_id"] = app + "/" + std::to_string(number);
    return push;
  }
};

/// With "play" one of the processes that the tests start; else the tests.
inline int run(int count, char** values) {
  const std::vector<std::string> arguments = devkit::os::arguments(count, values);
  if (arguments.size() > 2 && arguments[0] == "play") {
    try {
      return play({arguments.begin() + 1, arguments.end()});
    } catch (const std::exception& error) {
      std::cerr << error.what() << std::endl;
      return 1;
    }
  }
  testing::InitGoogleTest(&count, values);
  return RUN_ALL_TESTS();
}

}  // namespace campaign
