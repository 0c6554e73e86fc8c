#pragma once

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/PushDayModel.h"
#include "system/BusLedger.h"
#include "system/Chance.h"
#include "system/UserSightings.h"
#include "system/app_scene.h"

namespace kit_test {

/// A server and its applications, as processes, with the model that is told of all that is done to
/// them and of all that they say; and the conditions in which something is owed to them.
class DayStage : public AppScene {
 protected:
  using Model = support::PushDayModel;
  using Kind = Model::Kind;
  using Topic = BusLedger::Topic;
  static constexpr const char* product = "Desktop";

  struct App {
    std::string name;
    bool completes_all;
    bool wants_events;
    bool wants_commands;
    std::string key;  ///< in the model: its name with a number
    Process process;
    std::string probe;  ///< the command whose completion shows that all before it is done

    bool runs() const { return process != nullptr; }
  };

  DayStage() {
    // The product's own comes first: it always listens, so that there is always somebody who asks
    // for listings.
    for (const auto& [name, completes_all] : {std::pair{product, false},
                                              {"notes", false},
                                              {"notes", false},
                                              {"worker", false},
                                              {"worker", true},
                                              {"mail", false}})
      apps_.push_back({name, completes_all, true, true, "", nullptr, ""});
  }

  // --- processes

  void begin_server() {
    note("server started");
    model_.starts_server();
    server_lacks_user_ = !signed_in_;
    server_ = start_server();
  }

  void kill_server() {
    note("server killed", std::to_string(server_->id()));
    model_.unsettles();
    ledger_.ends(server_->id(), true);
    server_->kill();
    const std::uint64_t process = server_->id();
    server_.reset();
    if (!wait([&] { return !ledger_.is_here(process); })) fault("the bus doesn't lose the server");
  }

  void begin(App& app) {
    app.key = app.name + "#" + std::to_string(++number_);
    // Without a wish it would hear everything anyway.
    if (!app.wants_events && !app.wants_commands) app.wants_events = app.wants_commands = true;
    note("application started", app.key + (app.wants_events ? " for events" : "") +
                                    (app.wants_commands ? " for commands" : ""));
    something_is_new_ = true;
    model_.begins(app.key, app.name, app.wants_events, app.wants_commands);
    std::vector<std::string> arguments = {"app",        app.name,
                                          "--json",     "--interactive",
                                          "--complete", app.completes_all ? "all" : "none"};
    if (app.wants_events != app.wants_commands)
      arguments.push_back(app.wants_events ? "--events" : "--commands");
    app.process = start(arguments, devkit::os::Process::Input::piped);
  }

  /// Politely, and so it takes its leave of the server; or not.
  void end(App& app, bool politely) {
    note(politely ? "application ended" : "application killed", app.key);
    something_is_new_ = true;
    ledger_.ends(app.process->id(), false);
    if (politely) {
      tell(app, "quit");
      const bool ended = wait([&] { return app.process->wait(std::chrono::milliseconds(0)); });
      if (!ended) fault(app.key + " doesn't end");
    } else {
      app.process->kill();
      // What it said until then counts.
      (void)app.process->wait(patience);
    }
    drain();
    model_.ends(app.key);
    const std::uint64_t process = app.process->id();
    app.process.reset();
    if (!wait([&] { return !ledger_.is_here(process); }))
      fault("the bus doesn't lose an application");
  }

  void tell(App& app, const std::string& line) {
    trail_.push_back("    " + app.key + " <- " + line);
    if (!app.process->write_line(line)) fault(app.key + " is gone by itself");
  }

  /// Tells the model what the applications have said meanwhile.
  void drain() {
    for (App& app : apps_) {
      if (!app.runs()) continue;
      while (const auto line = app.process->wait_for([](const std::string&) { return true; },
                                                     std::chrono::milliseconds(0))) {
        trail_.push_back("    " + app.key + " -> " + line->substr(0, 300));
        model_.says(app.key, json::parse(*line, nullptr, false));
      }
    }
  }

  // --- what can be sent

  Model::Push some_event(const std::string& app) {
    return chance_.event("e" + std::to_string(++number_), app, device);
  }
  Model::Push some_command(const std::string& app) {
    return chance_.command("c" + std::to_string(++number_), app, device);
  }

  void send(const std::vector<Model::Push>& pushes) {
    json request = json::array();
    for (const Model::Push& push : pushes) {
      model_.pushes(push);
      trail_.push_back("    cloud: " + push.key + " for " + push.app);
      json one = {{"kind", push.is_command ? "command" : "event"},
                  {"app_id", push.app},
                  {"device_id", push.device},
                  {"name", push.name},
                  {"params", push.params}};
      if (push.is_command) one["command_id"] = push.has_id ? push.key : "";
      request.push_back(one);
    }
    cloud.pushes().push(request);
  }

  // --- the conditions

  /// Until all that run and listen are known to be registered, by all that can be seen from
  /// outside: the bus, the cloud, and pushes that come.
  void settle() {
    if (model_.is_settled() && !something_is_new_) return;
    note("settled");
    if (!server_) begin_server();
    if (!apps_[0].runs()) begin(apps_[0]);
    if (!signed_in_) sign_in_anew();
    // By its design a client that was refused, or not answered in time, waits for the next server.
    if (server_lacks_user_) replace_server("server replaced: it had no user");
    bool known = wait([&] { return is_all_registered() || has_somebody_given_up(); });
    if (known && !is_all_registered()) {
      replace_server("server replaced: somebody had given up");
      known = wait([&] { return is_all_registered(); });
    }
    if (!known)
      return fault("not all get registered: " +
                   those_that([&](const App& app) { return !is_registered(app); }));
    if (!wait([&] { return does_cloud_know_all(); }, std::chrono::seconds(3)))
      wake_the_overlooked();
    if (!wait([&] { return does_cloud_know_all(); }))
      return fault("the cloud isn't told of all registrations: " +
                   those_that([&](const App& app) { return !is_known_to_cloud(app); }) +
                   admin().streams().dump());
    if (!wait([&] { return user_sightings_.is_latest(cloud, token_); }))
      return fault("the cloud isn't told of the user " + token_);
    // Twice: what the bus had told an application before the first came in can't be in between any
    // more when the second does.
    for (int round = 0; round < 2; ++round) {
      if (!probe()) return;
    }
    if (!complete_probes()) return;
    something_is_new_ = false;
    model_.settles();
  }

  void flush() {
    const bool done = wait([&] {
      if (model_.is_owed_in_table()) look_at_table();
      for (App& app : apps_) {
        if (app.runs() && model_.is_owed_in_list(app.key)) ask_for_list(app);
      }
      return model_.owed().empty();
    });
    if (done) return;
    for (const std::string& words : model_.owed()) fault(words);
  }

  /// Unless an answer is still due.
  void ask_for_list(App& app) {
    std::uint64_t& asked = lists_asked_[app.key];
    if (asked > model_.lists_seen(app.key)) return;
    ++asked;
    model_.asks_for_list(app.key);
    tell(app, "pending");
  }

  /// What the cloud's table says, as soon as it is known what led to it: who completes by himself
  /// says so before, but may be heard after.
  void look_at_table() {
    const json table = cloud.pushes().commands().all();
    for (App& app : apps_) {
      if (!app.runs() || !app.completes_all) continue;
      const auto has_answered = [&] { return model_.lists_seen(app.key) == lists_asked_[app.key]; };
      const bool was_free = wait(has_answered);
      ask_for_list(app);
      if (!was_free || !wait(has_answered)) return fault(app.key + " doesn't answer");
    }
    model_.shows(table);
  }

  void sign_in_anew() {
    // Never the one before: that would be no change, and nobody would be told.
    token_ = "token-" + std::to_string(++number_);
    note("user signed in", token_);
    model_.unsettles();
    sign_in(token_);
    signed_in_ = true;
  }

  template <class Condition>
  bool wait(Condition condition, std::chrono::seconds limit = patience) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
      drain();
      if (!model_.faults().empty()) return true;  // all is over anyway
      if (condition()) return true;
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
  }

  void note(const std::string& action, const std::string& detail = {}) {
    ++actions_[action];
    trail_.push_back(action + (detail.empty() ? "" : " " + detail));
  }
  void fault(const std::string& text) { faults_.push_back(text); }
  bool is_good() const { return model_.faults().empty() && faults_.empty(); }

  Chance chance_;
  Model model_{product, device};
  BusLedger ledger_{broker.address()};
  std::vector<App> apps_;
  Process server_;
  std::string token_ = "token-1";
  bool signed_in_ = true;
  bool something_is_new_ = true;  ///< since it was settled last, a process came, went or turned
  unsigned number_ = 1;
  std::map<std::string, std::uint64_t> actions_;
  std::vector<std::string> trail_;
  std::vector<std::string> faults_;

 private:
  bool is_registered(const App& app) const {
    if (!app.runs()) return true;
    if (!model_.is_ready(app.key)) return false;
    const auto is_known = [&](const std::string& name, Topic topic) {
      return ledger_.has_registered(app.process->id(), name, topic);
    };
    for (const auto& [wants, topic] :
         {std::pair{app.wants_events, Topic::events}, {app.wants_commands, Topic::commands}}) {
      if (wants && !(is_known(product, topic) && is_known(app.name, topic))) return false;
    }
    return true;
  }
  bool is_all_registered() const {
    return ledger_.is_watching() && std::all_of(apps_.begin(), apps_.end(),
                                                [&](const App& app) { return is_registered(app); });
  }
  bool has_somebody_given_up() const {
    return std::any_of(apps_.begin(), apps_.end(), [&](const App& app) {
      return app.runs() && !is_registered(app) && ledger_.has_given_up(app.process->id());
    });
  }
  template <class Condition>
  std::string those_that(Condition condition) const {
    std::string names;
    for (const App& app : apps_) {
      if (condition(app)) names += app.key + " ";
    }
    return names;
  }
  void replace_server(const char* why) {
    note(why);
    kill_server();
    begin_server();
  }

  /// Those that listen, and that the cloud has on a stream of this server.
  bool is_known_to_cloud(const App& app) const {
    if (!app.runs() || !(app.wants_events || app.wants_commands)) return true;
    for (const json& stream : admin().streams()) {
      if (stream.at("process") != server_->id() || stream.at("connected") != true) continue;
      for (const json& one : stream.at("registrations")) {
        if (one.at("app_id") == app.name) return true;
      }
    }
    return false;
  }
  bool does_cloud_know_all() const {
    return std::all_of(apps_.begin(), apps_.end(),
                       [&](const App& app) { return is_known_to_cloud(app); });
  }

  /// An application that listens for commands alone, and did before the server found the cloud, is
  /// passed over by the server's design as long as another one listens for events. It is known as
  /// soon as it listens for events as well.
  void wake_the_overlooked() {
    for (App& app : apps_) {
      if (is_known_to_cloud(app) || app.wants_events) continue;
      note("commands-only application was overlooked", app.key);
      app.wants_events = true;
      model_.wants(app.key, Kind::events, true);
      ledger_.forget(app.process->id(), app.name, Topic::events);
      tell(app, "events on");
    }
    if (!wait([&] { return is_all_registered(); })) fault("the overlooked don't get registered");
  }

  /// Pushes to all that listen, until one has come to each.
  bool probe() {
    constexpr std::chrono::milliseconds again{500};
    std::map<const App*, std::pair<bool, bool>> heard;
    std::vector<Model::Push> probes;
    auto next = std::chrono::steady_clock::now();
    const bool done = wait([&] {
      bool all = true;
      for (App& app : apps_) {
        if (!app.runs()) continue;
        auto& [event, command] = heard[&app];
        for (const Model::Push& push : probes) {
          if (!model_.has_heard(app.key, push.key)) continue;
          (push.is_command ? command : event) = true;
          if (push.is_command) app.probe = push.key;
        }
        all = all && (event || !app.wants_events) && (command || !app.wants_commands);
      }
      if (!probes.empty() && all) return true;
      if (std::chrono::steady_clock::now() < next) return false;
      next = std::chrono::steady_clock::now() + again;
      std::vector<Model::Push> more;
      for (const char* const name : {product, "notes", "worker", "mail"}) {
        more.push_back(some_event(name));
        more.push_back(some_command(name));
        more.back().name = "probe";
      }
      send(more);
      probes.insert(probes.end(), more.begin(), more.end());
      return false;
    });
    if (!done) fault("not all get the pushes that look for them");
    return done;
  }

  /// A completion goes the way of a replay, and so shows its end; and in the cloud's table it shows
  /// that the user is known to the server.
  bool complete_probes() {
    constexpr std::chrono::milliseconds again{500};
    std::map<App*, std::chrono::steady_clock::time_point> next;
    const bool done = wait([&] {
      bool all = true;
      const auto now = std::chrono::steady_clock::now();
      for (App& app : apps_) {
        if (!app.runs() || !app.wants_commands) continue;
        // Now and then once more: what comes again meanwhile is in the list again.
        if (now >= next[&app]) {
          next[&app] = now + again;
          const std::string status = "probed-by-" + app.key;
          model_.completes(app.key, app.probe, status);
          tell(app, "complete " + app.probe + " " + status);
        }
        if (!model_.has_replayed(app.key)) ask_for_list(app);
        all = all && model_.has_replayed(app.key) && model_.is_completed(app.probe);
      }
      if (!all) look_at_table();
      return all;
    });
    if (!done) fault("a probe's completion doesn't come through");
    return done;
  }

  bool server_lacks_user_ = false;  ///< it started without one, and has refused everybody
  UserSightings user_sightings_;
  std::map<std::string, std::uint64_t> lists_asked_;
};

}  // namespace kit_test
