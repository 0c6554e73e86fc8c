#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "_base/slots.h"
#include "support/CloudRequestsTest.h"
#include "support/ConnectRequestsTest.h"

namespace {

class ConnectRequestsIdentity : public support::ConnectRequestsTest {};

TEST_F(ConnectRequestsIdentity, HandsOnARequestWithASourceOfItsOwnUnchanged) {
  EXPECT_EQ(resolve(false), "0 0");
  EXPECT_EQ(sent(), as_the_caller_wrote_it);
  EXPECT_EQ(cloud_requests.replies, std::vector{&reply});
  EXPECT_EQ(text(reply.text), "{}");
}

TEST_F(ConnectRequestsIdentity, ConsultsNobodyForARequestWithASourceOfItsOwn) {
  resolve(false);
  EXPECT_EQ(provider.asked(), 0u);
  EXPECT_TRUE(product.probe->steps().empty());
}

TEST_F(ConnectRequestsIdentity, SendsARequestWithASourceOfItsOwnWithoutAnyProvider) {
  make(nullptr);
  EXPECT_EQ(resolve(false), "0 0");
  EXPECT_EQ(sent(), as_the_caller_wrote_it);
}

TEST_F(ConnectRequestsIdentity, PassesOnTheStatusOfEitherRoad) {
  cloud_requests.status = {2, 91};
  EXPECT_EQ(resolve(false), "2 91");
  EXPECT_EQ(resolve(true), "2 91");
  cloud_requests.status = {1, 5};
  EXPECT_EQ(resolve(false), "1 5");
  EXPECT_EQ(resolve(true), "1 5");
}

TEST_F(ConnectRequestsIdentity, RefusesToFillInASourceWithoutAProvider) {
  make(nullptr);
  EXPECT_EQ(resolve(true), "1 232");
  EXPECT_EQ(sent(), "nothing");
  EXPECT_TRUE(product.probe->steps().empty());
  expect_reply_untouched();
}

TEST_F(ConnectRequestsIdentity, FillsInApplicationDeviceAndUser) {
  product.probe->set_string(44, L"The app");
  EXPECT_EQ(resolve(true), "0 0");
  EXPECT_EQ(sent(), R"(svc|777|0|do|The app|device|token|their app|their device|{"a": 1})");
}

TEST_F(ConnectRequestsIdentity, HandsInTheCallersReplyWithAFilledSource) {
  cloud_requests.reply = "[1]";
  resolve(true);
  EXPECT_EQ(cloud_requests.replies, std::vector{&reply});
  EXPECT_EQ(text(reply.text), "[1]");
}

TEST_F(ConnectRequestsIdentity, NeverWritesTheCallersRequest) {
  resolve(true);
  EXPECT_EQ(told(request), as_the_caller_wrote_it);
  provider.forget_user();
  resolve(true);
  EXPECT_EQ(told(request), as_the_caller_wrote_it);
}

TEST_F(ConnectRequestsIdentity, KeepsTheTypeThatTheCallerWrote) {
  request.type = cloud::request_type::technology;
  resolve(true);
  EXPECT_EQ(sent(), R"(svc|777|1|do|Desktop|device|token|their app|their device|{"a": 1})");
}

TEST_F(ConnectRequestsIdentity, ReplacesATokenThatTheCallerBrought) {
  provider.set_user("held device", "held token");
  resolve(true);
  ASSERT_EQ(cloud_requests.requests.size(), 1u);
  EXPECT_EQ(text(cloud_requests.requests[0].source.user_token), "held token");
  EXPECT_EQ(text(cloud_requests.requests[0].source.device_id), "held device");
}

TEST_F(ConnectRequestsIdentity, RefusesACallersGoodTokenWhileNobodyIsKnown) {
  provider.forget_user();
  EXPECT_EQ(resolve(true), "1 232");
  EXPECT_EQ(sent(), "nothing");
  expect_reply_untouched();
}

TEST_F(ConnectRequestsIdentity, RefusesAnEmptyDevice) {
  provider.set_user("", "token");
  EXPECT_EQ(resolve(true), "1 232");
  EXPECT_EQ(sent(), "nothing");
  expect_reply_untouched();
}

TEST_F(ConnectRequestsIdentity, RefusesAnEmptyToken) {
  provider.set_user("device", "");
  EXPECT_EQ(resolve(true), "1 232");
  EXPECT_EQ(sent(), "nothing");
  expect_reply_untouched();
}

TEST_F(ConnectRequestsIdentity, BringsTheProviderTextsWithRoomForSixtyFour) {
  resolve(true);
  EXPECT_EQ(provider.capacity_brought(), 64u);
}

TEST_F(ConnectRequestsIdentity, AsksTheProviderOnceARequest) {
  resolve(true);
  resolve(true);
  EXPECT_EQ(provider.asked(), 2u);
}

TEST_F(ConnectRequestsIdentity, LooksForTheApplicationBeforeItAsksWhoTheUserIs) {
  std::size_t steps_before = 0;
  provider.set_hook([&] { steps_before = product.probe->steps().size(); });
  resolve(true);
  EXPECT_EQ(steps_before, product.probe->steps().size());
  EXPECT_NE(steps_before, 0u);
}

TEST_F(ConnectRequestsIdentity, LooksForTheApplicationEvenIfNobodyIsKnown) {
  provider.forget_user();
  resolve(true);
  EXPECT_FALSE(product.probe->steps().empty());
}

TEST_F(ConnectRequestsIdentity, TakesTheWholeRoadToTheApplicationForEveryRequest) {
  const auto road = support::ProductInfoFolder::road(L"ProductInfo", L"44 Desktop");
  resolve(true);
  EXPECT_EQ(product.probe->steps(), road);
  resolve(true);
  auto twice = road;
  twice.insert(twice.end(), road.begin(), road.end());
  EXPECT_EQ(product.probe->steps(), twice);
}

TEST_F(ConnectRequestsIdentity, SeesAnApplicationThatChangedBetweenTwoRequests) {
  product.probe->set_string(44, L"first");
  resolve(true);
  product.probe->set_string(44, L"second");
  resolve(true);
  ASSERT_EQ(cloud_requests.requests.size(), 2u);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "first");
  EXPECT_EQ(text(cloud_requests.requests[1].source.app_id), "second");
}

TEST_F(ConnectRequestsIdentity, IsDesktopIfTheProductSaysNothingElse) {
  resolve(true);
  ASSERT_EQ(cloud_requests.requests.size(), 1u);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "Desktop");
}

TEST_F(ConnectRequestsIdentity, SendsTheApplicationInUtf8) {
  product.probe->set_string(44, L"\u00e4\u20ac");
  resolve(true);
  ASSERT_EQ(cloud_requests.requests.size(), 1u);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "\xc3\xa4\xe2\x82\xac");
}

TEST_F(ConnectRequestsIdentity, TakesAnApplicationThatLooksLikeAMissingValue) {
  product.probe->set_string(44, L"<none>");
  resolve(true);
  ASSERT_EQ(cloud_requests.requests.size(), 1u);
  EXPECT_EQ(text(cloud_requests.requests[0].source.app_id), "<none>");
}

TEST_F(ConnectRequestsIdentity, SendsWithAnEmptyApplicationIfTheProductGivesNone) {
  for (const wchar_t* const nothing : {static_cast<const wchar_t*>(nullptr), L""}) {
    product.probe->set_string(44, nothing);
    EXPECT_EQ(resolve(true), "0 0");
    EXPECT_EQ(sent(), R"(svc|777|0|do||device|token|their app|their device|{"a": 1})");
  }
}

TEST_F(ConnectRequestsIdentity, SendsWithAnEmptyApplicationWithoutTheConfigurationLibrary) {
  const support::TemporaryFolder elsewhere;
  product.seam.set_own_module_name(elsewhere.module_name(L"cloudsplicer").wstring());
  EXPECT_EQ(resolve(true), "0 0");
  EXPECT_EQ(sent(), R"(svc|777|0|do||device|token|their app|their device|{"a": 1})");
}

TEST_F(ConnectRequestsIdentity, SendsWithAnEmptyApplicationIfTheConfigurationFails) {
  for (const wchar_t* const step : {L"create", L"Init", L"Start", L"QueryInterface"}) {
    product.probe->fail(step, 5);
    EXPECT_EQ(resolve(true), "0 0");
    EXPECT_EQ(sent(), R"(svc|777|0|do||device|token|their app|their device|{"a": 1})");
    product.probe->fail(step, 0);
  }
}

TEST_F(ConnectRequestsIdentity, IsTracedOnEveryRoad) {
  const auto is_traced = [this] {
    const bool traced = static_cast<bool>(log.traced(L"cloud::connect::connect_requests::resolve"));
    log.clear();
    return traced;
  };
  resolve(false);
  EXPECT_TRUE(is_traced());
  resolve(true);
  EXPECT_TRUE(is_traced());
  provider.forget_user();
  resolve(true);
  EXPECT_TRUE(is_traced());
  make(nullptr);
  resolve(true);
  EXPECT_TRUE(is_traced());
}

TEST_F(ConnectRequestsIdentity, GivesOlderCallersTheSameRoad) {
  // Whether the source is filled in is open for them, so it is the same either way here.
  request.source = {"Desktop", "device", "token"};
  IConnectRequestsCompatibility& older = *requests;
  cloud::request_status status{9, 9};
  EXPECT_EQ(older.resolve(&status, request, reply), &status);
  EXPECT_EQ(status.error_type, 0u);
  EXPECT_EQ(status.code, 0u);
  EXPECT_EQ(sent(), R"(svc|777|0|do|Desktop|device|token|their app|their device|{"a": 1})");
  EXPECT_EQ(cloud_requests.replies, std::vector{&reply});
  EXPECT_TRUE(log.traced(L"cloud::connect::connect_requests::resolve"));
}

TEST_F(ConnectRequestsIdentity, GivesTheStatusWhereTheCallerWantsIt) {
  IConnectRequests& face = *requests;
  cloud_requests.status = {2, 3};
  cloud::request_status status{9, 9};
  EXPECT_EQ(face.resolve(&status, request, reply, true), &status);
  EXPECT_EQ(status.error_type, 2u);
  EXPECT_EQ(status.code, 3u);
}

TEST_F(ConnectRequestsIdentity, PassesObserversOnToTheCloudRequests) {
  support::NetworkListener listener;
  EXPECT_TRUE(requests->add_observer(&listener, 7));
  EXPECT_FALSE(requests->add_observer(&listener, 7));
  cloud_requests.tell_network_available();
  EXPECT_EQ(listener.heard, 1);
  EXPECT_FALSE(requests->remove_observer(&listener, 8));
  EXPECT_TRUE(requests->remove_observer(&listener, 7));
  EXPECT_FALSE(requests->remove_observer(&listener, 7));
  cloud_requests.tell_network_available();
  EXPECT_EQ(listener.heard, 1);
}

TEST_F(ConnectRequestsIdentity, AsksTheCloudRequestsWhetherTheCloudIsUp) {
  EXPECT_FALSE(requests->is_cloud_up());
  cloud_requests.cloud_up = true;
  EXPECT_TRUE(requests->is_cloud_up());
}

TEST_F(ConnectRequestsIdentity, GivesTheCloudRequestsBackAtItsEnd) {
  EXPECT_EQ(host.plugins_out(L"cloud_requests"), 1);
  requests.reset();
  EXPECT_EQ(host.plugins_out(L"cloud_requests"), 0);
}

TEST_F(ConnectRequestsIdentity, StandsAsItsUsersExpect) {
  using Requests = IConnectRequests;
  cloud::request_status* (Requests::*resolve_slot)(
      cloud::request_status*, const cloud::connect_request&, cloud::request_reply&, bool) =
      &Requests::resolve;
  EXPECT_EQ(slots::slot(&Requests::add_observer), 0u);
  EXPECT_EQ(slots::slot(&Requests::remove_observer), 1u);
  EXPECT_EQ(slots::slot(resolve_slot), 2u);
  EXPECT_EQ(slots::slot(&Requests::is_cloud_up), 3u);
  EXPECT_EQ(slots::slot(&IConnectRequestsCompatibility::resolve), 0u);

  const auto start = reinterpret_cast<std::uintptr_t>(&*requests);
  const auto first = reinterpret_cast<std::uintptr_t>(static_cast<Requests*>(&*requests));
  const auto second =
      reinterpret_cast<std::uintptr_t>(static_cast<IConnectRequestsCompatibility*>(&*requests));
  EXPECT_EQ(first - start, 0u);
  EXPECT_EQ(second - start, sizeof(void*));
}

}  // namespace
