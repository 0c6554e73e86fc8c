#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/BareMqtt.h"
#include "bench/DeliveryBoard.h"
#include "devkit/app/Application.h"
#include "devkit/broker/Broker.h"
#include "devkit/common/os.h"
#include "devkit/host/ServerPlugins.h"
#include "devkit/host/User.h"
#include "support/FakeCloudClient.h"
#include "support/TemporaryFolder.h"

/// What the push benchmarks play in: a folder with the module and the kit's bus, a broker, the
/// server in this process and others around it.
namespace bench {

inline constexpr std::chrono::seconds patience{60};
/// As long as the module's own, and nothing that it subscribes to.
inline constexpr const char* bare_events = "measure/connect.events";
inline constexpr const char* handed_over_events = "measure/handed.over.on";
inline constexpr const char* bare_actions = "measure/connect.actions";

inline std::filesystem::path module_in(const std::filesystem::path& folder) {
  return folder / devkit::os::library_name("cloudsplicer");
}

inline devkit::HostOptions with_user() {
  devkit::HostOptions options;
  options.product_agent = true;
  return options;
}

/// The module as it is delivered, with the bus and the product's data beside it. Nothing logs.
inline void fill_module_folder(const std::filesystem::path& folder) {
  const std::filesystem::path kit = KIT_FOLDER;
  for (const char* const library : {"cloudsplicer", "msgbus", "iservconfig"}) {
    const std::string name = devkit::os::library_name(library);
    std::filesystem::copy_file(kit / name, folder / name);
  }
  std::filesystem::copy_file(kit / "iservconfig.json", folder / "iservconfig.json");
  std::filesystem::create_directories(folder / "settings");
  for (const char* const settings :
       {"cloud_guardian_settings.json", "cloud_services_settings.json"}) {
    std::filesystem::copy_file(kit / "settings" / settings, folder / "settings" / settings);
  }
  std::ofstream(folder / "user.json")
      << devkit::to_text({"0123456789abcdef0123456789abcdef", "token"});
}

/// What the module asks the cloud client to register, and the callback that it brings.
class Registrations {
 public:
  struct One {
    std::string app_id;
    std::int64_t at;
  };

  /// Only applications whose names begin so count.
  Registrations(support::FakeCloudClient& client, std::string prefix) : prefix_(std::move(prefix)) {
    client.register_by([this](const support::PushRegistration& one) { return take(one); });
  }

  /// So many come from now on.
  void expect(std::size_t count) {
    const std::lock_guard guard(mutex_);
    wanted_ = count;
    seen_.clear();
  }
  /// All of them, in order. Throws std::runtime_error if they don't come.
  std::vector<One> wait() {
    std::unique_lock lock(mutex_);
    if (!all_seen_.wait_for(lock, patience, [&] { return seen_.size() >= wanted_; }))
      throw std::runtime_error("an application isn't registered");
    return seen_;
  }

  /// As the cloud client does with a push.
  void deliver(const cirrel_response& response) const { on_event_(&response, context_); }

 private:
  std::uint32_t take(const support::PushRegistration& one) {
    const std::int64_t now = nanoseconds_now();
    const std::lock_guard guard(mutex_);
    on_event_ = one.on_event;
    context_ = one.context;
    const std::string app_id = one.source_app_id.value_or("");
    if (app_id.starts_with(prefix_)) seen_.push_back({app_id, now});
    // Not for each: who is measured is not to be disturbed.
    if (seen_.size() == wanted_) all_seen_.notify_all();
    return 0;
  }

  const std::string prefix_;
  std::mutex mutex_;
  std::condition_variable all_seen_;
  std::size_t wanted_ = 0;
  std::vector<One> seen_;
  // Unguarded where pushes are delivered: nobody registers meanwhile.
  cirrel_push_callback on_event_ = nullptr;
  void* context_ = nullptr;
};

/// The module's messages as the broker sees them.
class WireTap {
 public:
  explicit WireTap(const devkit::bus::Address& broker)
      : mqtt_(broker, [this](BareMqtt&, const BareMqtt::Arrived& message) {
          const std::lock_guard guard(mutex_);
          seen_.emplace_back(message.topic, message.payload);
          changed_.notify_all();
        }) {
    for (const char* const topic : {"channel/+", "reply/+"}) mqtt_.subscribe(topic);
  }

  /// The bytes of the first message on such a topic that contain the text.
  std::string payload(std::string_view topic, std::string_view text) {
    std::string found;
    std::unique_lock lock(mutex_);
    const auto is_found = [&] {
      for (const auto& [where, what] : seen_) {
        if (!where.starts_with(topic) || what.find(text) == std::string::npos) continue;
        found = what;
        return true;
      }
      return false;
    };
    if (!changed_.wait_for(lock, patience, is_found))
      throw std::runtime_error("nothing came by on " + std::string(topic));
    return found;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<std::string, std::string>> seen_;
  BareMqtt mqtt_;  ///< last: its thread uses the others
};

/// Another run of this program, ready when it is made. It ends with its input.
class Child {
 public:
  Child(const char* role, const std::filesystem::path& folder)
      : process_(devkit::os::program(), {role, folder.string()},
                 devkit::os::Process::Input::piped) {
    hear("ready");
  }

  /// Until it has come to rest.
  void settle() {
    process_.write_line("settle");
    hear("settled");
  }

 private:
  void hear(const char* word) {
    if (process_.read_line() != word) throw std::runtime_error("a process of the scene failed");
  }

  devkit::os::Process process_;
};

/// The module's server, all four plug-ins.
struct Server {
  explicit Server(const std::filesystem::path& folder)
      : host(module_in(folder), with_user()), plugins(host) {}

  devkit::PluginHost host;
  const devkit::ServerPlugins plugins;
};

}  // namespace bench
