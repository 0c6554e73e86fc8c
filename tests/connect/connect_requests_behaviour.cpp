#include <gtest/gtest.h>

#include "connect/connect_requests.h"
#include "support/CloudRequestsTest.h"
#include "support/ConnectRequestsTest.h"

namespace {

class ConnectRequests : public support::ConnectRequestsTest {};

TEST_F(ConnectRequests, SendsTheSourceAsWrittenThroughItsOlderFace) {
  IConnectRequestsCompatibility& older = *requests;
  cloud::request_status status{9, 9};
  EXPECT_EQ(older.resolve(&status, request, reply), &status);
  EXPECT_EQ(status.code, 0U);
  EXPECT_EQ(sent(), as_the_caller_wrote_it);
  EXPECT_TRUE(log.traced(L"cloud::connect::connect_requests::resolve"));
}

TEST_F(ConnectRequests, GivesTheStatusThroughTheCallersPointerOnEveryRoad) {
  IConnectRequests& first = *requests;
  cloud::request_status status{9, 9};
  EXPECT_EQ(first.resolve(&status, request, reply, true), &status);
  EXPECT_EQ(first.resolve(&status, request, reply, false), &status);
  provider.forget_user();
  EXPECT_EQ(first.resolve(&status, request, reply, true), &status);
  EXPECT_EQ(status.code, 232U);
  make(nullptr);
  EXPECT_EQ(requests->resolve(&status, request, reply, true), &status);
}

TEST_F(ConnectRequests, BearsTheIdentifiersOfTheProduct) {
  EXPECT_EQ(IID_IConnectRequests,
            (IID{0xaf7c71e6, 0xc767, 0xbb51, {0x06, 0x4b, 0x22, 0xcb, 0xcf, 0xf5, 0xe1, 0xbf}}));
  EXPECT_EQ(IID_IConnectRequestsCompatibility,
            (IID{0x32e0cede, 0x89d7, 0xaa0f, {0x80, 0x4b, 0x24, 0x8a, 0x4c, 0xd0, 0xdf, 0x04}}));
}

class ConnectRequestsOnThePlugin : public support::CloudRequestsTest {};

TEST_F(ConnectRequestsOnThePlugin, ObserversAreThoseOfThePlugin) {
  ASSERT_EQ(init(), 0U);
  cloud::connect::connect_requests real({nullptr, plugin.get()}, nullptr);
  support::NetworkListener listener;
  EXPECT_TRUE(real.add_observer(&listener, 3));
  EXPECT_FALSE(plugin->add_observer(&listener, 3)) << "it is there already";
  EXPECT_TRUE(real.remove_observer(&listener, 3));
  EXPECT_FALSE(plugin->remove_observer(&listener, 3));
  plugin->UnInit();
}

}  // namespace
