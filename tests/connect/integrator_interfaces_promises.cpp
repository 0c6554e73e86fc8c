#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "_base/slots.h"
#include "connect/IConnectRequestsCompatibility.h"
#include "frame/exports.h"
#include "push/IPushCommClient.h"
#include "support/IntegratorTest.h"
#include "support/log_for_life.h"

namespace {

using IntegratorInterfaces = support::IntegratorTest;

std::ptrdiff_t offset(const void* face, const void* object) {
  return static_cast<const char*>(face) - static_cast<const char*>(object);
}

TEST_F(IntegratorInterfaces, BeforeInitThereIsOnlyThePluginItself) {
  have_product_agent();
  EXPECT_EQ(plugin->QueryInterface(IID_IPushService), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequests), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequestsCompatibility), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_ibus_observer), static_cast<ibus_observer*>(&*plugin));
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectIntegrator),
            static_cast<IConnectIntegrator*>(&*plugin));
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), plugin.get());
}

TEST_F(IntegratorInterfaces, AfterInitEveryoneIsFound) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_NE(plugin->QueryInterface(IID_IPushService), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IPushServiceClient), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IConnectRequests), nullptr);
  EXPECT_NE(plugin->QueryInterface(IID_IConnectRequestsCompatibility), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider),
            static_cast<IAuthDataProvider*>(&*plugin));
  EXPECT_EQ(plugin->QueryInterface(IID_ibus_observer), static_cast<ibus_observer*>(&*plugin));
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectIntegrator), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), plugin.get());
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), plugin.get());
}

TEST_F(IntegratorInterfaces, TheOlderFaceOfTheRequestsIsTheirSecond) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(offset(plugin->QueryInterface(IID_IConnectRequestsCompatibility),
                   plugin->QueryInterface(IID_IConnectRequests)),
            static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST_F(IntegratorInterfaces, TheIdentityIsFoundWithTheClientOfAnAgentToo) {
  have_client_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider),
            static_cast<IAuthDataProvider*>(&*plugin));
}

TEST_F(IntegratorInterfaces, TheIdentityIsFoundEvenWhileNobodyIsKnown) {
  have_product_agent();
  agent.fail_user_info(5);
  ASSERT_EQ(init(), 0u);
  EXPECT_NE(plugin->QueryInterface(IID_IAuthDataProvider), nullptr);
}

TEST_F(IntegratorInterfaces, AfterUnInitOnlyThePushClientIsLeft) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  void* const client_before = plugin->QueryInterface(IID_IPushServiceClient);
  plugin->UnInit();
  EXPECT_EQ(plugin->QueryInterface(IID_IPushService), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequests), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectRequestsCompatibility), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IAuthDataProvider), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IPushServiceClient), client_before);
  EXPECT_NE(client_before, nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID_IConnectIntegrator), plugin.get());
}

TEST_F(IntegratorInterfaces, NothingElseIsAnswered) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(plugin->QueryInterface(IID_IProductAgent), nullptr);
  EXPECT_EQ(plugin->QueryInterface(cloud::IID_ICloudRequests), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID{}), nullptr);
  IID nearly = IID_IConnectIntegrator;
  nearly.data4[7] ^= 1;
  EXPECT_EQ(plugin->QueryInterface(nearly), nullptr);
}

TEST_F(IntegratorInterfaces, TheObserverAsksTheMainFace) {
  have_product_agent();
  auto* const observer = face<ibus_observer>(IID_ibus_observer);
  EXPECT_EQ(observer->QueryInterface(IID_IConnectIntegrator), plugin.get());
  EXPECT_EQ(observer->QueryInterface(IID_IZvBaseInterface), plugin.get());
  EXPECT_EQ(observer->QueryInterface(IID_ibus_observer), observer);
  EXPECT_EQ(observer->QueryInterface(IID_IPushService), nullptr);
  ASSERT_EQ(init(), 0u);
  EXPECT_EQ(observer->QueryInterface(IID_IPushService), push_service());
}

TEST_F(IntegratorInterfaces, TheFacesStandInTheirOrder) {
  const void* const start = plugin.get();
  const auto word = static_cast<std::ptrdiff_t>(sizeof(void*));
  EXPECT_EQ(offset(static_cast<IConnectIntegrator*>(&*plugin), start), 0);
  EXPECT_EQ(offset(static_cast<IAuthDataProvider*>(&*plugin), start), 4 * word);
  EXPECT_EQ(offset(static_cast<IProductAgentEvents*>(&*plugin), start), 5 * word);
  EXPECT_EQ(offset(static_cast<ibus_observer*>(&*plugin), start), 6 * word);
}

TEST_F(IntegratorInterfaces, TheOperationsStandWhereTheOtherSideLooks) {
  EXPECT_EQ(slots::slot(&IAuthDataProvider::GetAuthData), 0u);
  EXPECT_EQ(slots::slot(&IProductAgentEvents::OnUserInfoChanged), 0u);
  EXPECT_EQ(slots::slot(&IProductAgentEvents::ignored_1), 1u);
  EXPECT_EQ(slots::slot(&ibus_observer::on_new_listener), 1u);
  EXPECT_EQ(slots::slot(&ibus_observer::on_listener_removed), 2u);
  EXPECT_EQ(slots::slot(&IProductAgent::GetUserInfo), 9u);
  EXPECT_EQ(slots::slot(&IProductAgent::RegisterEvents), 14u);
  EXPECT_EQ(slots::slot(&IProductAgent::UnregisterEvents), 15u);
  EXPECT_EQ(slots::slot(&IProductAgentUserInfo::Release), 1u);
  EXPECT_EQ(slots::slot(&IProductAgentUserInfo::GetDeviceId), 2u);
  EXPECT_EQ(slots::slot(&IProductAgentUserInfo::GetUserToken), 3u);
}

TEST_F(IntegratorInterfaces, TheirIdentifiersAreThoseOfTheOtherModules) {
  const auto is = [](const IID& id, std::uint32_t a, std::uint16_t b, std::uint16_t c,
                     std::uint64_t rest) {
    IID expected = {a, b, c, {}};
    for (int i = 0; i < 8; ++i) {
      expected.data4[i] = static_cast<std::uint8_t>(rest >> (8 * (7 - i)));
    }
    return id == expected;
  };
  EXPECT_TRUE(is(IID_IPushService, 0xdef4b7d0, 0xfac5, 0x9b80, 0xd544b6d3fd2b8249));
  EXPECT_TRUE(is(IID_IPushServiceClient, 0xcd08c9a1, 0x4017, 0xa521, 0xe340818136f5205a));
  EXPECT_TRUE(is(IID_IConnectRequests, 0xaf7c71e6, 0xc767, 0xbb51, 0x064b22cbcff5e1bf));
  EXPECT_TRUE(
      is(IID_IConnectRequestsCompatibility, 0x32e0cede, 0x89d7, 0xaa0f, 0x804b248a4cd0df04));
  EXPECT_TRUE(is(IID_IAuthDataProvider, 0x9e381cff, 0x14ce, 0xa07e, 0x6a4713cc20203cdf));
  EXPECT_TRUE(is(IID_ibus_observer, 0x580b9ba1, 0x8b25, 0xb2eb, 0x704483c2b13abaaa));
  EXPECT_TRUE(is(IID_IConnectIntegrator, 0x7b4213fe, 0x2633, 0x9505, 0xef43303432492c9e));
}

TEST_F(IntegratorInterfaces, StartAndStopDoNothing) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  journal.clear();
  EXPECT_EQ(plugin->Start(), 0u);
  plugin->Stop();
  EXPECT_TRUE(journal.lines().empty());
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorInterfaces, ThePluginIsCreatedByItsName) {
  void* object = nullptr;
  ASSERT_EQ(ZvCreateObject(L"connect_integrator", IID_IServPlugin, &object), 0u);
  auto* const made = static_cast<IServPlugin*>(object);
  void* const integrator = made->QueryInterface(IID_IConnectIntegrator);
  EXPECT_EQ(integrator, object);
  ZvDestroyObject(L"connect_integrator", made->QueryInterface(IID_IZvBaseInterface));
}

TEST(IntegratorLog, StaysOnForTheObjectsWholeLife) {
  const support::ProductInfoFolder product;
  support::expect_log_for_life<connect_integrator_plugin>(31u);
}

}  // namespace
