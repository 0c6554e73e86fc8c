#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "connect/ConnectRequestsServer.h"
#include "support/IntegratorTest.h"

namespace {

using support::BusFields;

/// The server beside a living integrator: a message on the bus, and what the cloud is asked.
class ServerWithIntegrator : public support::IntegratorTest {
 protected:
  struct DestroyServer {
    void operator()(cloud::connect::ConnectRequestsServer* object) const {
      msvc_abi::destroy(object);
    }
  };

  ServerWithIntegrator() {
    have_client_agent();
    EXPECT_EQ(init(), 0u);
    servers_host.add_object(L"connect_integrator", static_cast<IConnectIntegrator*>(&*plugin));
    server.reset(new cloud::connect::ConnectRequestsServer());
    EXPECT_EQ(server->Init(&servers_host), 0u);
  }
  ~ServerWithIntegrator() override { server.reset(); }

  /// "<err> <error_type>", a missing one as "-".
  std::string ask() {
    const auto reply = bus.deliver("connect.actions", {{"module", "connect_requests"},
                                                       {"method", "resolve_request"},
                                                       {"service", "svc"},
                                                       {"source_app_id", "forged app"},
                                                       {"source_device_id", "forged device"},
                                                       {"source_token", "forged token"},
                                                       {"timeout", 500}});
    if (!reply) return "nothing";
    const auto number = [&](const char* key) {
      const std::int64_t* const found = support::find_number(*reply, key);
      return found != nullptr ? std::to_string(*found) : std::string("-");
    };
    return number("err") + " " + number("error_type");
  }

  support::FakeHost servers_host;
  std::unique_ptr<cloud::connect::ConnectRequestsServer, DestroyServer> server;
};

TEST_F(ServerWithIntegrator, RefusesWhileNobodyIsKnown) {
  EXPECT_EQ(ask(), "232 1");
  EXPECT_TRUE(cloud_requests.requests().empty());
}

TEST_F(ServerWithIntegrator, SendsInTheNameOfTheLocalUser) {
  agent.change();
  EXPECT_EQ(ask(), "0 -");
  ASSERT_EQ(cloud_requests.requests().size(), 1u);
  const cloud::connect_request sent = cloud_requests.requests()[0];
  EXPECT_STREQ(sent.source.app_id.c_str(), "Desktop");
  EXPECT_STREQ(sent.source.device_id.c_str(), "device");
  EXPECT_STREQ(sent.source.user_token.c_str(), "token");
  EXPECT_EQ(sent.timeout, 500u);
}

TEST_F(ServerWithIntegrator, RefusesAgainAfterTheUserIsGone) {
  agent.change();
  agent.fail_user_info(5);
  agent.change();
  EXPECT_EQ(ask(), "232 1");
}

TEST_F(ServerWithIntegrator, FailsByTheCodeOfTheHostIfTheIntegratorIsNotUp) {
  server->UnInit();
  plugin->UnInit();
  EXPECT_EQ(server->Init(&servers_host), 1168u);
  EXPECT_LOGGED(log, 4, L"cloud::connect::ConnectRequestsServer::init_components",
                L"Failed to get plugin connect_integrator err = 1168");
  EXPECT_TRUE(log.traced(L"cloud::connect::ConnectRequestsServer::UnInit"));
}

}  // namespace
