#include "support/PushDayModel.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace support {

namespace {

using json = nlohmann::json;

std::string event_key(const json& line) {
  const json& params = line.at("params");
  if (params.is_object() && params.contains("day")) return params.at("day").get<std::string>();
  return line.at("event").get<std::string>();
}

/// One text of several, which sums in loops would copy again and again.
std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

std::string command_key(const json& line) {
  const std::string id = line.at("id");
  return id.empty() ? line.at("command").get<std::string>() : id;
}

}  // namespace

PushDayModel::PushDayModel(std::string product, std::string device)
    : product_(std::move(product)), device_(std::move(device)) {}

PushDayModel::Ear& PushDayModel::ear(Seat& seat, Kind kind) {
  return kind == Kind::events ? seat.events : seat.commands;
}

bool PushDayModel::is_for(const Push& push, const Seat& seat) const {
  return push.is_heard && push.app == seat.app && (push.device.empty() || push.device == device_);
}

// --- what the test does

void PushDayModel::begins(const std::string& process, const std::string& app, bool events,
                          bool commands) {
  Seat& seat = seats_[process];
  seat.app = app;
  if (events) seat.events.hearing = Hearing::unsure;
  if (commands) seat.commands.hearing = Hearing::unsure;
  seat.replays = commands;
}

void PushDayModel::ends(const std::string& process) {
  const auto found = seats_.find(process);
  forgive_lists(found->second.app);
  seats_.erase(found);
  // What it was told last may not have left it.
  for (auto& [id, sent] : commands_) {
    if (sent.teller == process) sent.owed = false;
  }
}

void PushDayModel::wants(const std::string& process, Kind kind, bool on) {
  Seat& seat = seats_.at(process);
  Ear& wished = ear(seat, kind);
  wished.hearing = Hearing::unsure;
  wished.settled = false;
  wished.owed.clear();
  if (kind == Kind::events) return;
  seat.owed_in_list.clear();
  seat.owed_again.clear();
  // What comes back to the list is not seen any more.
  seat.leaving.clear();
  if (!on) return forgive_lists(seat.app);
  seat.replays = true;
  seat.last_of_replay.reset();
  seat.owed_again = seat.held;
}

void PushDayModel::forgive_lists(const std::string& app) {
  for (auto& [process, seat] : seats_) {
    std::erase_if(seat.owed_in_list,
                  [&](const std::string& id) { return commands_.at(id).push.app == app; });
  }
}

void PushDayModel::completes(const std::string& process, const std::string& id,
                             const std::string& status) {
  Seat& seat = seats_.at(process);
  const bool held = seat.held.erase(id) != 0;
  seat.told.insert(id);
  seat.owed_in_list.erase(id);
  seat.owed_again.erase(id);

  const auto found = commands_.find(id);
  if (found == commands_.end()) return;
  Sent& sent = found->second;
  if (held && seat.replays) seat.last_of_replay = id;
  // Others may come back to the list and nobody sees it: somebody else's whenever one like him
  // begins to listen, the product's own with a listing under another name, and any while its
  // process doesn't listen.
  if (held && sent.push.app == seat.app && seat.app != product_ &&
      seat.commands.hearing == Hearing::on) {
    seat.leaving.insert(id);
  }
  // Of somebody else's command the cloud hears nothing.
  if (sent.push.app != seat.app && sent.push.app != product_) return;
  // The server has it under the name under which it came.
  sent.owed = sent.owed ||
              (sent.tellings == 0 && held && settled_ && seat.commands.settled &&
               seat.brought.count(id) != 0 && sent.push.app == seat.app && sent.server == server_);
  if (sent.tellings++ == 0) sent.teller = process;
  sent.statuses.insert(status);
}

void PushDayModel::asks_for_list(const std::string& process) {
  Seat& seat = seats_.at(process);
  seat.held_when_asked = seat.held;
  seat.leaving_when_asked = seat.leaving;
  seat.last_when_asked = seat.last_of_replay;
}

void PushDayModel::pushes(const Push& push) {
  Sends& sends = push.is_command ? commands_ : events_;
  const auto [place, is_new] = sends.try_emplace(push.key, Sent{push});
  if (!is_new) {
    ++place->second.times;
    for (auto& [process, seat] : seats_) seat.leaving.erase(push.key);
  }
  // A repeated one is as old as the first: the server may have it from then.
  if (is_new) place->second.server = server_;
  if (!push.is_command) unacknowledged_.insert(push.key);
  if (!settled_) return;

  bool is_forwarded = false;
  for (auto& [process, seat] : seats_) {
    Ear& its = push.is_command ? seat.commands : seat.events;
    if (!its.settled || !is_for(push, seat)) continue;
    // What came already isn't owed once more, though it may come.
    if (!is_new) continue;
    its.owed.insert(push.key);
    is_forwarded = true;
    ++counts_[push.is_command ? "commands owed" : "events owed"];
  }
  if (!is_forwarded || !push.is_command || !push.has_id) return;
  for (auto& [process, seat] : seats_) {
    if (seat.commands.settled && seat.told.count(push.key) == 0) seat.owed_in_list.insert(push.key);
  }
}

void PushDayModel::kills_broker() {
  for (const std::string& key : unacknowledged_) ++events_.at(key).repeats;
  unsettles();
}

void PushDayModel::starts_server() {
  ++server_;
  unsettles();
}

void PushDayModel::unsettles() {
  settled_ = false;
  for (auto& [process, seat] : seats_) {
    for (Ear* const its : {&seat.events, &seat.commands}) {
      its->settled = false;
      counts_["owed and forgiven"] += its->owed.size();
      its->owed.clear();
    }
    seat.owed_in_list.clear();
  }
  for (auto& [id, sent] : commands_) sent.owed = false;
}

void PushDayModel::settles() {
  settled_ = true;
  unacknowledged_.clear();
  for (auto& [process, seat] : seats_) {
    for (Ear* const its : {&seat.events, &seat.commands})
      its->settled = its->hearing == Hearing::on;
  }
}

// --- what comes of it

void PushDayModel::says(const std::string& process, const json& line) {
  const auto found = seats_.find(process);
  if (found == seats_.end() || !line.is_object()) return;
  Seat& seat = found->second;
  if (line.contains("event")) {
    hears_event(process, seat, line);
  } else if (line.contains("command")) {
    hears_command(process, seat, line);
  } else if (line.contains("pending")) {
    lists(process, seat, line.at("pending"));
  } else if (line.contains("did")) {
    did(seat, line.at("did"));
  } else if (line.contains("ready")) {
    for (Ear* const its : {&seat.events, &seat.commands}) {
      if (its->hearing == Hearing::unsure) its->hearing = Hearing::on;
    }
  }
}

void PushDayModel::hears_event(const std::string& process, Seat& seat, const json& line) {
  ++counts_["events heard"];
  const std::string key = event_key(line);
  const auto found = events_.find(key);
  if (found == events_.end())
    return fault(process + " got an event that nobody sent: " + line.dump());
  Sent& sent = found->second;
  if (!is_for(sent.push, seat) || line.at("app_id") != seat.app)
    return fault(process + " got the event of somebody else: " + line.dump());
  if (seat.events.hearing == Hearing::off)
    return fault(process + " got an event without listening: " + line.dump());
  check_content(process, sent, line);
  if (line.at("device_id") != device_)
    fault(process + " got an event of another device: " + line.dump());
  const unsigned count = ++seat.events.heard[key];
  if (count > 1) ++counts_["events repeated by the bus"];
  if (count > 1 + sent.repeats) fault(process + " got an event twice: " + line.dump());
  seat.events.owed.erase(key);
}

void PushDayModel::hears_command(const std::string& process, Seat& seat, const json& line) {
  ++counts_["commands heard"];
  const std::string key = command_key(line);
  const auto found = commands_.find(key);
  if (found == commands_.end())
    return fault(process + " got a command that nobody sent: " + line.dump());
  Sent& sent = found->second;
  const std::string app = line.at("app_id");
  const bool is_listed = sent.push.app == product_ && app != product_;
  if (!sent.push.is_heard || (sent.push.app != app && !is_listed))
    return fault(process + " got a command in a wrong name: " + line.dump());
  if (is_listed) ++counts_["commands of the product under another name"];
  if (app == seat.app) {
    seat.brought.insert(key);
  } else {
    ++counts_["commands of others in a replay"];
    if (!seat.replays) return fault(process + " got the command of somebody else: " + line.dump());
  }
  if (seat.commands.hearing == Hearing::off)
    return fault(process + " got a command without listening: " + line.dump());
  check_content(process, sent, line);

  if (seat.commands.heard[key]++ != 0) ++counts_["commands heard again"];
  if (sent.push.has_id && line.at("again") != (seat.commands.heard[key] > 1))
    fault(process + " is wrong about the repetition: " + line.dump());
  seat.commands.owed.erase(key);
  seat.owed_again.erase(key);
  seat.leaving.erase(key);
  if (!sent.push.has_id) return;
  if (seat.told.count(key) == 0) seat.held.insert(key);
  if (line.value("completed", false)) completes(process, key, "done");
}

void PushDayModel::check_content(const std::string& process, const Sent& sent, const json& line) {
  const json& name = line.at(sent.push.is_command ? "command" : "event");
  if (name != sent.push.name || line.at("params") != sent.push.params)
    fault(process + " got something else than was sent: " + line.dump() + " instead of " +
          sent.push.name + " " + sent.push.params.dump());
}

void PushDayModel::lists(const std::string& process, Seat& seat, const json& ids) {
  ++counts_["lists seen"];
  ++seat.lists;
  std::set<std::string> listed;
  for (const json& one : ids) {
    const std::string id = one;
    if (!listed.insert(id).second) fault(joined({process, " holds a command twice: ", id}));
    if (!id.empty() && commands_.count(id) == 0)
      fault(joined({process, " holds a command that nobody sent: ", id}));
  }
  for (const std::string& id : seat.held_when_asked) {
    if (listed.count(id) == 0 && seat.held.count(id) != 0)
      fault(joined({process, " has lost a command from its list: ", id}));
  }
  for (const std::string& id : listed) {
    seat.owed_in_list.erase(id);
    if (!id.empty() && seat.told.count(id) == 0) seat.held.insert(id);
  }
  std::erase_if(seat.leaving, [&](const std::string& id) {
    return seat.leaving_when_asked.count(id) != 0 && listed.count(id) == 0;
  });
  if (seat.last_of_replay && seat.last_when_asked == seat.last_of_replay &&
      listed.count(*seat.last_of_replay) == 0) {
    seat.replays = false;
    seat.last_of_replay.reset();
    for (const std::string& id : seat.owed_again)
      fault(joined({process, " wasn't shown a command that it holds: ", id}));
    seat.owed_again.clear();
  }
}

void PushDayModel::did(Seat& seat, const std::string& what) {
  for (const auto& [its, name] :
       {std::pair{&seat.events, "events"}, {&seat.commands, "commands"}}) {
    if (what == std::string(name) + " on") its->hearing = Hearing::on;
    if (what == std::string(name) + " off") its->hearing = Hearing::off;
  }
}

void PushDayModel::shows(const json& command_table) {
  std::set<std::string> shown;
  for (const json& row : command_table) {
    const std::string id = row.at("command_id");
    shown.insert(id);
    const auto found = commands_.find(id);
    if (found == commands_.end()) {
      fault("the cloud knows a command that nobody sent: " + row.dump());
      continue;
    }
    Sent& sent = found->second;
    sent.completions = row.at("completions");
    if (sent.completions == 0) continue;
    sent.owed = false;
    if (sent.completions > sent.tellings)
      fault("a command was completed more often than said: " + row.dump());
    if (sent.push.app != product_ && sent.completions > sent.times)
      fault("a command was completed more often than sent: " + row.dump());
    if (sent.statuses.count(row.at("status")) == 0)
      fault("a command was completed in words that nobody said: " + row.dump());
    if (row.at("by_app_id") != product_ || row.at("by_device_id") != device_)
      fault("a command was completed in a wrong name: " + row.dump());
  }
  for (const auto& [key, sent] : commands_) {
    if (sent.push.has_id && sent.push.is_heard && shown.count(key) == 0)
      fault("the cloud has forgotten the command " + key);
  }
}

// --- what there is to know

bool PushDayModel::has_heard(const std::string& process, const std::string& key) const {
  const auto found = seats_.find(process);
  return found != seats_.end() && (found->second.events.heard.count(key) != 0 ||
                                   found->second.commands.heard.count(key) != 0);
}

bool PushDayModel::is_ready(const std::string& process) const {
  const Seat& seat = seats_.at(process);
  return seat.events.hearing != Hearing::unsure && seat.commands.hearing != Hearing::unsure;
}

bool PushDayModel::has_replayed(const std::string& process) const {
  return !seats_.at(process).replays;
}

bool PushDayModel::is_completed(const std::string& id) const {
  return commands_.at(id).completions != 0;
}

std::uint64_t PushDayModel::lists_seen(const std::string& process) const {
  return seats_.at(process).lists;
}

std::vector<std::string> PushDayModel::held(const std::string& process) const {
  const Seat& seat = seats_.at(process);
  return {seat.held.begin(), seat.held.end()};
}

bool PushDayModel::is_owed_in_list(const std::string& process) const {
  const Seat& seat = seats_.at(process);
  return !seat.owed_in_list.empty() || !seat.leaving.empty();
}

bool PushDayModel::is_owed_in_table() const {
  return std::any_of(commands_.begin(), commands_.end(),
                     [](const auto& entry) { return entry.second.owed; });
}

std::vector<std::string> PushDayModel::owed() const {
  std::vector<std::string> words;
  for (const auto& [process, seat] : seats_) {
    const auto tell = [&, &name = process](const char* what, const std::set<std::string>& keys) {
      for (const std::string& key : keys) words.push_back(joined({name, what, key}));
    };
    tell(" hasn't got the event ", seat.events.owed);
    tell(" hasn't got the command ", seat.commands.owed);
    tell(" doesn't hold the command ", seat.owed_in_list);
    tell(" wasn't shown again the command ", seat.owed_again);
    tell(" still holds the completed command ", seat.leaving);
  }
  for (const auto& [id, sent] : commands_) {
    if (sent.owed) words.push_back("the cloud doesn't know that this command is done: " + id);
  }
  return words;
}

}  // namespace support
