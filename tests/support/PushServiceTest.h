#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "_base/waiting.h"
#include "connect/IAuthDataProvider.h"
#include "push/push_service.h"
#include "support/FakeCloudClient.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"
#include "support/ScriptedConnectRequests.h"

namespace support {

struct SeenEvent {
  std::string name;
  std::string params;
  std::string app_id;
  std::string device_id;
  std::int64_t timestamp;
};

struct SeenCommand {
  std::string app_id;
  std::string name;
  std::string id;
  std::string params;
  std::int64_t timestamp;
};

/// Who wants pushes; its address is the context of its callbacks. What is to happen within a
/// callback is set before the first one may come.
class PushReceiver {
 public:
  static void on_event(const cloud::push::event_info& event, void* context) {
    auto& self = *static_cast<PushReceiver*>(context);
    const SeenEvent seen{event.name.c_str(), event.params.c_str(), event.destination_app_id.c_str(),
                         event.destination_device_id.c_str(), event.timestamp};
    self.keep(self.events_, seen);
    if (self.when_event) self.when_event(seen);
  }
  static void on_command(const cloud::push::command_info& command, void* context) {
    auto& self = *static_cast<PushReceiver*>(context);
    const SeenCommand seen{command.destination_app_id.c_str(), command.name.c_str(),
                           command.id.c_str(), command.params.c_str(), command.timestamp};
    self.keep(self.commands_, seen);
    if (self.when_command) self.when_command(seen);
  }

  std::vector<SeenEvent> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  std::vector<SeenCommand> commands() const {
    const std::lock_guard lock(mutex_);
    return commands_;
  }
  std::vector<std::string> event_names() const {
    std::vector<std::string> names;
    for (const SeenEvent& each : events()) names.push_back(each.name);
    return names;
  }
  /// "name id" of each command.
  std::vector<std::string> command_names() const {
    std::vector<std::string> names;
    for (const SeenCommand& each : commands()) names.push_back(each.name + " " + each.id);
    return names;
  }
  void forget() {
    const std::lock_guard lock(mutex_);
    events_.clear();
    commands_.clear();
  }

  std::function<void(const SeenEvent&)> when_event;
  std::function<void(const SeenCommand&)> when_command;

 private:
  template <class Seen>
  void keep(std::vector<Seen>& list, const Seen& seen) {
    const std::lock_guard lock(mutex_);
    list.push_back(seen);
  }

  mutable std::mutex mutex_;
  std::vector<SeenEvent> events_;
  std::vector<SeenCommand> commands_;
};

/// Knows who the test says it knows.
class ScriptedAuthProvider final : public IAuthDataProvider {
 public:
  std::uint32_t GetAuthData(auth_data& data) override {
    ++asked;
    if (result == 0) data = known;
    return result;
  }

  std::uint32_t result = 0;
  auth_data known{"device", "token"};
  std::atomic<int> asked = 0;
};

inline cloud::connect_source push_source(const char* app_id, const char* device_id = "",
                                         const char* user_token = "") {
  return {app_id, device_id, user_token};
}

inline std::string event_push(const std::string& app_id, const std::string& name,
                              const nlohmann::json& params = nlohmann::json::object(),
                              std::int64_t timestamp = 1) {
  return nlohmann::json{{"app_fields",
                         {{"connect_target", {{"app_id", app_id}, {"device_id", "here"}}},
                          {"event", name},
                          {"timestamp", timestamp},
                          {"event_params", params}}}}
      .dump();
}

inline std::string command_push(const std::string& app_id, const std::string& name,
                                const std::string& id,
                                const nlohmann::json& params = nlohmann::json::object(),
                                std::int64_t timestamp = 1) {
  return event_push(app_id, "command",
                    {{"command", name}, {"command_id", id}, {"command_params", params}}, timestamp);
}

/// The service on a scripted cloud, with the product's application at its default "Desktop".
class PushServiceTest : public testing::Test {
 protected:
  using push_service = cloud::push::push_service;
  using Names = std::vector<std::string>;

  PushServiceTest() { renew(); }
  /// Before the members of the test, which it may still call.
  void TearDown() override { service.reset(); }

  /// Another service, made with what the provider knows by now.
  void renew() {
    service.reset();
    service.emplace(client.table(), client.shared_instance(), &requests, &auth);
    log.clear();
    listings_before_ = listings_come();
  }

  void network_up() { service->OnNetworkAvailable(); }

  std::uint32_t want_events(const cloud::connect_source& source, PushReceiver& receiver,
                            const cloud::connect_destination& dest = {}) {
    const cloud::push::event_callback callback = &PushReceiver::on_event;
    return service->register_push_events_callback(callback, &receiver, source, dest);
  }
  std::uint32_t want_events(const char* app_id, PushReceiver& receiver) {
    return want_events(push_source(app_id), receiver);
  }
  std::uint32_t want_commands(const cloud::connect_source& source, PushReceiver& receiver,
                              const cloud::connect_destination& dest = {}) {
    const cloud::push::command_callback callback = &PushReceiver::on_command;
    return service->register_push_commands_callback(callback, &receiver, source, dest);
  }
  std::uint32_t want_commands(const char* app_id, PushReceiver& receiver) {
    return want_commands(push_source(app_id), receiver);
  }
  void leave_events(const cloud::connect_source& source, PushReceiver& receiver) {
    const cloud::push::event_callback callback = &PushReceiver::on_event;
    service->unregister_push_events_callback(callback, &receiver, source, {});
  }
  void leave_events(const char* app_id, PushReceiver& receiver) {
    leave_events(push_source(app_id), receiver);
  }
  void leave_commands(const cloud::connect_source& source, PushReceiver& receiver) {
    const cloud::push::command_callback callback = &PushReceiver::on_command;
    service->unregister_push_commands_callback(callback, &receiver, source, {});
  }
  void leave_commands(const char* app_id, PushReceiver& receiver) {
    leave_commands(push_source(app_id), receiver);
  }
  void replay(const char* app_id, PushReceiver& receiver) {
    const cloud::push::command_callback callback = &PushReceiver::on_command;
    service->send_offline_commands(push_source(app_id), callback, &receiver);
  }
  void done(const char* app_id, const char* id, const char* status = "ok") {
    service->set_command_done(id, status, push_source(app_id), {});
  }

  /// "name id" of each command that is kept for an application.
  Names kept(const char* app_id) {
    PushReceiver reader;
    replay(app_id, reader);
    return reader.command_names();
  }

  /// A push comes in here and now, whether the cloud was told of the service or not. No terminator
  /// follows its text.
  void push(const std::string& text) { push(text, text.size()); }
  /// With a size of its own.
  void push(const std::string& text, std::size_t size) {
    std::string buffer = text + "\"rubbish";
    const cirrel_response response{nullptr, buffer.data(), size};
    push_service::push_event(&response, &*service);
  }

  /// The first application of all is the one that the latency probe goes to, which stays in the
  /// events table. Tests that don't want it in theirs have it at "probed", whose receiver is gone.
  void take_probe_away() {
    PushReceiver nobody;
    EXPECT_EQ(want_events("probed", nobody), 0u);
    leave_events("probed", nobody);
    forget();
  }
  /// The network is up, and the probe was refused for good: no table has any entry.
  void lose_probe() {
    PushReceiver nobody;
    network_up();
    client.set_register_result(5);
    EXPECT_EQ(want_events("refused", nobody), 5u);
    client.set_register_result(0);
    forget();
  }

  /// What the cloud was told since the last forget().
  std::vector<PushRegistration> told() const {
    std::vector<PushRegistration> all = client.registrations();
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(told_before_));
    return all;
  }
  /// The destination application of each.
  Names told_apps() const {
    Names names;
    for (const PushRegistration& each : told()) {
      names.push_back(each.destination_app_id.value_or("(null)"));
    }
    return names;
  }
  /// The cloud was told of an application that has no destination but itself.
  void expect_told(const PushRegistration& told, const char* app_id, const char* device_id,
                   const char* user_token) const {
    EXPECT_EQ(told.instance, "shared");
    EXPECT_EQ(told.source_user_token, user_token);
    EXPECT_EQ(told.source_app_id, app_id);
    EXPECT_EQ(told.source_device_id, device_id);
    EXPECT_EQ(told.destination_app_id, app_id);
    EXPECT_EQ(told.destination_device_id, device_id);
    EXPECT_EQ(told.topic, "event");
    EXPECT_EQ(told.transport, "secure_web");
    EXPECT_EQ(told.on_event, &push_service::push_event);
    EXPECT_EQ(told.context, static_cast<const void*>(&*service));
  }
  /// A request to the service of commands as it goes to the front door: addresses come there.
  static void expect_commands_request(const ResolvedRequest& request, const char* method) {
    EXPECT_EQ(request.service, "connect/commands");
    EXPECT_EQ(request.timeout, 5000u);
    EXPECT_EQ(request.type, cloud::request_type::connect);
    EXPECT_EQ(request.method, method);
    EXPECT_EQ(request.app_id, "");
    EXPECT_EQ(request.device_id, "");
    EXPECT_EQ(request.user_token, "");
    EXPECT_EQ(request.destination_app_id, "");
    EXPECT_EQ(request.destination_device_id, "");
    EXPECT_TRUE(request.fill_source);
    EXPECT_EQ(request.reply_text, "");
    EXPECT_EQ(request.reply_code, 0);
  }
  void forget() {
    told_before_ = client.registrations().size();
    listings_before_ += listings_said();
    log.clear();
  }

  /// Waits until every listing asked for so far has been dealt with: the worker takes one at a
  /// time, so all are once another behind them has come in. Needs the network; tells the cloud of
  /// "barrier" and spends an answer.
  void finish_listings() {
    PushReceiver nobody;
    ASSERT_EQ(want_commands("barrier", nobody), 0u);
    leave_commands("barrier", nobody);
    const std::size_t asked_for = listings_before_ + listings_said();
    ASSERT_TRUE(waiting::until([&] { return listings_come() >= asked_for; }));
  }

  std::size_t times_said(std::uint32_t level, const std::wstring& text) const {
    const auto lines = log.lines(level);
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const auto& l) { return l.text == text; }));
  }
  testing::AssertionResult said(std::uint32_t level, const std::wstring& text) const {
    if (times_said(level, text) != 0) return testing::AssertionSuccess();
    testing::AssertionResult failure = testing::AssertionFailure();
    failure << "not said at " << level << ": " << testing::PrintToString(text) << "; but:\n";
    for (const LogLine& line : log.lines()) failure << "  " << line << '\n';
    return failure;
  }

  ProductInfoFolder product;
  RecordingLog log;
  FakeCloudClient client;
  ScriptedConnectRequests requests;
  ScriptedAuthProvider auth;
  std::optional<push_service> service;

 private:
  std::size_t listings_said() const {
    const auto lines = log.lines(16);
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [](const auto& l) { return l.text.starts_with(L"app_id: "); }));
  }
  std::size_t listings_come() const {
    const auto all = requests.requests();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [](const auto& r) { return r.method == "list"; }));
  }

  std::size_t told_before_ = 0;
  std::size_t listings_before_ = 0;
};

}  // namespace support
