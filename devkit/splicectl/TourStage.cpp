#include "devkit/splicectl/TourStage.h"

#include <cstdio>
#include <thread>

#include "devkit/common/text.h"
#include "devkit/splicectl/module_folder.h"
#include "devkit/splicectl/printing.h"

namespace devkit {

using nlohmann::json;

namespace {

/// And about more than where the log goes and where the broker's program is.
bool is_about_this_system(const std::string& name) {
  return name.starts_with("SPLICE_") && !name.starts_with("SPLICE_LOG") &&
         name != "SPLICE_MOSQUITTO";
}

}  // namespace

TourStage::TourStage(const std::filesystem::path& module, bool is_terminal)
    : is_terminal_(is_terminal), folder_(module) {
  // The tour's folder has all its files, and nothing fails but what the tour lets fail, whatever
  // the reader's environment says: it speaks for the options of the processes to come as well.
  for (const std::string& name : os::environment_names()) {
    if (is_about_this_system(name)) os::set_environment(name.c_str(), std::nullopt);
  }
  os::set_environment("SPLICE_PROXY", path_text(folder_.proxy_file()));
  read_as(folder_.module());
}

void TourStage::step(const char* title) {
  if (step_++ != 0) say("");
  say(std::to_string(step_) + ".  " + title);
}

void TourStage::say(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

void TourStage::detail(const std::string& text) {
  say(indent + text);
}

void TourStage::expect(bool held, const std::string& what) {
  if (!held) ++wrong_;
  detail((held ? "as expected: " : "NOT AS EXPECTED: ") + what);
}

bool TourStage::wait_for(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

void TourStage::start_cloud() {
  start_cloud_on(0);
  // Only here: later, with the host's threads running, nobody may change the environment.
  os::set_environment("SPLICE_CLOUD", address_);
}

void TourStage::restart_cloud() {
  start_cloud_on(port_);
}

void TourStage::start_cloud_on(std::uint16_t port) {
  cloud_.emplace(os::program(),
                 std::vector<std::string>{"cloud", "--port", std::to_string(port), "--json"});
  const auto line = cloud_->read_line();
  const json ready = json::parse(line.value_or(""), nullptr, false);
  if (!ready.is_object())
    throw host_error("the development cloud did not start; try \"splicectl cloud\" by hand");
  address_ = ready["address"].get<std::string>();
  port_ = ready["port"].get<std::uint16_t>();
  seen_ = 0;
  detail(address_ + ", process " + std::to_string(cloud_->id()));
}

void TourStage::stop_cloud() {
  if (!cloud_) return;
  detail("process " + std::to_string(cloud_->id()) + " stopped");
  cloud_.reset();
}

json TourStage::new_requests() {
  if (!cloud_) return json::array();
  json requests = admin().requests(seen_);
  if (!requests.empty()) seen_ = requests.back()["number"].get<std::uint64_t>();
  return requests;
}

void TourStage::start_host() {
  host_.emplace(folder_.module());
  detail(path_text(folder_.module()));
}

void TourStage::end_host() {
  host_.reset();
}

Outcome TourStage::ask(const std::string& service, const std::string& method,
                       std::uint32_t timeout) {
  ConnectCall call;
  call.service = service;
  call.method = method;
  call.message = R"({"name":"world"})";
  call.timeout = timeout;
  call.app_id = "Desktop";
  call.device_id = "device-1";
  call.user_token = "token-1";
  return host_->connect(call);
}

void TourStage::show(const Outcome& outcome) {
  const json requests = new_requests();
  const std::string sent = requests.empty() ? "" : requests.back().value("body", "");
  print_outcome(outcome, sent.empty() ? "nothing reached the cloud" : sent, indent);
}

}  // namespace devkit
