#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "_base/waiting.h"
#include "push/push_service_client.h"
#include "support/FakeBus.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// What an application got: its callbacks and their context in one. Any thread may call.
class PushInbox {
 public:
  PushInbox() = default;
  PushInbox(const PushInbox&) = delete;
  PushInbox& operator=(const PushInbox&) = delete;

  static void on_event(const cloud::push::event_info& event, void* context) {
    static_cast<PushInbox*>(context)->put(
        std::string(event.name.view()) + " for " + event.destination_app_id.c_str() + " on " +
        event.destination_device_id.c_str() + " at " + std::to_string(event.timestamp) + ": " +
        event.params.c_str());
  }
  static void on_command(const cloud::push::command_info& command, void* context) {
    static_cast<PushInbox*>(context)->put(
        std::string(command.name.view()) + " (" + command.id.c_str() + ") for " +
        command.destination_app_id.c_str() + " at " + std::to_string(command.timestamp) + ": " +
        command.params.c_str());
  }

  /// Runs within every later call, after its line is there.
  void set_hook(std::function<void()> hook) {
    const std::lock_guard lock(mutex_);
    hook_ = std::move(hook);
  }
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  std::size_t size() const { return lines().size(); }
  void clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }
  /// Waits for that many lines.
  bool gets(std::size_t count) const {
    return waiting::until([&] { return size() >= count; });
  }

 private:
  void put(std::string line) {
    std::function<void()> hook;
    {
      const std::lock_guard lock(mutex_);
      lines_.push_back(std::move(line));
      hook = hook_;
    }
    if (hook) hook();
  }

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::function<void()> hook_;
};

/// A client on a fake bus, whose product is "Desktop". At the end nothing may be left on the bus.
class PushClientTest : public testing::Test {
 protected:
  static constexpr char actions[] = "connect.actions";
  static constexpr char events[] = "connect.events";

  PushClientTest() {
    bus.load(product.folder.path());
    client.emplace();
  }

  void TearDown() override {
    client.reset();
    EXPECT_EQ(bus.subscriptions_alive(events), 0U);
    EXPECT_EQ(bus.observers_alive(), 0U);
    EXPECT_EQ(bus.messages_alive(), 0U);
    EXPECT_TRUE(bus.listeners().empty());
  }

  static cloud::connect_source app(const char* app_id) { return {app_id, "dev", "tok"}; }

  void register_events(const char* app_id, PushInbox& inbox) {
    EXPECT_EQ(client->register_push_events_callback(&PushInbox::on_event, &inbox, app(app_id), {}),
              0U);
  }
  void register_commands(const char* app_id, PushInbox& inbox) {
    EXPECT_EQ(
        client->register_push_commands_callback(&PushInbox::on_command, &inbox, app(app_id), {}),
        0U);
  }
  void unregister_events(const char* app_id, PushInbox& inbox) {
    client->unregister_push_events_callback(&PushInbox::on_event, &inbox, app(app_id),
                                            {"dest dev", "dest app"});
  }
  void unregister_commands(const char* app_id, PushInbox& inbox) {
    client->unregister_push_commands_callback(&PushInbox::on_command, &inbox, app(app_id),
                                              {"dest dev", "dest app"});
  }
  void complete(const char* id, const char* status = "done") {
    client->set_command_done(id, status, app("app"), {"dest dev", "dest app"});
  }
  /// What is stored and not done, told into a fresh inbox.
  std::vector<std::string> pending() {
    PushInbox inbox;
    client->send_offline_commands({}, &PushInbox::on_command, &inbox);
    return inbox.lines();
  }
  bool has_pending(std::size_t count) {
    return waiting::until([&] { return pending().size() == count; });
  }

  void server_comes() { bus.announce(actions, "push_register"); }
  void server_goes() { bus.withdraw(actions, "push_register"); }
  void server_says_up() {
    bus.deliver(events, {{"module", "push"}, {"method", "on_push_server_up"}});
  }

  void forget() {
    bus.forget_calls();
    bus.forget_sent();
    log.clear();
  }

  /// What goes out when an application registers.
  static BusFields registration(const char* app_id, int topic) {
    return {{"module", "push"},        {"method", "push_register"},
            {"source_app_id", app_id}, {"source_device_id", ""},
            {"source_token", ""},      {"dest_app_id", ""},
            {"dest_device_id", ""},    {"topic", topic}};
  }
  static BusFields event(const std::string& name, const std::string& app_id) {
    return {{"module", "push"},
            {"method", "on_push_event"},
            {"name", name},
            {"timestamp", std::int64_t{1} << 40},
            {"destination_app_id", app_id},
            {"destination_device_id", "device"},
            {"params", R"({"a":1})"}};
  }
  static BusFields command(const std::string& id, const std::string& app_id) {
    return {{"module", "push"},
            {"method", "on_push_command"},
            {"name", "wipe"},
            {"timestamp", std::int64_t{1} << 40},
            {"id", id},
            {"params", R"({"b":2})"},
            {"destination_app_id", app_id}};
  }
  static std::string event_line(const std::string& name, const std::string& app_id) {
    return name + " for " + app_id + R"( on device at 1099511627776: {"a":1})";
  }
  static std::string command_line(const std::string& id, const std::string& app_id) {
    return "wipe (" + id + ") for " + app_id + R"( at 1099511627776: {"b":2})";
  }

  /// "<topic> <source_app_id>" of each registration that was sent, in order.
  std::vector<std::string> registrations() const {
    std::vector<std::string> lines;
    for (const SentMessage& message : bus.sent("push_register")) {
      lines.push_back(std::to_string(message.number("topic")) + " " +
                      message.text("source_app_id"));
    }
    return lines;
  }
  /// In the order of their names, where the table's order isn't what is tested.
  std::vector<std::string> sorted_registrations() const {
    std::vector<std::string> lines = registrations();
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  ProductInfoFolder product;
  RecordingLog log;
  FakeBus bus;
  std::optional<cloud::push::push_service_client> client;
};

}  // namespace support
