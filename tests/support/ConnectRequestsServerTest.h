#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "connect/ConnectRequestsServer.h"
#include "support/FakeBus.h"
#include "support/FakeConnectRequests.h"
#include "support/FakeHost.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// The plug-in on a fake bus and host. At the end nothing may be left with either.
class ConnectRequestsServerTest : public testing::Test {
 protected:
  static constexpr char actions[] = "connect.actions";

  struct Destroy {
    void operator()(IServPlugin* object) const { msvc_abi::destroy(object); }
  };

  ConnectRequestsServerTest() {
    bus.load(folder.path());
    host.add_plugin(L"connect_integrator", static_cast<IConnectRequests*>(&requests));
    plugin.reset(new cloud::connect::ConnectRequestsServer());
  }

  void TearDown() override {
    plugin.reset();
    EXPECT_EQ(bus.subscriptions_alive(actions), 0U);
    EXPECT_EQ(bus.messages_alive(), 0U);
    EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
  }

  void init() { ASSERT_EQ(plugin->Init(&host), 0U); }
  std::optional<BusFields> ask(const BusFields& fields) { return bus.deliver(actions, fields); }

  static BusFields full_request() {
    return {{"module", "connect_requests"},
            {"method", "resolve_request"},
            {"service", "svc"},
            {"request_method", "do"},
            {"source_app_id", "src app"},
            {"source_device_id", "src device"},
            {"source_token", "src token"},
            {"dest_app_id", "dst app"},
            {"dest_device_id", "dst dev"},
            {"message", R"({"a": 1})"},
            {"timeout", 1234}};
  }
  static BusFields with(BusFields fields, const BusField& changed) {
    for (BusField& field : fields) {
      if (field.key == changed.key) field = changed;
    }
    return fields;
  }
  static BusFields without(BusFields fields, const std::string& key) {
    std::erase_if(fields, [&](const BusField& field) { return field.key == key; });
    return fields;
  }

  ModuleFolder folder;
  RecordingLog log;
  FakeBus bus;
  FakeHost host;
  FakeConnectRequests requests;
  std::unique_ptr<IServPlugin, Destroy> plugin;
};

}  // namespace support
