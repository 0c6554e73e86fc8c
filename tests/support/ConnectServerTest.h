#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "connect/ConnectRequestsServer.h"
#include "support/FakeBus.h"
#include "support/FakeConnectRequests.h"
#include "support/FakeHost.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// The plug-in "connect_requests_server" between a bus and a scripted "connect_integrator".
class ConnectServerTest : public testing::Test {
 protected:
  /// A reply's fields as they end up, whatever the order of the writes.
  using Reply = std::map<std::string, std::variant<std::int64_t, std::string>>;

  static constexpr const char* channel = "connect.actions";
  static constexpr const wchar_t* init_scope = L"cloud::connect::ConnectRequestsServer::Init";
  static constexpr const wchar_t* uninit_scope = L"cloud::connect::ConnectRequestsServer::UnInit";
  static constexpr const wchar_t* request_scope =
      L"cloud::connect::ConnectRequestsServer::on_request";
  static constexpr const wchar_t* components_label =
      L"cloud::connect::ConnectRequestsServer::init_components";

  ConnectServerTest() {
    bus.load(folder.path());
    host.add_plugin(L"connect_integrator", static_cast<IConnectRequests*>(&requests));
    plugin.reset(new cloud::connect::ConnectRequestsServer());
  }
  /// Nothing may be left with the bus or the host.
  void TearDown() override {
    plugin.reset();
    expect_empty_handed();
    EXPECT_EQ(bus.messages_alive(), 0u);
  }
  void expect_empty_handed() {
    EXPECT_EQ(bus.subscriptions_alive(channel), 0u);
    EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
  }

  std::uint32_t init() { return plugin->Init(&host); }

  static BusFields message() {
    return {{"module", "connect_requests"},
            {"method", "resolve_request"},
            {"service", "svc"},
            {"request_method", "do"},
            {"source_app_id", "their app"},
            {"source_device_id", "their device"},
            {"source_token", "their token"},
            {"dest_app_id", "other app"},
            {"dest_device_id", "other device"},
            {"message", R"({"a": 1})"},
            {"timeout", 1234}};
  }
  static BusFields message_without(const std::string& key) {
    BusFields fields = message();
    std::erase_if(fields, [&](const BusField& field) { return field.key == key; });
    return fields;
  }
  static BusFields message_with(const std::string& key, const std::string& text) {
    BusFields fields = message_without(key);
    fields.emplace_back(key, text);
    return fields;
  }

  /// The reply to a message that comes in now; none if there was none.
  std::optional<Reply> ask(const BusFields& fields) {
    const std::optional<BusFields> written = bus.deliver(channel, fields);
    if (!written) return std::nullopt;
    Reply reply;
    for (const BusField& field : *written) reply[field.key] = field.value;
    return reply;
  }
  static Reply success(const std::string& text, std::int64_t err) {
    return {{"reply", text}, {"err", err}};
  }
  static Reply failure(std::int64_t err, std::int64_t error_type) {
    return {{"err", err}, {"error_type", error_type}};
  }

  struct Destroy {
    void operator()(cloud::connect::ConnectRequestsServer* object) const {
      msvc_abi::destroy(object);
    }
  };

  ModuleFolder folder;
  RecordingLog log;
  FakeBus bus;
  FakeHost host;
  FakeConnectRequests requests;
  std::unique_ptr<cloud::connect::ConnectRequestsServer, Destroy> plugin;
};

}  // namespace support
