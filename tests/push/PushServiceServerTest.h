#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "push/push_service_server.h"
#include "support/FakeBus.h"
#include "support/FakeHost.h"
#include "support/FakePushService.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"
#include "support/only.h"

/// The server between a bus, a host and a push service, none of them real. The product's
/// application is "Product".
class PushServiceServerTest : public testing::Test {
 protected:
  using BusFields = support::BusFields;
  using PushCall = support::PushCall;
  using Calls = std::vector<std::string>;
  using HostCalls = std::vector<std::wstring>;

  struct delete_plugin {
    void operator()(push_service_server* plugin) const {
      plugin->scalar_deleting_destructor(msvc_abi::free_memory);
    }
  };

  PushServiceServerTest() {
    product.probe->set_string(44, L"Product");
    bus.load(product.folder.path());
    host.add_plugin(L"connect_integrator", IID_IPushService, static_cast<IPushService*>(&service));
  }

  static BusFields action(const std::string& method, const std::string& app_id) {
    return {{"module", "push"},
            {"method", method},
            {"source_app_id", app_id},
            {"source_device_id", "device"},
            {"source_token", "token"},
            {"dest_app_id", "other app"},
            {"dest_device_id", "other device"}};
  }

  void TearDown() override {
    server.reset();
    EXPECT_EQ(bus.messages_alive(), 0u);
    EXPECT_EQ(bus.subscriptions_alive("connect.actions"), 0u);
  }

  void start() {
    ASSERT_EQ(server->Init(&host), 0u);
    bus.forget_calls();
    bus.forget_sent();
    log.clear();
    host.clear();
  }

  /// What the sender gets as `err`.
  std::int64_t ask(const std::string& method, const std::string& app_id, BusFields more) {
    BusFields fields = action(method, app_id);
    fields.insert(fields.end(), more.begin(), more.end());
    const auto reply = bus.deliver("connect.actions", fields);
    if (!reply || support::find_number(*reply, "err") == nullptr) {
      ADD_FAILURE() << method << " got no reply";
      return -1;
    }
    EXPECT_EQ(*support::find_text(*reply, "module"), "push");
    EXPECT_EQ(*support::find_text(*reply, "method"), method);
    EXPECT_EQ(*support::find_text(*reply, "source_app_id"), app_id);
    EXPECT_EQ(*support::find_text(*reply, "source_device_id"), "device");
    EXPECT_EQ(*support::find_text(*reply, "source_token"), "token");
    EXPECT_EQ(*support::find_text(*reply, "dest_app_id"), "other app");
    EXPECT_EQ(*support::find_text(*reply, "dest_device_id"), "other device");
    return *support::find_number(*reply, "err");
  }
  std::int64_t ask_register(const std::string& app_id, std::int32_t topic) {
    return ask("push_register", app_id, {{"topic", topic}});
  }
  std::int64_t ask_unregister(const std::string& app_id, std::int32_t topic) {
    return ask("push_unregister", app_id, {{"topic", topic}});
  }

  /// The only call that the service got.
  PushCall only_call() const { return support::only(service.calls()); }

  void expect_call(const PushCall& call, const std::string& operation, const std::string& app_id) {
    expect_sender(call, operation, app_id);
    EXPECT_EQ(call.dest_app_id, "other app");
    EXPECT_EQ(call.dest_device_id, "other device");
    EXPECT_EQ(call.context, server.get());
  }
  static void expect_sender(const PushCall& call, const std::string& operation,
                            const std::string& app_id) {
    EXPECT_EQ(call.operation, operation);
    EXPECT_EQ(call.app_id, app_id);
    EXPECT_EQ(call.device_id, "device");
    EXPECT_EQ(call.user_token, "token");
  }

  Calls operations() const {
    Calls names;
    for (const PushCall& call : service.calls()) names.push_back(call.operation);
    return names;
  }

  support::RecordingLog log;
  support::ProductInfoFolder product;
  support::FakeBus bus;
  support::FakeHost host;
  support::FakePushService service;
  std::unique_ptr<push_service_server, delete_plugin> server{new push_service_server};
};
