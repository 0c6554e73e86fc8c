#include "devkit/splicectl/TourCast.h"

#include <algorithm>

#include "devkit/common/text.h"
#include "devkit/splicectl/BusSightings.h"
#include "devkit/splicectl/sighting_text.h"

namespace devkit {

namespace {

using nlohmann::json;

json parsed(const std::string& line) {
  return json::parse(line, nullptr, false);
}

bool has(const std::string& line, const char* member) {
  const json object = parsed(line);
  return object.is_object() && object.contains(member);
}

}  // namespace

TourCast::TourCast(TourStage& stage) : stage_(stage) {
  os::set_environment("SPLICE_BROKER", broker_.text());
  stage_.detail("the broker is at " + broker_.text());
}

TourCast::~TourCast() {
  server_.reset();
  os::set_environment("SPLICE_BROKER", std::nullopt);
}

void TourCast::user(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"user"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  all.insert(all.end(), {"--text", "--module", path_text(stage_.folder().module())});
  os::Process process(os::program(), all);
  std::string said = process.read_all();
  while (!said.empty() && (said.back() == '\n' || said.back() == '\r')) said.pop_back();
  stage_.detail(said);
  stage_.expect(process.wait() == 0, "the file that the agent reads is written");
}

bool TourCast::start_server() {
  server_ = std::make_unique<WatchedProcess>(
      os::program(), std::vector<std::string>{"host", "serve", "--json", "--module",
                                              path_text(stage_.folder().module())});
  stage_.detail("the host is process " + std::to_string(server_->id()));
  return server_->wait_for([](const std::string& line) { return has(line, "serving"); },
                           TourStage::patience) &&
         server_->wait_for(
             [](const std::string& line) { return parsed(line).value("cloud", "") == "up"; },
             TourStage::patience);
}

void TourCast::kill_server() {
  stage_.detail("process " + std::to_string(server_->id()) + " killed");
  server_->kill();
  server_.reset();
}

TourCast::Application TourCast::start_application(const std::string& name,
                                                  const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"app", name, "--json", "--module",
                                        path_text(stage_.folder().module())};
  arguments.insert(arguments.end(), options.begin(), options.end());
  auto application = std::make_unique<WatchedProcess>(os::program(), arguments);
  stage_.detail(name + " is process " + std::to_string(application->id()));
  const bool ready = application
                         ->wait_for([](const std::string& line) { return has(line, "ready"); },
                                    TourStage::patience)
                         .has_value();
  return ready ? std::move(application) : nullptr;
}

TourCast::Asked TourCast::ask(const std::string& service, const std::string& method,
                              const std::string& message) {
  os::Process process(os::program(), {"ask", service, method, message, "--json", "--module",
                                      path_text(stage_.folder().module())});
  json answer = parsed(process.read_all());
  return {answer.is_object() ? std::move(answer) : json::object(), process.wait(), process.id()};
}

bool TourCast::show_listeners() const {
  SightingLines lines;
  bool has_server = false;
  bool has_client = false;
  for (const bus::Sighting& sighting : BusSightings(broker_.address()).listeners()) {
    stage_.detail(lines.line(sighting));
    has_server = has_server || sighting.listener.name == "push_register";
    has_client = has_client || sighting.listener.name == "push_client";
  }
  return has_server && has_client;
}

bool TourCast::has_registered(const std::vector<std::string>& names) const {
  for (const json& stream : stage_.admin().streams()) {
    if (stream.value("process", std::uint64_t{0}) != server_process()) continue;
    const json& registrations = stream.at("registrations");
    if (std::all_of(names.begin(), names.end(), [&](const std::string& name) {
          return std::any_of(registrations.begin(), registrations.end(),
                             [&](const json& one) { return one.value("app_id", "") == name; });
        })) {
      return stream.value("connected", false);
    }
  }
  return false;
}

json TourCast::command(const std::string& id) const {
  for (const json& one : stage_.admin().commands()) {
    if (one.value("command_id", "") == id) return one;
  }
  return {};
}

json TourCast::hears(const Application& application, const char* kind, const std::string& name) {
  if (!application) return {};
  const auto line = application->wait_for(
      [&](const std::string& text) {
        const json said = parsed(text);
        return said.is_object() && said.contains(kind) && said.at(kind) == name;
      },
      TourStage::patience);
  if (!line) return {};
  stage_.detail("process " + std::to_string(application->id()) + " says " + *line);
  return parsed(*line);
}

}  // namespace devkit
