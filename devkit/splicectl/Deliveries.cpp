#include "devkit/splicectl/Deliveries.h"

#include <algorithm>
#include <chrono>

#include "devkit/common/os.h"
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

void Deliveries::ready() {
  const std::lock_guard guard(mutex_);
  is_ready_ = true;
  const std::uint64_t process = os::process_id();
  show({{"ready", {{"app", choice_.app}, {"process", process}}}},
       "ready (process " + std::to_string(process) + ")");
  for (const std::string& line : held_lines_) print_line(line);
  held_lines_.clear();
}

void Deliveries::event(const Application::Event& event) {
  const std::lock_guard guard(mutex_);
  came({{"event", plain(event.name)},
        {"params", parsed(event.params)},
        {"app_id", plain(event.destination_app_id)},
        {"device_id", plain(event.destination_device_id)},
        {"timestamp", event.timestamp}},
       "event " + plain(event.name) + " " + shortened(plain(event.params)));
}

std::optional<std::string> Deliveries::command(const Application::Command& command) {
  const std::lock_guard guard(mutex_);
  const std::string id = plain(command.id);
  const std::string app = plain(command.destination_app_id);
  // A callback that comes late is shown what is pending in the whole process.
  const bool is_ours = app == choice_.app || choice_.app.empty();
  std::optional<std::string> status = is_ours ? status_for(id) : std::nullopt;
  const bool again = !seen_.insert(id).second;
  if (status) completes(id, *status);
  came({{"command", plain(command.name)},
        {"id", id},
        {"params", parsed(command.params)},
        {"app_id", app},
        {"timestamp", command.timestamp},
        {"again", again},
        {"completed", status.has_value()}},
       "command " + plain(command.name) + " " + shortened(plain(command.params)) + ", id " + id +
           (is_ours ? "" : ", for " + app + " and none of ours") + (again ? ", once more" : "") +
           (status    ? ", completed"
            : is_ours ? ", left alone"
                      : ""));
  return status;
}

void Deliveries::note_completion(const std::string& id, const std::string& status) {
  const std::lock_guard guard(mutex_);
  completes(id, status);
}

std::uint64_t Deliveries::count() const {
  const std::lock_guard guard(mutex_);
  return count_;
}

std::vector<std::string> Deliveries::underway() const {
  const std::lock_guard guard(mutex_);
  return {underway_.begin(), underway_.end()};
}

void Deliveries::keep_underway(const std::vector<std::string>& before,
                               const std::vector<std::string>& left) {
  const std::lock_guard guard(mutex_);
  for (const std::string& id : before) underway_.erase(id);
  underway_.insert(left.begin(), left.end());
}

void Deliveries::wait_for(std::uint64_t count, std::uint32_t milliseconds) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return count_ >= count; });
}

std::optional<std::string> Deliveries::status_for(const std::string& id) const {
  const auto before = completed_.find(id);
  if (before != completed_.end()) return before->second;
  const bool is_wanted =
      std::any_of(choice_.complete.begin(), choice_.complete.end(),
                  [&](const std::string& wish) { return wish == "all" || wish == id; });
  return is_wanted ? std::optional(choice_.status) : std::nullopt;
}

void Deliveries::completes(const std::string& id, const std::string& status) {
  completed_.emplace(id, status);
  underway_.insert(id);
}

void Deliveries::came(const json& value, const std::string& text) {
  show(value, text);
  ++count_;
  changed_.notify_all();
}

void Deliveries::show(const json& value, const std::string& text) {
  std::string line = choice_.as_json ? line_of(value) : choice_.app + ": " + text;
  if (is_ready_) {
    print_line(line);
  } else {
    held_lines_.push_back(std::move(line));
  }
}

}  // namespace devkit
