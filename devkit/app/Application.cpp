#include "devkit/app/Application.h"

#include <algorithm>
#include <iterator>

#include "_base/win_error.h"
#include "push/IPushCommClient.h"

namespace devkit {

namespace {

void check(std::uint32_t status, const char* what) {
  if (status != win_error::success)
    throw host_error(std::string(what) + " failed with " + std::to_string(status));
}

}  // namespace

Application::Application(const std::filesystem::path& module, const HostOptions& options,
                         std::string name, OnEvent on_event, OnCommand on_command)
    : host_(module, options),
      integrator_(host_, "connect_integrator", IID_IPushServiceClient),
      service_(integrator_.as<IPushCommClient>()),
      name_(std::move(name)),
      on_event_(std::move(on_event)),
      on_command_(std::move(on_command)) {}

// The callbacks may go before the integrator, which still replays commands to them: a replay that
// comes later doesn't find their entry any more.
Application::~Application() {
  stop_events();
  stop_commands();
}

void Application::start_events() {
  if (hears_events_) return;
  check(service_.register_push_events_callback(&event_came, this, source(), {}),
        "the registration for events");
  hears_events_ = true;
}

void Application::stop_events() {
  if (!hears_events_) return;
  service_.unregister_push_events_callback(&event_came, this, source(), {});
  hears_events_ = false;
}

void Application::start_commands() {
  if (hears_commands_) return;
  check(service_.register_push_commands_callback(&command_came, this, source(), {}),
        "the registration for commands");
  hears_commands_ = true;
}

void Application::stop_commands() {
  if (!hears_commands_) return;
  service_.unregister_push_commands_callback(&command_came, this, source(), {});
  hears_commands_ = false;
}

void Application::complete(const std::string& id, const std::string& status) {
  service_.set_command_done(id.c_str(), status.c_str(), source(), {});
}

std::vector<std::string> Application::pending() const {
  std::vector<std::string> ids;
  service_.send_offline_commands(
      source(),
      [](const Command& command, void* context) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(command.id.view());
      },
      &ids);
  return ids;
}

// A command leaves the list and its completion is sent under one lock, which this waits for.
std::vector<std::string> Application::unsent(const std::vector<std::string>& ids) const {
  const std::vector<std::string> left = pending();
  std::vector<std::string> unsent;
  std::copy_if(ids.begin(), ids.end(), std::back_inserter(unsent), [&](const std::string& id) {
    return std::find(left.begin(), left.end(), id) != left.end();
  });
  return unsent;
}

void Application::event_came(const Event& event, void* self) {
  static_cast<Application*>(self)->on_event_(event);
}

void Application::command_came(const Command& command, void* self) {
  static_cast<Application*>(self)->on_command_(command);
}

cloud::connect_source Application::source() const {
  cloud::connect_source source;
  source.app_id = name_.c_str();
  return source;
}

}  // namespace devkit
