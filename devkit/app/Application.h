#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "devkit/host/HeldPlugin.h"
#include "push/IPushService.h"

namespace devkit {

/// A local application: has the module in its own process and its pushes over the bus, from
/// whatever process serves them. Listening is started and stopped by one thread at a time; the rest
/// may be called by any.
class Application {
 public:
  using Event = cloud::push::event_info;
  using Command = cloud::push::command_info;
  /// They are called on threads of the module's pool, one at a time for each kind, and must not
  /// start or stop the listening for that kind.
  using OnEvent = std::function<void(const Event& event)>;
  using OnCommand = std::function<void(const Command& command)>;

  /// An empty name is the product's own application. Throws host_error.
  Application(const std::filesystem::path& module, const HostOptions& options, std::string name,
              OnEvent on_event, OnCommand on_command);
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  /// Stops listening. What was completed and isn't sent yet is lost: see `unsent`.
  ~Application();

  const std::string& name() const noexcept { return name_; }

  // Each works whether or not there is a server, which hears of it as soon as it comes.
  void start_events();
  void stop_events();
  void start_commands();
  void stop_commands();
  bool hears_events() const noexcept { return hears_events_; }
  bool hears_commands() const noexcept { return hears_commands_; }

  /// Says what became of a command. Any thread, a callback's too.
  void complete(const std::string& id, const std::string& status);
  /// The ids of the commands that this process got and hasn't completed, for whichever application.
  /// Not from a callback.
  std::vector<std::string> pending() const;
  /// Those of them whose completions haven't gone out. Not from a callback.
  std::vector<std::string> unsent(const std::vector<std::string>& ids) const;

 private:
  static void event_came(const Event& event, void* self);
  static void command_came(const Command& command, void* self);
  cloud::connect_source source() const;

  PluginHost host_;
  const HeldPlugin integrator_;
  IPushService& service_;
  const std::string name_;
  const OnEvent on_event_;
  const OnCommand on_command_;
  bool hears_events_ = false;
  bool hears_commands_ = false;
};

}  // namespace devkit
