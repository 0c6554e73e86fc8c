#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "_base/slots.h"
#include "connect/connect_requests.h"
#include "frame/mgr_plugin_releaser.h"
#include "support/CloudRequestsTest.h"
#include "support/FakeAuthProvider.h"
#include "support/FakeCloudRequests.h"
#include "support/FakeHost.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::connect::connect_requests;

std::string text(const zv::StringT<char>& string) {
  return std::string(string.view());
}

class ConnectRequests : public testing::Test {
 protected:
  ConnectRequests() { make(&provider); }

  void make(IAuthDataProvider* auth_provider) {
    requests.emplace(
        plugin_handle<cloud::ICloudRequests>(
            std::make_unique<zv::framework::details::mgr_plugin_releaser>(&host, L"cloud_requests"),
            &cloud_requests),
        auth_provider);
    host.clear();
  }

  static cloud::connect_request full_request() {
    cloud::connect_request request;
    request.service = "svc";
    request.timeout = 1234;
    request.request_method = "do";
    request.source = {"own app", "own device", "own token"};
    request.destination = {"their device", "their app"};
    request.message = R"({"a": 1})";
    return request;
  }

  cloud::request_status resolve(bool fill_source) {
    return requests->resolve(full_request(), reply, fill_source);
  }

  support::ProductInfoFolder product;
  support::RecordingLog log;
  support::FakeHost host;
  support::FakeCloudRequests cloud_requests;
  support::FakeAuthProvider provider;
  std::optional<connect_requests> requests;
  cloud::request_reply reply;
};

TEST_F(ConnectRequests, HandsOnARequestThatBringsItsOwnSource) {
  cloud_requests.status = {2, 77};
  const cloud::request_status status = resolve(false);
  EXPECT_EQ(status.error_type, 2U);
  EXPECT_EQ(status.code, 77U);

  ASSERT_EQ(cloud_requests.requests.size(), 1U);
  const cloud::connect_request& sent = cloud_requests.requests[0];
  EXPECT_EQ(text(sent.source.app_id), "own app");
  EXPECT_EQ(text(sent.source.device_id), "own device");
  EXPECT_EQ(text(sent.source.user_token), "own token");
  EXPECT_EQ(cloud_requests.replies[0], &reply);
  EXPECT_EQ(provider.asked(), 0U);
  EXPECT_TRUE(product.probe->steps().empty());
  EXPECT_TRUE(log.traced(L"cloud::connect::connect_requests::resolve"));
}

TEST_F(ConnectRequests, SendsARequestWithItsOwnSourceWithoutAnyProvider) {
  make(nullptr);
  EXPECT_EQ(resolve(false).code, 0U);
  EXPECT_EQ(cloud_requests.requests.size(), 1U);
  EXPECT_EQ(text(reply.text), "{}");
}

TEST_F(ConnectRequests, RefusesToFillInASourceWithoutAProvider) {
  make(nullptr);
  reply.text = "before";
  reply.code = 5;
  const cloud::request_status status = resolve(true);
  EXPECT_EQ(status.error_type, 1U);
  EXPECT_EQ(status.code, 232U);
  EXPECT_TRUE(cloud_requests.requests.empty());
  EXPECT_EQ(text(reply.text), "before");
  EXPECT_EQ(reply.code, 5);
  EXPECT_TRUE(product.probe->steps().empty());
  EXPECT_TRUE(log.traced(L"cloud::connect::connect_requests::resolve"));
}

TEST_F(ConnectRequests, FillsInProductDeviceAndUserAndKeepsTheRest) {
  product.probe->set_string(44, L"Pr\u00f6duct");
  cloud_requests.reply = "answer";
  EXPECT_EQ(resolve(true).code, 0U);

  ASSERT_EQ(cloud_requests.requests.size(), 1U);
  const cloud::connect_request& sent = cloud_requests.requests[0];
  EXPECT_EQ(text(sent.source.app_id), "Pr\u00f6duct");
  EXPECT_EQ(text(sent.source.device_id), "device");
  EXPECT_EQ(text(sent.source.user_token), "token");
  EXPECT_EQ(text(sent.service), "svc");
  EXPECT_EQ(sent.timeout, 1234U);
  EXPECT_EQ(sent.type, cloud::request_type::connect);
  EXPECT_EQ(text(sent.request_method), "do");
  EXPECT_EQ(text(sent.destination.device_id), "their device");
  EXPECT_EQ(text(sent.destination.app_id), "their app");
  EXPECT_EQ(text(sent.message), R"({"a": 1})");
  EXPECT_EQ(cloud_requests.replies[0], &reply);
  EXPECT_EQ(text(reply.text), "answer");
  EXPECT_GE(provider.capacity_brought(), 64U);
}

TEST_F(ConnectRequests, HandsOnTheTypeOfAFilledRequest) {
  cloud::connect_request request = full_request();
  request.type = cloud::request_type::technology;
  requests->resolve(request, reply, true);
  ASSERT_EQ(cloud_requests.requests.size(), 1U);
  EXPECT_EQ(cloud_requests.requests[0].type, cloud::request_type::technology);
}

TEST_F(ConnectRequests, ReportsWhatBecameOfAFilledRequest) {
  cloud_requests.status = {1, 5};
  const cloud::request_status status = resolve(true);
  EXPECT_EQ(status.error_type, 1U);
  EXPECT_EQ(status.code, 5U);
}

TEST_F(ConnectRequests, NeverWritesToTheCallersRequest) {
  const cloud::connect_request request = full_request();
  requests->resolve(request, reply, true);
  EXPECT_EQ(text(request.source.app_id), "own app");
  EXPECT_EQ(text(request.source.device_id), "own device");
  EXPECT_EQ(text(request.source.user_token), "own token");
}

TEST_F(ConnectRequests, RefusesTheCallersOwnTokenWhileNobodyIsKnown) {
  provider.forget_user();
  reply.text = "before";
  const cloud::request_status status = resolve(true);
  EXPECT_EQ(status.error_type, 1U);
  EXPECT_EQ(status.code, 232U);
  EXPECT_TRUE(cloud_requests.requests.empty());
  EXPECT_EQ(text(reply.text), "before");
}

TEST_F(ConnectRequests, RefusesAUserWithoutADevice) {
  provider.set_user("", "token");
  EXPECT_EQ(resolve(true).code, 232U);
  EXPECT_TRUE(cloud_requests.requests.empty());
}

TEST_F(ConnectRequests, RefusesAUserWithoutAToken) {
  provider.set_user("device", "");
  EXPECT_EQ(resolve(true).code, 232U);
  EXPECT_TRUE(cloud_requests.requests.empty());
}

TEST_F(ConnectRequests, LooksTheProductUpAnewForEachFilledRequest) {
  const auto once = support::ProductInfoFolder::road(L"ProductInfo", L"44 Desktop");
  resolve(true);
  EXPECT_EQ(product.probe->steps(), once);
  EXPECT_EQ(text(cloud_requests.requests.at(0).source.app_id), "Desktop");
  resolve(true);
  EXPECT_EQ(product.probe->steps().size(), 2 * once.size());
}

TEST_F(ConnectRequests, AsksForTheProductBeforeTheUser) {
  std::size_t steps = 0;
  provider.set_hook([&] { steps = product.probe->steps().size(); });
  resolve(true);
  EXPECT_GT(steps, 0U);
}

TEST_F(ConnectRequests, SendsAnEmptyProductWhereTheConfigurationHasNone) {
  product.probe->set_string(44, nullptr);
  EXPECT_EQ(resolve(true).code, 0U);
  product.probe->set_string(44, L"");
  EXPECT_EQ(resolve(true).code, 0U);
  ASSERT_EQ(cloud_requests.requests.size(), 2U);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "");
  EXPECT_EQ(text(cloud_requests.requests[1].source.app_id), "");
}

TEST_F(ConnectRequests, SendsAnEmptyProductWithoutTheConfigurationLibrary) {
  const support::TemporaryFolder empty;
  product.seam.set_own_module_name(empty.module_name(L"cloudsplicer").wstring());
  EXPECT_EQ(resolve(true).code, 0U);
  ASSERT_EQ(cloud_requests.requests.size(), 1U);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "");
  EXPECT_EQ(text(cloud_requests.requests[0].source.user_token), "token");
}

TEST_F(ConnectRequests, SendsTheSourceAsWrittenThroughItsOlderFace) {
  IConnectRequestsCompatibility& older = *requests;
  cloud::request_status status{9, 9};
  EXPECT_EQ(older.resolve(&status, full_request(), reply), &status);
  EXPECT_EQ(status.code, 0U);
  ASSERT_EQ(cloud_requests.requests.size(), 1U);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "own app");
  EXPECT_TRUE(log.traced(L"cloud::connect::connect_requests::resolve"));
}

TEST_F(ConnectRequests, GivesTheStatusThroughTheCallersPointerOnEveryRoad) {
  IConnectRequests& first = *requests;
  cloud::request_status status{9, 9};
  EXPECT_EQ(first.resolve(&status, full_request(), reply, true), &status);
  EXPECT_EQ(first.resolve(&status, full_request(), reply, false), &status);
  provider.forget_user();
  EXPECT_EQ(first.resolve(&status, full_request(), reply, true), &status);
  EXPECT_EQ(status.code, 232U);
  make(nullptr);
  EXPECT_EQ(requests->resolve(&status, full_request(), reply, true), &status);
}

TEST_F(ConnectRequests, ObserversAreThoseOfTheCloudRequests) {
  support::NetworkListener listener;
  EXPECT_TRUE(requests->add_observer(&listener, 7));
  EXPECT_FALSE(requests->add_observer(&listener, 7)) << "the answer comes from there as well";
  cloud_requests.tell_network_available();
  EXPECT_EQ(listener.heard, 1);
  EXPECT_FALSE(requests->remove_observer(&listener, 8)) << "the context goes there as well";
  EXPECT_TRUE(requests->remove_observer(&listener, 7));
  cloud_requests.tell_network_available();
  EXPECT_EQ(listener.heard, 1);
}

class ConnectRequestsOnThePlugin : public support::CloudRequestsTest {};

TEST_F(ConnectRequestsOnThePlugin, ObserversAreThoseOfThePlugin) {
  ASSERT_EQ(init(), 0U);
  connect_requests real({nullptr, plugin.get()}, nullptr);
  support::NetworkListener listener;
  EXPECT_TRUE(real.add_observer(&listener, 3));
  EXPECT_FALSE(plugin->add_observer(&listener, 3)) << "it is there already";
  EXPECT_TRUE(real.remove_observer(&listener, 3));
  EXPECT_FALSE(plugin->remove_observer(&listener, 3));
  plugin->UnInit();
}

TEST_F(ConnectRequests, AsksTheCloudRequestsWhetherTheCloudIsUp) {
  EXPECT_FALSE(requests->is_cloud_up());
  cloud_requests.cloud_up = true;
  EXPECT_TRUE(requests->is_cloud_up());
}

TEST_F(ConnectRequests, ReleasesTheCloudRequestsAtItsEnd) {
  EXPECT_TRUE(host.calls().empty());
  requests.reset();
  EXPECT_EQ(host.calls(), std::vector<std::wstring>{L"release_plugin cloud_requests"});
}

TEST_F(ConnectRequests, HasItsFacesAndOperationsWhereTheyAreLookedFor) {
  IConnectRequests* const first = &*requests;
  IConnectRequestsCompatibility* const second = &*requests;
  EXPECT_EQ(static_cast<void*>(first), static_cast<void*>(&*requests));
  EXPECT_EQ(reinterpret_cast<char*>(second) - reinterpret_cast<char*>(first), 8);
  EXPECT_EQ(slots::slot(&IConnectRequests::add_observer), 0U);
  EXPECT_EQ(slots::slot(&IConnectRequests::remove_observer), 1U);
  using Resolve = cloud::request_status* (IConnectRequests::*)(cloud::request_status*,
                                                               const cloud::connect_request&,
                                                               cloud::request_reply&, bool);
  EXPECT_EQ(slots::slot(static_cast<Resolve>(&IConnectRequests::resolve)), 2U);
  EXPECT_EQ(slots::slot(&IConnectRequests::is_cloud_up), 3U);
  EXPECT_EQ(slots::slot(&IConnectRequestsCompatibility::resolve), 0U);
}

TEST_F(ConnectRequests, BearsTheIdentifiersOfTheProduct) {
  EXPECT_EQ(IID_IConnectRequests,
            (IID{0xaf7c71e6, 0xc767, 0xbb51, {0x06, 0x4b, 0x22, 0xcb, 0xcf, 0xf5, 0xe1, 0xbf}}));
  EXPECT_EQ(IID_IConnectRequestsCompatibility,
            (IID{0x32e0cede, 0x89d7, 0xaa0f, {0x80, 0x4b, 0x24, 0x8a, 0x4c, 0xd0, 0xdf, 0x04}}));
}

}  // namespace
