#include "_base/win_error.h"
#include "devkit/common/text.h"
#include "devkit/splicectl/circuits.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/module_folder.h"
#include "devkit/splicectl/telemetry.h"
#include "devkit/splicectl/tour_chapters.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr const char* service = "time";
constexpr const char* other_service = "settings";
constexpr int http_unavailable = 503;

/// What the cloud comes up with: the same but for the breaks, which now end.
constexpr const char* cloud_config =
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":1,"max":1},{"min":1,"max":2}],)"
    R"("reset_threshold":30},"services":["time","settings"]})";

bool is_refused(const Outcome& outcome) {
  return outcome.error_type == 1 && outcome.code == win_error::access_denied;
}
bool succeeded(const Outcome& outcome) {
  return outcome.is_ok() && outcome.server_error == 0;
}

service_info circuit_of(const std::string& name) {
  const GuardianFiles files = read_guardian_files();
  const services_map circuits = files.circuits.value_or(services_map());
  const auto found = circuits.find(name);
  return found == circuits.end() ? service_info() : found->second;
}
bool is_in(const std::string& name, circuit_state state) {
  return circuit_of(name).state == state;
}

void show_circuits(TourStage& stage) {
  std::string text = circuits_text(read_guardian_files(), "", TourStage::indent);
  text.pop_back();
  stage.say(text);
}

Outcome ask(TourStage& stage, const std::string& name) {
  Outcome outcome = stage.ask(name, "get");
  const std::string road = stage.new_requests().empty() ? "nothing reached the cloud: " : "sent: ";
  stage.detail("a request to " + name + ", " + road + outcome.sentence());
  return outcome;
}

void let_fail(TourStage& stage, const std::string& name) {
  stage.admin().add_fault({{"service", name}, {"kind", "http"}, {"status", http_unavailable}});
}

/// Waits for the break's end, then asks. The file has the end in whole seconds, so the module may
/// refuse for a moment longer; then it is asked again.
Outcome ask_after_the_break(TourStage& stage) {
  const bool is_over = TourStage::wait_for(
      [] { return prospect(read_guardian_files(), service, platform::now_ticks()).is_allowed; });
  stage.expect(is_over, "the break ends");
  Outcome outcome = ask(stage, service);
  TourStage::wait_for([&] {
    if (!is_refused(outcome)) return true;
    outcome = ask(stage, service);
    return false;
  });
  return outcome;
}

void show_opening(TourStage& stage) {
  stage.step("A service fails twice in a row, and its circuit opens. So does another's.");
  stage.new_requests();
  for (const char* const name : {service, other_service}) {
    let_fail(stage, name);
    for (int i = 0; i < 2; ++i)
      stage.expect(ask(stage, name).error_type == 2, "the request fails at the server");
  }
  show_circuits(stage);
  stage.expect(is_in(service, circuit_state::open) && is_in(other_service, circuit_state::open),
               "both circuits are open");

  stage.step("From now on requests to it end on this machine.");
  stage.expect(is_refused(ask(stage, service)), "the breaker refuses");
  stage.expect(succeeded(ask(stage, "connect/echo")), "other services are not concerned");
}

void show_second_process(TourStage& stage) {
  stage.step("A second process, with the same files, is refused by the same circuit.");
  const std::uint32_t blocked = circuit_of(service).blocked;
  os::Process second(os::program(),
                     {"request", "--json", "--module", path_text(stage.folder().module()),
                      "--cloud", stage.address(), "--service", service, "--method", "get"});
  stage.detail("process " + std::to_string(second.id()));
  const json told = json::parse(second.read_all(), nullptr, false);
  const int code = second.wait();
  stage.detail("it says: " + (told.is_object() ? told.value("sentence", "") : "nothing") +
               ", and ends with " + std::to_string(code));
  stage.expect(code == exit_code::request_failed && told.is_object() &&
                   told.value("/status/code"_json_pointer, 0u) == win_error::access_denied,
               "the second process is refused");
  stage.expect(stage.new_requests().empty(), "nothing reached the cloud");
  show_circuits(stage);
  stage.expect(circuit_of(service).blocked == blocked + 1, "its refusal is counted with ours");
}

void show_new_configuration(TourStage& stage) {
  stage.step(
      "The cloud sends a new configuration, with breaks of a second. That closes all circuits.");
  stage.detail("until now: " + path_text(read_guardian_config().config_path));
  replace_file(guardian_config_file(stage.folder().module()), cloud_config);
  stage.expect(TourStage::wait_for([] {
                 return is_in(service, circuit_state::closed) &&
                        is_in(other_service, circuit_state::closed);
               }),
               "all circuits are closed");
  const GuardianFiles now = read_guardian_config();
  stage.detail("from now on: " + path_text(now.config_path));
  stage.expect(now.is_from_cloud && now.config == parse_guardian_config(cloud_config),
               "the configuration is kept for later processes");
  show_circuits(stage);
  stage.admin().clear_faults();
  stage.expect(succeeded(ask(stage, service)), "the service, mended meanwhile, is asked again");
}

void show_recovery(TourStage& stage) {
  stage.step("The service fails anew. After the break a single request goes out as a probe.");
  let_fail(stage, service);
  for (int i = 0; i < 2; ++i) ask(stage, service);
  show_circuits(stage);
  stage.expect(is_in(service, circuit_state::open), "the circuit is open");
  stage.expect(ask_after_the_break(stage).error_type == 2, "the probe fails at the server");
  show_circuits(stage);
  stage.expect(is_in(service, circuit_state::open) && circuit_of(service).index == 1,
               "the circuit stays open, one rung up the ladder of breaks");

  stage.step("The service is mended. The next probe half opens the circuit.");
  stage.admin().clear_faults();
  stage.expect(succeeded(ask_after_the_break(stage)), "the probe goes through");
  show_circuits(stage);
  stage.expect(is_in(service, circuit_state::half_open), "the circuit is half open");

  stage.step("Two successes, a break before each, and the circuit is closed.");
  for (int i = 0; i < 2; ++i)
    stage.expect(succeeded(ask_after_the_break(stage)), "the request succeeded");
  show_circuits(stage);
  stage.expect(is_in(service, circuit_state::closed), "the circuit is closed");
  stage.expect(succeeded(ask(stage, service)), "requests pass again, without a break");
}

void show_telemetry(TourStage& stage) {
  stage.step("What was reported meanwhile, by the telemetry.");
  std::vector<json> reports;
  bool has_failures = false;
  bool has_counts = false;
  for (const std::string& line : EventsFile(events_file(stage.folder().module())).next_lines()) {
    const json event = json::parse(line, nullptr, false);
    stage.detail(event_text(event));
    if (member(event, "/strings/service") != service) continue;
    reports.push_back(member(event, "/strings/throttling"));
    has_failures = has_failures || member(event, "/child_lists/errors").size() == 2;
    has_counts = has_counts || member(event, "/integers/blocked_requests") > 0;
  }
  stage.expect(reports == std::vector<json>{"enabled", "disabled", "enabled", "disabled"},
               "each beginning and each end of throttling is reported once");
  stage.expect(has_failures && has_counts,
               "the reports have the failures, and how many requests were refused");
}

}  // namespace

void show_breaker(TourStage& stage) {
  show_opening(stage);
  show_second_process(stage);
  show_new_configuration(stage);
  show_recovery(stage);
  show_telemetry(stage);
}

}  // namespace devkit
