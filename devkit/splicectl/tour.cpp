#include "devkit/splicectl/tour.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <thread>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/host/CloudUpObserver.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/printing.h"
#include "devkit/zvnc/status.h"

namespace devkit {

namespace {

using namespace std::chrono_literals;
using nlohmann::json;

constexpr auto patience = 15s;
constexpr const char* indent = "     ";
constexpr const char* service = "connect/echo";
constexpr std::size_t file_size = 3 * 1024 * 1024;

/// A file to upload, gone with the object.
class SampleFile {
 public:
  SampleFile()
      : path_(std::filesystem::temp_directory_path() /
              ("splicectl-tour-" + std::to_string(os::process_id()) + ".bin")) {
    std::ofstream file(path_, std::ios::binary);
    for (std::size_t i = 0; i < file_size; ++i) file.put(static_cast<char>(i * 31));
    file.close();
    if (!file)
      throw host_error("no file could be written at " + path_text(path_) + "; is the disk full?");
  }
  SampleFile(const SampleFile&) = delete;
  SampleFile& operator=(const SampleFile&) = delete;
  ~SampleFile() {
    std::error_code ignored;  // it lies in the system's folder for what may be thrown away
    std::filesystem::remove(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

class Tour {
 public:
  Tour(const std::filesystem::path& module, bool is_terminal)
      : module_(module), is_terminal_(is_terminal) {}

  int run();

 private:
  void step(const char* title);
  void say(const std::string& text);
  void expect(bool held, const std::string& what);
  void show(const Outcome& outcome);
  void start_cloud(std::uint16_t port);
  CloudAdmin admin() const { return CloudAdmin(address_); }
  Outcome ask(std::uint32_t timeout = 5000);
  /// True as soon as the module says so; false if it never does.
  bool wait_for_cloud(bool up);

  void start_parts();
  void show_requests();
  void show_upload();
  void show_failures();
  void show_outage();

  const std::filesystem::path module_;
  const bool is_terminal_;
  int step_ = 0;
  int wrong_ = 0;
  std::uint64_t seen_ = 0;
  std::optional<os::Process> cloud_;
  std::uint16_t port_ = 0;
  std::string address_;
  CloudUpObserver observer_;
  std::optional<Host> host_;
};

void Tour::step(const char* title) {
  if (step_++ != 0) say("");
  say(std::to_string(step_) + ".  " + title);
}

void Tour::say(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

void Tour::expect(bool held, const std::string& what) {
  if (!held) ++wrong_;
  say(std::string(indent) + (held ? "as expected: " : "NOT AS EXPECTED: ") + what);
}

void Tour::show(const Outcome& outcome) {
  std::string sent;
  if (cloud_) {
    // What the cloud has seen since last time; nothing if the request never reached it.
    for (const json& request : admin().requests(seen_)) {
      seen_ = request["number"].get<std::uint64_t>();
      sent = request.value("body", "");
    }
  }
  print_outcome(outcome, sent.empty() ? "nothing reached the cloud" : sent, indent);
}

void Tour::start_cloud(std::uint16_t port) {
  cloud_.emplace(os::program(),
                 std::vector<std::string>{"cloud", "--port", std::to_string(port), "--json"});
  const auto line = cloud_->read_line();
  const json ready = json::parse(line.value_or(""), nullptr, false);
  if (!ready.is_object())
    throw host_error("the development cloud did not start; try \"splicectl cloud\" by hand");
  address_ = ready["address"].get<std::string>();
  port_ = ready["port"].get<std::uint16_t>();
  seen_ = 0;
  say(indent + address_ + ", process " + std::to_string(cloud_->id()));
}

Outcome Tour::ask(std::uint32_t timeout) {
  ConnectCall call;
  call.service = service;
  call.method = "greet";
  call.message = R"({"name":"world"})";
  call.timeout = timeout;
  call.app_id = "Desktop";
  call.device_id = "device-1";
  call.user_token = "token-1";
  return host_->connect(call);
}

bool Tour::wait_for_cloud(bool up) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (host_->is_cloud_up() != up) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(20ms);
  }
  return true;
}

void Tour::start_parts() {
  step("The development cloud starts, a process of its own.");
  start_cloud(0);

  step("A host loads the module, which looks for the cloud by itself.");
  os::set_environment("SPLICE_CLOUD", address_);
  host_.emplace(module_);
  say(indent + path_text(module_));
  expect(host_->add_observer(&observer_), "the module takes an observer");
  expect(observer_.wait_beyond(0, patience), "the observer hears that the cloud is up");
}

void Tour::show_requests() {
  step("A connect request: the module builds the envelope and adds who is asking.");
  Outcome outcome = ask();
  show(outcome);
  if (outcome.error_type == 1 && outcome.code == 5) {
    say(std::string(indent) +
        "An earlier run left the circuit open; wait a few seconds, or delete the folder "
        "settings/cloud beside the module, and start again.");
  }
  expect(outcome.is_ok() && outcome.server_error == 0, "the request succeeded");
  const json answer = json::parse(outcome.answer, nullptr, false);
  expect(answer.is_object() && answer.value("method", "") == "greet" &&
             answer.value("/params/connect_source/device_id"_json_pointer, "") == "device-1",
         "the echo has the method and the identity");

  step("A technology request: the body goes as it stands.");
  outcome = host_->technology("technology/echo", R"({"any":["text",1]})", 5000);
  show(outcome);
  expect(outcome.is_ok() &&
             json::parse(outcome.answer, nullptr, false) == json({{"any", {"text", 1}}}),
         "the echo is the body");
}

void Tour::show_upload() {
  step("An upload, with its progress.");
  const SampleFile file;
  ProgressBar bar(is_terminal_, indent);
  std::uint32_t last = 0;
  std::uint32_t reports = 0;
  bool rising = true;
  bool confirmed = false;
  const Outcome outcome = host_->upload(
      "files", file.path(), 20000, "signature-1", "", [&](const cloud::upload_progress& progress) {
        bar.show(progress.state, progress.value, std::string(progress.text.view()));
        rising = rising && progress.value >= last;
        last = progress.value;
        confirmed = progress.state == 4 && progress.flag != 0;
        ++reports;
      });
  bar.end();
  std::uint64_t arrived = 0;
  for (const json& request : admin().requests(seen_)) {
    seen_ = request["number"].get<std::uint64_t>();
    if (request["kind"] == "upload") arrived = request["bytes"].get<std::uint64_t>();
  }
  say(indent + std::to_string(reports) + " reports of progress; status " + outcome.sentence());
  expect(outcome.is_ok() && arrived == file_size,
         "the cloud has all " + std::to_string(arrived) + " bytes");
  expect(rising && confirmed && last == 100, "the progress only rose, up to a confirmed 100%");
}

void Tour::show_failures() {
  step("The server answers with an error. The request itself has succeeded.");
  admin().add_fault({{"service", service},
                     {"kind", "error"},
                     {"count", 1},
                     {"code", 32003},
                     {"data", {{"hint", "later"}}}});
  Outcome outcome = ask();
  show(outcome);
  expect(
      outcome.is_ok() && outcome.server_error == 32003 && outcome.answer == R"({"hint": "later"})",
      "status ok, the server's number and data in the reply");

  step("The server stalls, the request allows half a second.");
  admin().add_fault(
      {{"service", service}, {"kind", "stall"}, {"count", 1}, {"milliseconds", 20000}});
  outcome = ask(500);
  show(outcome);
  expect(outcome.is_timeout(), "the client gave up in time");
  admin().clear_faults();

  step("The server answers rubbish.");
  admin().add_fault(
      {{"service", service}, {"kind", "rubbish"}, {"count", 1}, {"what", "not json"}});
  outcome = ask();
  show(outcome);
  expect(outcome.error_type == 1 && outcome.code == 31, "the module refuses the answer");

  step("And it works again.");
  outcome = ask();
  show(outcome);
  expect(outcome.is_ok() && outcome.server_error == 0, "the request succeeded");
}

void Tour::show_outage() {
  step("The cloud goes away: its process is stopped.");
  say(std::string(indent) + "process " + std::to_string(cloud_->id()) + " stopped");
  cloud_.reset();
  Outcome outcome = ask();
  show(outcome);
  expect(outcome.error_type == 2 && outcome.code == zvnc::status::could_not_connect,
         "nobody is there to connect to");
  expect(wait_for_cloud(false), "the module says that the cloud is down");

  step("The cloud comes back on the same port, and the observer hears of it.");
  const std::uint32_t heard = observer_.count();
  start_cloud(port_);
  expect(observer_.wait_beyond(heard, patience), "the observer hears that the cloud is up");
  outcome = ask();
  show(outcome);
  expect(outcome.is_ok() && outcome.server_error == 0, "the request succeeded");
}

int Tour::run() {
  start_parts();
  show_requests();
  show_upload();
  show_failures();
  show_outage();
  expect(host_->remove_observer(&observer_), "the module lets the observer go");
  host_.reset();
  cloud_.reset();
  if (wrong_ == 0) {
    say("\nEvery step went as expected.");
    return exit_code::ok;
  }
  say("\n" + std::to_string(wrong_) +
      " expectations did not hold; SPLICE_LOG=- shows the module's log.");
  return exit_code::request_failed;
}

}  // namespace

int run_tour(const std::filesystem::path& module, bool is_terminal) {
  return Tour(module, is_terminal).run();
}

}  // namespace devkit
