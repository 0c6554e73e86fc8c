// A day in one minute: a server, six applications, a broker and a cloud, to which everything that
// can happen does happen, by chance. What comes of it is held against a model of who must have got
// what, who may have, and who must not (tests/support/PushDayModel.h).
//
// It takes a few seconds, or as many as SPLICE_SECONDS says; SPLICE_SEED repeats the choices, if
// not their timing. A failure leaves the whole record of the day in a file.

#include <fstream>
#include <iostream>

#include "system/DayStage.h"

namespace kit_test {

namespace {

using devkit::os::environment;

class Day : public DayStage {
 protected:
  void play(std::chrono::seconds length) {
    begin_server();
    for (App& app : apps_) begin(app);
    settle();
    const auto end = std::chrono::steady_clock::now() + length;
    while (std::chrono::steady_clock::now() < end && is_good()) {
      step();
      drain();
      // Not at once: what happens in unsettled times is worth seeing, too.
      if (chance_.happens(model_.is_settled() ? 5 : 20)) settle();
    }
    if (is_good()) settle();
    if (is_good()) flush();
    if (is_good()) look_at_table();
  }

  std::vector<std::string> all_faults() const {
    std::vector<std::string> all = model_.faults();
    all.insert(all.end(), faults_.begin(), faults_.end());
    return all;
  }

  void report(std::ostream& out) const {
    for (const auto& [what, count] : actions_) out << "  " << count << " x " << what << "\n";
    out << "  and of that came:\n";
    for (const auto& [what, count] : model_.counts()) out << "  " << count << " x " << what << "\n";
  }

 private:
  void step() {
    using Action = void (Day::*)();
    // In a hundred of them so many of each.
    static const std::vector<std::pair<int, Action>> chances = {
        {20, &Day::push_event},     {14, &Day::push_command},  {10, &Day::push_burst},
        {6, &Day::push_to_others},  {4, &Day::push_nonsense},  {3, &Day::push_command_again},
        {3, &Day::push_without_id}, {14, &Day::complete_one},  {4, &Day::complete_twice},
        {3, &Day::tidy_up},         {5, &Day::turn_something}, {3, &Day::ask_somebody},
        {2, &Day::read_table},      {2, &Day::end_some_app},   {3, &Day::begin_missing_app},
        {1, &Day::end_server},      {1, &Day::restart_broker}, {1, &Day::break_streams},
        {1, &Day::change_user}};
    int chance = chance_.below(100);
    for (const auto& [share, action] : chances) {
      chance -= share;
      if (chance < 0) return (this->*action)();
    }
  }

  std::string some_name() {
    static const std::vector<std::string> names = {product, "notes", "worker", "mail"};
    return chance_.one_of(names);
  }
  App* some_app() {
    App& app = chance_.one_of(apps_);
    return app.runs() && model_.is_ready(app.key) ? &app : nullptr;
  }
  void remember(const Model::Push& command) {
    constexpr std::size_t most = 60;
    recent_.push_back(command);
    if (recent_.size() > most) recent_.erase(recent_.begin());
  }

  // --- pushes

  void push_event() {
    note("event pushed");
    send({some_event(some_name())});
  }

  void push_command() {
    note("command pushed");
    const Model::Push push = some_command(some_name());
    remember(push);
    send({push});
  }

  void push_burst() {
    note("burst pushed");
    std::vector<Model::Push> pushes;
    for (int i = 10 + chance_.below(60); i > 0; --i) {
      pushes.push_back(chance_.happens(15) ? some_command(some_name()) : some_event(some_name()));
      if (pushes.back().is_command) remember(pushes.back());
    }
    actions_["pushes in bursts"] += pushes.size();
    send(pushes);
  }

  /// For an application that nobody is, or another device, or without a target.
  void push_to_others() {
    note("push for others");
    static const std::vector<std::pair<std::string, std::string>> others = {
        {"nobody", device},     {"Notes", device}, {"note", device}, {"notes", "device-2"},
        {"worker", "device-2"}, {"", device},      {"", ""}};
    const auto& [app, whose] = chance_.one_of(others);
    Model::Push push = chance_.happens(50) ? some_command(app) : some_event(app);
    push.device = whose;
    push.is_heard = !app.empty();
    send({push});
  }

  /// What makes no sense is dropped.
  void push_nonsense() {
    note("nonsense pushed");
    const std::string app = some_name();
    Model::Push push = chance_.happens(50) ? some_command(app) : some_event(app);
    push.is_heard = false;
    model_.pushes(push);
    const json target = {{"app_id", app}, {"device_id", device}};
    const json params = {{"day", push.key}, {"command", "scan"}, {"command_id", push.key}};
    const std::string event = push.is_command ? "command" : "greeting";
    const std::vector<std::string> texts = {
        "",
        "{",
        "null",
        "[" + params.dump() + "]",
        "\"text\"",
        std::string(5000, '['),
        json({{"connect_target", target}, {"event", event}, {"event_params", params}}).dump(),
        json({{"app_fields", {{"connect_target", target}, {"event", event}}}}).dump(),
        json({{"app_fields", {{"event", event}, {"event_params", params}}}}).dump(),
        json({{"app_fields",
               {{"connect_target", json::object()}, {"event", event}, {"event_params", params}}}})
            .dump(),
        "{\"app_fields\":{\"connect_target\":" + target.dump() + ",\"event\":\"\xFF\xFE\"," +
            "\"event_params\":" + params.dump() + "}}"};
    cloud.pushes().push_text({app, device}, chance_.one_of(texts));
  }

  void push_command_again() {
    if (recent_.empty()) return;
    note("command pushed again");
    send({chance_.one_of(recent_)});
  }

  void push_without_id() {
    note("command without identifier pushed");
    Model::Push push = some_command(some_name());
    push.has_id = false;
    push.name = push.key;
    send({push});
  }

  // --- applications

  void complete(App& app, const std::string& id) {
    const std::string status = "by-" + app.key + "-" + std::to_string(++number_);
    model_.completes(app.key, id, status);
    tell(app, "complete " + id + " " + status);
  }

  void complete_one() {
    App* const app = some_app();
    if (app == nullptr || recent_.empty()) return;
    // What it may not have, or what is somebody else's, too.
    const Model::Push& command = chance_.one_of(recent_);
    if (command.app != app->name && chance_.happens(70)) return;
    note(command.app == app->name ? "completion" : "completion of somebody else's");
    complete(*app, command.key);
  }

  /// By all processes of one application.
  void complete_twice() {
    if (recent_.empty()) return;
    const std::string id = chance_.one_of(recent_).key;
    const std::string name = chance_.one_of(recent_).app;
    note("completion by all of an application");
    for (App& app : apps_) {
      if (app.runs() && app.name == name) complete(app, id);
    }
  }

  /// So that the lists don't grow and grow.
  void tidy_up() {
    App* const app = some_app();
    if (app == nullptr) return;
    note("list tidied up");
    for (const std::string& id : model_.held(app->key)) {
      if (chance_.happens(70)) complete(*app, id);
    }
  }

  void turn_something() {
    App* const app = some_app();
    // Who leaves and who comes of one name at the same time may meet at the server in the wrong
    // order, and it has no remedy for that. Where there's no server there's nobody to meet.
    const bool is_quiet = model_.is_settled() && !something_is_new_;
    if (app == nullptr || app->name == product || (server_ && !is_quiet)) return;
    const bool events = chance_.happens(50);
    bool& wants = events ? app->wants_events : app->wants_commands;
    const std::string line = std::string(events ? "events" : "commands") + (wants ? " off" : " on");
    if (wants && !server_) model_.unsettles();
    if (wants && chance_.happens(70)) flush();
    note(line);
    wants = !wants;
    something_is_new_ = true;
    model_.wants(app->key, events ? Kind::events : Kind::commands, wants);
    if (wants)
      ledger_.forget(app->process->id(), app->name, events ? Topic::events : Topic::commands);
    tell(*app, line);
  }

  void ask_somebody() {
    App* const app = some_app();
    if (app == nullptr) return;
    note("list asked for");
    ask_for_list(*app);
  }

  void end_some_app() {
    App* const app = some_app();
    if (app == nullptr) return;
    const bool politely = chance_.happens(30) && model_.is_settled() && !something_is_new_;
    if (chance_.happens(50)) flush();
    end(*app, politely);
    if (chance_.happens(50)) begin(*app);
  }

  void begin_missing_app() {
    for (App& app : apps_) {
      if (!app.runs()) return begin(app);
    }
  }

  // --- what unsettles everybody

  /// Mostly what is owed comes first; sometimes it is forgiven.
  void prepare_for_loss() {
    if (model_.is_settled() && chance_.happens(70)) flush();
  }

  void end_server() {
    if (!server_) return;
    prepare_for_loss();
    kill_server();
    if (chance_.happens(60)) return begin_server();
    note("time without a server");
    for (int i = chance_.below(20); i > 0; --i) {
      step();
      if (server_) return;
    }
    begin_server();
  }

  void restart_broker() {
    prepare_for_loss();
    // Somebody who is being registered at this moment would have to be asked whether he was.
    if (server_) settle();
    if (!is_good()) return;
    note("broker restarted");
    model_.kills_broker();
    ledger_.loses_broker();
    broker.kill();
    if (chance_.happens(50)) push_burst();
    broker.start();
    if (!wait([&] { return ledger_.is_watching(); })) fault("the bus doesn't come back");
  }

  void break_streams() {
    prepare_for_loss();
    note("streams broken");
    model_.unsettles();
    actions_["streams that broke"] += cloud.pushes().streams().break_all();
  }

  void change_user() {
    prepare_for_loss();
    if (!signed_in_ || chance_.happens(60)) return sign_in_anew();
    note("user signed out");
    model_.unsettles();
    sign_out();
    signed_in_ = false;
  }

  void read_table() {
    note("table looked at");
    look_at_table();
  }

  std::vector<Model::Push> recent_;  ///< commands
};

TEST_F(Day, BringsToEachWhatIsHisAndLosesNothingThatIsOwed) {
  const std::string seed =
      environment("SPLICE_SEED").value_or(std::to_string(std::random_device()() % 1'000'000));
  const int seconds = std::stoi(environment("SPLICE_SECONDS").value_or("5"));
  SCOPED_TRACE("SPLICE_SEED=" + seed);
  std::cout << "SPLICE_SEED=" << seed << "\n";
  chance_.seed(static_cast<std::uint32_t>(std::stoul(seed)));

  play(std::chrono::seconds(seconds));

  report(std::cout);
  for (const std::string& words : all_faults()) ADD_FAILURE() << words;
  if (is_good()) return;
  const auto path = std::filesystem::temp_directory_path() / ("day-" + seed + ".txt");
  std::ofstream record(path, std::ios::binary);
  for (const std::string& line : trail_) record << line << "\n";
  ADD_FAILURE() << "the record of the day is " << devkit::path_text(path);
}

}  // namespace

}  // namespace kit_test
