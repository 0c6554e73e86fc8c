#include <set>

#include "_base/win_error.h"
#include "connect/IAuthDataProvider.h"
#include "devkit/host/ServerPlugins.h"
#include "devkit/host/User.h"
#include "frame/IServPlugin.h"
#include "push/IPushCommClient.h"
#include "system/KitScene.h"

namespace kit_test {

namespace {

using devkit::HostOptions;
using devkit::PluginHost;

constexpr HostOptions with_agent = {.product_agent = true};

class HostPlugins : public KitScene {
 protected:
  HostPlugins() { kit.write("user.json", devkit::to_text({"device", "token"})); }

  static std::uint32_t status_of(PluginHost& host, const wchar_t* name,
                                 const IID& id = IID_IServPlugin) {
    void* face = nullptr;
    const std::uint32_t status = host.get_plugin(name, id, &face);
    EXPECT_EQ(face != nullptr, status == 0);
    if (status == 0) host.release_plugin(name);
    return status;
  }
};

TEST_F(HostPlugins, AreAllFourToBeHadAndEndInOrder) {
  PluginHost host(kit.module(), with_agent);
  for (int round = 0; round < 2; ++round) {
    const devkit::ServerPlugins plugins(host);
    const devkit::HeldPlugin again(host, "connect_integrator", IID_IPushService);
    EXPECT_NE(&again.as<IPushService>(), nullptr);
  }
  EXPECT_EQ(status_of(host, L"no_such_plugin") == 0, false);
}

TEST_F(HostPlugins, GiveTheIdentityThatTheAgentKnows) {
  PluginHost host(kit.module(), with_agent);
  const devkit::HeldPlugin integrator(host, "connect_integrator", IID_IAuthDataProvider);
  auth_data data;
  ASSERT_EQ(integrator.as<IAuthDataProvider>().GetAuthData(data), 0u);
  EXPECT_EQ(data.device_id.view(), "device");
  EXPECT_EQ(data.user_token.view(), "token");
}

TEST_F(HostPlugins, OfTheHostsOwnAreOfferedAsItIsTold) {
  {
    PluginHost host(kit.module(), with_agent);
    EXPECT_EQ(status_of(host, L"productagent", IID_IProductAgent), 0u);
    EXPECT_EQ(status_of(host, L"productagent", IID_IProductAgentCommClient), win_error::not_found);
    EXPECT_EQ(status_of(host, L"productagentcommclient", IID_IProductAgentCommClient),
              win_error::not_found);
  }
  PluginHost host(kit.module(), {.product_agent_client = true});
  EXPECT_EQ(status_of(host, L"productagent", IID_IProductAgent), win_error::not_found);
  EXPECT_EQ(status_of(host, L"productagentcommclient", IID_IProductAgentCommClient), 0u);
  EXPECT_EQ(status_of(host, L"connect_integrator"), 0u);
}

TEST_F(HostPlugins, DoNotStartWithoutAnyAgent) {
  PluginHost host(kit.module());
  EXPECT_EQ(status_of(host, L"connect_integrator"), win_error::not_found);
  // Those that stand on it hand its status on.
  EXPECT_EQ(status_of(host, L"push_service_server"), win_error::not_found);
  EXPECT_EQ(status_of(host, L"connect_requests_server"), win_error::not_found);
  EXPECT_EQ(status_of(host, L"cloud_requests"), 0u);
}

TEST_F(HostPlugins, FailOnDemand) {
  PluginHost host(kit.module(), {.product_agent = true, .product_agent_client = true});
  {
    const Variable wish("SPLICE_HOST_FAIL", "productagent:5,productagentcommclient:7");
    EXPECT_EQ(status_of(host, L"connect_integrator"), 7u);
  }
  {
    const Variable wish("SPLICE_HOST_FAIL", "productagent:5");
    EXPECT_EQ(status_of(host, L"connect_integrator"), 0u);
  }
  {
    const Variable wish("SPLICE_HOST_FAIL", "connect_integrator:8");
    EXPECT_EQ(status_of(host, L"push_service_server"), 8u);
  }
  {
    const Variable wish("SPLICE_HOST_FAIL", "cloud_requests:9");
    EXPECT_EQ(status_of(host, L"connect_integrator"), win_error::gen_failure);
  }
  EXPECT_EQ(status_of(host, L"connect_integrator"), 0u);
}

TEST_F(HostPlugins, ServeAnApplicationWithoutAHostAsWell) {
  PluginHost host(kit.module(), {.alone = true});
  const devkit::HeldPlugin integrator(host, "connect_integrator", IID_IPushServiceClient);
  EXPECT_NE(&integrator.as<IPushCommClient>(), nullptr);
}

TEST_F(HostPlugins, HaveNoBusUnlessTheHostBringsIt) {
  {
    const PluginHost host(kit.module(), {.product_agent = true, .bus = false});
    EXPECT_EQ(host.bus(), nullptr);
  }
  const PluginHost host(kit.module(), with_agent);
  EXPECT_NE(host.bus(), nullptr);
}

}  // namespace

}  // namespace kit_test
