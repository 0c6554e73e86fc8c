#include "devkit/splicectl/tour_pushes.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr const char* device = "device-1";
/// The product's own application: the one whose missed commands the cloud lists.
constexpr const char* product = "Desktop";
constexpr const char* notes = "notes";

void show_line(TourStage& stage, const json& command) {
  stage.detail("the cloud's table: " + command.value("name", "?") + " for " +
               command.value("app_id", "?") + ", " +
               (command.value("completions", 0) == 0
                    ? "waits"
                    : "completed with \"" + command.value("status", "") + "\" by " +
                          command.value("by_app_id", "?") + " on " +
                          command.value("by_device_id", "?")));
}

/// Waits until the cloud knows that the command is done.
bool is_completed(TourStage& stage, const TourCast& cast, const std::string& id) {
  const bool done =
      TourStage::wait_for([&] { return cast.command(id).value("completions", 0) > 0; });
  show_line(stage, cast.command(id));
  return done;
}

/// Among what reached the cloud since the last look.
bool has_asked_for(TourStage& stage, const char* method) {
  bool found = false;
  for (const json& request : stage.new_requests()) {
    const json body = json::parse(request.value("body", ""), nullptr, false);
    found = found || (request.value("service", "") == "connect/commands" && body.is_object() &&
                      body.value("method", "") == method);
  }
  return found;
}

/// What the cloud was told of who asks, by the latest request with a user.
std::string latest_token(TourStage& stage) {
  std::string token;
  for (const json& request : stage.new_requests()) {
    const json body = json::parse(request.value("body", ""), nullptr, false);
    if (!body.is_object()) continue;
    const std::string said = body.value("/params/connect_source/user_token"_json_pointer, "");
    if (!said.empty()) token = said;
  }
  return token;
}

/// An event goes out and reaches the application.
void push_event(TourStage& stage, TourCast& cast, const TourCast::Application& application,
                const std::string& text) {
  const std::size_t streams =
      stage.admin().push_event({notes, device}, "greeting", {{"text", text}});
  stage.detail("the cloud sends \"greeting\" to " + std::string(notes) + ", down " +
               std::to_string(streams) + " stream");
  const json heard = cast.hears(application, "event", "greeting");
  stage.expect(heard.is_object() && heard.value("/params/text"_json_pointer, "") == text &&
                   heard.value("app_id", "") == notes,
               "the application got the event");
}

/// A command goes out, reaches the application and is completed by it.
void push_command(TourStage& stage, TourCast& cast, const TourCast::Application& application,
                  const std::string& name) {
  const std::string id = stage.admin().push_command({product, device}, name, {{"deep", true}});
  stage.detail("the cloud sends \"" + name + "\" to " + product + ", command " + id);
  const json heard = cast.hears(application, "command", name);
  stage.expect(heard.is_object() && heard.value("id", "") == id, "the application got the command");
  stage.expect(is_completed(stage, cast, id), "the cloud knows that it is done");
}

}  // namespace

void show_cast(TourStage& stage, TourCast& cast, Players& players) {
  cast.user({"sign-in", "token-1", "--device", device});
  stage.expect(cast.start_server(), "the host serves with the module's four plug-ins");
  players.notes = cast.start_application(notes, {"--events"});
  stage.expect(players.notes != nullptr, "the application is ready");
  stage.expect(TourStage::wait_for([&] {
                 return cast.has_registered({notes, product});
               }),
               "the host has registered it in the cloud");
  stage.expect(cast.show_listeners(), "both have told the bus what they listen for");
}

void show_event(TourStage& stage, TourCast& cast, Players& players) {
  stage.step("A push event: from the cloud to the host, over the bus to the application.");
  push_event(stage, cast, players.notes, "hello");
}

void show_missed_command(TourStage& stage, TourCast& cast, Players& players) {
  stage.step("A command for an application that is away.");
  const std::string id = stage.admin().push_command({product, device}, "scan", {{"deep", false}});
  stage.detail("the cloud sends \"scan\" to " + std::string(product) + ", command " + id);
  stage.expect(cast.command(id).value("completions", 1) == 0, "nobody has completed it");
  stage.new_requests();

  players.product = cast.start_application(product, {"--commands", "--complete", "all"});
  stage.expect(players.product != nullptr, "the application comes");
  const json heard = cast.hears(players.product, "command", "scan");
  stage.expect(heard.is_object() && heard.value("id", "") == id, "it gets what it missed");
  stage.expect(TourStage::wait_for([&] { return has_asked_for(stage, "list"); }),
               "the host had the cloud list the missed commands");
  stage.expect(is_completed(stage, cast, id), "the cloud knows that it is done");
}

void show_command(TourStage& stage, TourCast& cast, Players& players) {
  stage.step("A command for an application that is there.");
  push_command(stage, cast, players.product, "update");
}

void show_killed_host(TourStage& stage, TourCast& cast, Players& players) {
  stage.step("The host is killed, and started again.");
  const std::uint64_t before = cast.server_process();
  cast.kill_server();
  stage.expect(TourStage::wait_for([&] { return stage.admin().streams().empty(); }),
               "the cloud has nobody left to send pushes to");
  stage.expect(cast.start_server() && cast.server_process() != before, "another host serves");
  stage.expect(TourStage::wait_for([&] {
                 return cast.has_registered({notes, product});
               }),
               "both applications are registered again, by themselves");
  push_event(stage, cast, players.notes, "hello again");
  push_command(stage, cast, players.product, "clean");
}

void show_changed_user(TourStage& stage, TourCast& cast) {
  stage.step("Another user takes over while all of them run.");
  stage.new_requests();
  cast.user({"change", "token-2"});
  std::string token;
  const bool followed = TourStage::wait_for([&] {
    const std::string said = latest_token(stage);
    if (!said.empty()) token = said;
    return token == "token-2";
  });
  stage.expect(followed, "the host speaks to the cloud in the name of " + token);
}

void show_request_over_bus(TourStage& stage, TourCast& cast) {
  stage.step("A request over the bus, from a process without the cloud client.");
  TourCast::Asked asked = cast.ask("connect/echo", "greet", R"({"name":"world"})");
  stage.detail("process " + std::to_string(asked.process) + " got " + asked.answer.dump());
  stage.expect(asked.code == 0 && asked.answer.value("err", 1) == 0 &&
                   asked.answer.value("/reply/params/name"_json_pointer, "") == "world",
               "the cloud's answer came back");
  stage.expect(
      asked.answer.value("/reply/params/connect_source/user_token"_json_pointer, "") == "token-2",
      "it went out in the name of the user whom the host knows");

  stage.detail("and when nobody is signed in:");
  cast.user({"sign-out"});
  // The agent tells of it in a moment; until then requests go on as before.
  const bool refused = TourStage::wait_for([&] {
    asked = cast.ask("connect/echo", "greet", "{}");
    return asked.answer.value("err", 0) == 232;
  });
  stage.detail("process " + std::to_string(asked.process) + " got " + asked.answer.dump());
  stage.expect(refused && asked.answer.value("error_type", json()) == 1,
               "the identity is missing, says the host");
}

}  // namespace devkit
