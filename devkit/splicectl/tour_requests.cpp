#include <cstdio>
#include <fstream>

#include "devkit/common/text.h"
#include "devkit/splicectl/printing.h"
#include "devkit/splicectl/tour_chapters.h"
#include "devkit/zvnc/status.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr const char* service = "connect/echo";
constexpr std::size_t file_size = 3 * 1024 * 1024;

std::filesystem::path sample_file(const std::filesystem::path& folder) {
  std::filesystem::path path = folder / "sample.bin";
  std::ofstream file(path, std::ios::binary);
  for (std::size_t i = 0; i < file_size; ++i) file.put(static_cast<char>(i * 31));
  file.close();
  if (!file)
    throw host_error("no file could be written at " + path_text(path) + "; is the disk full?");
  return path;
}

bool succeeded(const Outcome& outcome) {
  return outcome.is_ok() && outcome.server_error == 0;
}

void show_both_kinds(TourStage& stage) {
  stage.step("A connect request: the module builds the envelope and adds who is asking.");
  Outcome outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(succeeded(outcome), "the request succeeded");
  const json answer = json::parse(outcome.answer, nullptr, false);
  stage.expect(answer.is_object() && answer.value("method", "") == "greet" &&
                   answer.value("/params/connect_source/device_id"_json_pointer, "") == "device-1",
               "the echo has the method and the identity");

  stage.step("A technology request: the body goes as it stands.");
  outcome = stage.host().technology("technology/echo", R"({"any":["text",1]})", 5000);
  stage.show(outcome);
  stage.expect(outcome.is_ok() &&
                   json::parse(outcome.answer, nullptr, false) == json({{"any", {"text", 1}}}),
               "the echo is the body");
}

void show_upload(TourStage& stage) {
  stage.step("An upload, with its progress.");
  ProgressBar bar(stage.is_terminal(), TourStage::indent);
  std::uint32_t last = 0;
  std::uint32_t reports = 0;
  bool rising = true;
  bool confirmed = false;
  const Outcome outcome = stage.host().upload(
      "files", sample_file(stage.folder().path()), 20000, "signature-1", "",
      [&](const cloud::upload_progress& progress) {
        bar.show(progress.state, progress.value, std::string(progress.text.view()));
        rising = rising && progress.value >= last;
        last = progress.value;
        confirmed = progress.state == 4 && progress.flag != 0;
        ++reports;
      });
  bar.end();
  std::uint64_t arrived = 0;
  for (const json& request : stage.new_requests()) {
    if (request["kind"] == "upload") arrived = request["bytes"].get<std::uint64_t>();
  }
  stage.detail(std::to_string(reports) + " reports of progress; status " + outcome.sentence());
  stage.expect(outcome.is_ok() && arrived == file_size,
               "the cloud has all " + std::to_string(arrived) + " bytes");
  stage.expect(rising && confirmed && last == 100,
               "the progress only rose, up to a confirmed 100%");
}

void show_failures(TourStage& stage) {
  stage.step("The server answers with an error. The request itself has succeeded.");
  stage.admin().add_fault({{"service", service},
                           {"kind", "error"},
                           {"count", 1},
                           {"code", 32003},
                           {"data", {{"hint", "later"}}}});
  Outcome outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(
      outcome.is_ok() && outcome.server_error == 32003 && outcome.answer == R"({"hint": "later"})",
      "status ok, the server's number and data in the reply");

  stage.step("The server stalls, the request allows half a second.");
  stage.admin().add_fault(
      {{"service", service}, {"kind", "stall"}, {"count", 1}, {"milliseconds", 20000}});
  outcome = stage.ask(service, "greet", 500);
  stage.show(outcome);
  stage.expect(outcome.is_timeout(), "the client gave up in time");
  stage.admin().clear_faults();

  stage.step("The server answers rubbish.");
  stage.admin().add_fault(
      {{"service", service}, {"kind", "rubbish"}, {"count", 1}, {"what", "not json"}});
  outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(outcome.error_type == 1 && outcome.code == 31, "the module refuses the answer");

  stage.step("And it works again.");
  outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(succeeded(outcome), "the request succeeded");
}

}  // namespace

void show_start(TourStage& stage) {
  stage.step("The development cloud starts, a process of its own.");
  stage.start_cloud();

  stage.step("A host loads the module, which looks for the cloud by itself.");
  stage.start_host();
  stage.expect(stage.host().add_observer(&stage.observer()), "the module takes an observer");
  stage.expect(stage.observer().wait_beyond(0, TourStage::patience),
               "the observer hears that the cloud is up");
}

void show_requests(TourStage& stage) {
  show_both_kinds(stage);
  show_upload(stage);
  show_failures(stage);
}

void show_outage(TourStage& stage) {
  stage.step("The cloud goes away: its process is stopped.");
  stage.stop_cloud();
  Outcome outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(outcome.error_type == 2 && outcome.code == zvnc::status::could_not_connect,
               "nobody is there to connect to");
  stage.expect(TourStage::wait_for([&] { return !stage.host().is_cloud_up(); }),
               "the module says that the cloud is down");

  stage.step("The cloud comes back on the same port, and the observer hears of it.");
  const std::uint32_t heard = stage.observer().count();
  stage.restart_cloud();
  stage.expect(stage.observer().wait_beyond(heard, TourStage::patience),
               "the observer hears that the cloud is up");
  outcome = stage.ask(service, "greet");
  stage.show(outcome);
  stage.expect(succeeded(outcome), "the request succeeded");
}

}  // namespace devkit
