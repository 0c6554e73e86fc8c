#include "devkit/splicectl/Deliveries.h"

#include <algorithm>
#include <chrono>

#include "devkit/splicectl/command.h"
#include "devkit/splicectl/printing.h"

namespace devkit {

namespace {

using nlohmann::json;
using Text = zv::StringT<char>;

std::string plain(const Text& text) {
  return std::string(text.view());
}

json parsed(const Text& params) {
  json value = json::parse(params.view(), nullptr, false);
  return value.is_discarded() ? json(plain(params)) : value;
}

}  // namespace

void Deliveries::event(const Application::Event& event) {
  const std::lock_guard guard(mutex_);
  if (choice_.as_json) {
    print({{"event", plain(event.name)},
           {"params", parsed(event.params)},
           {"app_id", plain(event.destination_app_id)},
           {"device_id", plain(event.destination_device_id)},
           {"timestamp", event.timestamp}});
  } else {
    print_line(choice_.app + ": event " + plain(event.name) + " " + shortened(plain(event.params)));
  }
  came();
}

bool Deliveries::command(const Application::Command& command) {
  const std::lock_guard guard(mutex_);
  const std::string id = plain(command.id);
  const std::string app = plain(command.destination_app_id);
  // A callback that comes late is shown what is pending in the whole process.
  const bool is_ours = app == choice_.app || choice_.app.empty();
  const bool is_completed = is_ours && wants(id);
  const bool again = !seen_.insert(id).second;
  if (choice_.as_json) {
    print({{"command", plain(command.name)},
           {"id", id},
           {"params", parsed(command.params)},
           {"app_id", app},
           {"timestamp", command.timestamp},
           {"again", again},
           {"completed", is_completed}});
  } else {
    print_line(choice_.app + ": command " + plain(command.name) + " " +
               shortened(plain(command.params)) + ", id " + id +
               (is_ours ? "" : ", for " + app + " and none of ours") +
               (again ? ", once more" : "") +
               (is_completed ? ", completed"
                : is_ours    ? ", left alone"
                             : ""));
  }
  if (is_completed) completed_.push_back(id);
  came();
  return is_completed;
}

std::uint64_t Deliveries::count() const {
  const std::lock_guard guard(mutex_);
  return count_;
}

std::vector<std::string> Deliveries::completed() const {
  const std::lock_guard guard(mutex_);
  return completed_;
}

void Deliveries::wait_for(std::uint64_t count, std::uint32_t milliseconds) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return count_ >= count; });
}

bool Deliveries::wants(const std::string& id) const {
  return std::any_of(choice_.complete.begin(), choice_.complete.end(),
                     [&](const std::string& wish) { return wish == "all" || wish == id; });
}

void Deliveries::came() {
  ++count_;
  changed_.notify_all();
}

}  // namespace devkit
