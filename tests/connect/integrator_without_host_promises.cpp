#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "connect/IConnectRequestsCompatibility.h"
#include "platform/library.h"
#include "support/IntegratorTest.h"
#include "support/PluginProbe.h"
#include "support/loadable.h"

namespace {

using Steps = std::vector<std::wstring>;

class IntegratorWithoutHost : public support::IntegratorTest {
 protected:
  std::filesystem::path module_path() const {
    return product.folder / platform::library_file_name(L"cloudsplicer");
  }
  /// The module itself stands where the plug-in looks for it.
  void put_module() {
    std::filesystem::copy_file(support::built_module(), module_path());
    std::filesystem::create_directories(product.folder / "settings");
  }
};

TEST_F(IntegratorWithoutHost, ServesItselfFromItsOwnFile) {
  put_module();
  EXPECT_EQ(plugin->Init(nullptr), 0u);
  EXPECT_TRUE(fake_host.calls().empty());
  EXPECT_NE(push_service(), nullptr);
  EXPECT_NE(requests(), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IConnectRequestsCompatibility), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  EXPECT_EQ(log.count(4, init_scope, L"Could not get Product Agent Client plugin"), 0u);
  plugin->UnInit();
  EXPECT_EQ(client.instances_alive(), 0u);
}

TEST_F(IntegratorWithoutHost, HasNoAgentAndSoNoIdentity) {
  put_module();
  listen();
  ASSERT_EQ(plugin->Init(nullptr), 0u);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider), nullptr);
  EXPECT_EQ(who(), "232");
  EXPECT_LOGGED(log, 16, listening_label, L"is listening");
  EXPECT_EQ(log.count(4, init_scope,
                      L"Could not get Product Agent plugin, try Product Agent Client plugin"),
            0u);
}

TEST_F(IntegratorWithoutHost, RefusesRequestsThatNeedAnIdentity) {
  put_module();
  ASSERT_EQ(plugin->Init(nullptr), 0u);
  cloud::connect_request request;
  request.service = "svc";
  request.source = {"app", "device", "token"};
  cloud::request_reply reply;
  const auto status = requests()->resolve(request, reply, true);
  EXPECT_EQ(status.error_type, 1u);
  EXPECT_EQ(status.code, 232u);
  EXPECT_TRUE(client.asks().empty());
}

TEST_F(IntegratorWithoutHost, SendsRequestsThatBringTheirOwn) {
  put_module();
  ASSERT_EQ(plugin->Init(nullptr), 0u);
  client.answer(support::answer_text(R"({"result": {}})"));
  cloud::connect_request request;
  request.service = "svc";
  request.request_method = "do";
  request.source = {"app", "device", "token"};
  cloud::request_reply reply;
  const auto status = requests()->resolve(request, reply, false);
  EXPECT_EQ(status.code, 0u);
  EXPECT_EQ(client.asks().size(), 1u);
}

TEST_F(IntegratorWithoutHost, DrivesThePluginOfTheFileToItsEnd) {
  support::FakeBus* const the_bus = &bus;
  the_bus->unload();
  const auto path = product.folder.put_library(L"plugin_probe", L"cloudsplicer");
  support::PluginProbe probe(path);
  probe.fail(L"Init", 1234);
  EXPECT_EQ(plugin->Init(nullptr), 31u);
  EXPECT_LOGGED(log, 4, requests_label, L"Failed to get plugin cloud_requests; err = 1234");
  EXPECT_EQ(probe.steps(), (Steps{L"create cloud_requests IServPlugin", L"Init without a host",
                                  L"QueryInterface IZvBaseInterface", L"destroy cloud_requests"}));
  EXPECT_TRUE(log.traced(uninit_scope));
}

TEST_F(IntegratorWithoutHost, FailsWithoutItsOwnFile) {
  std::uint32_t error = 0;
  ASSERT_EQ(platform::load_library(module_path().wstring().c_str(), error), nullptr);
  EXPECT_EQ(plugin->Init(nullptr), 31u);
  EXPECT_LOGGED(log, 4, requests_label,
                L"Failed to get plugin cloud_requests; err = " + std::to_wstring(error));
  EXPECT_TRUE(log.traced(uninit_scope));
  EXPECT_EQ(client.instances_alive(), 0u);
}

TEST_F(IntegratorWithoutHost, FailsWithoutKnowingItsFolder) {
  product.seam.set_own_module_name(L"", 1234);
  EXPECT_EQ(plugin->Init(nullptr), 31u);
  EXPECT_LOGGED(log, 4, requests_label, L"Failed to get foldername; err = 1234");
  EXPECT_TRUE(log.traced(uninit_scope));
}

TEST_F(IntegratorWithoutHost, FailsInAFolderThatIsNone) {
  product.seam.set_own_module_name(platform::library_file_name(L"cloudsplicer"));
  EXPECT_EQ(plugin->Init(nullptr), 31u);
  EXPECT_LOGGED(log, 4, requests_label, L"Failed to get foldername; err = 31");
}

TEST_F(IntegratorWithoutHost, KeepsNothingForAHostThatComesLater) {
  put_module();
  ASSERT_EQ(plugin->Init(nullptr), 0u);
  plugin->UnInit();
  have_product_agent();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(who(), "device token");
  plugin->UnInit();
  EXPECT_EQ(plugin->Init(nullptr), 0u);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider), nullptr);
  EXPECT_EQ(who(), "232");
}

}  // namespace
