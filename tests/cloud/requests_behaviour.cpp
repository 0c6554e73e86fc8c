#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "frame/exports.h"
#include "support/CloudRequestsTest.h"

namespace {

using Calls = std::vector<std::string>;
using Texts = std::vector<std::wstring>;

class CloudRequests : public support::CloudRequestsTest {};

// The two faces and the observable one lie where a host compiled elsewhere looks for them.
TEST_F(CloudRequests, HasItsObservableFacetBehindTheFirstInterface) {
  cloud::ICloudRequests* const first = plugin.get();
  zv::iobservable<cloud::ICloudConnectionObserver*>* const observable = plugin.get();
  EXPECT_EQ(static_cast<void*>(first), static_cast<void*>(plugin.get()));
  EXPECT_EQ(reinterpret_cast<char*>(observable) - reinterpret_cast<char*>(first), 32);
}

TEST_F(CloudRequests, AnswersForItsFourIdentifiersAlone) {
  void* const object = static_cast<cloud::ICloudRequests*>(plugin.get());
  EXPECT_EQ(plugin->QueryInterface(cloud::IID_ICloudRequests), object);
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), object);
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), object);
  EXPECT_EQ(plugin->QueryInterface(cloud::IID_ICloudRequestsCompatibility),
            static_cast<cloud::ICloudRequestsCompatibility*>(plugin.get()));
  EXPECT_NE(plugin->QueryInterface(cloud::IID_ICloudRequestsCompatibility), object);
  EXPECT_EQ(plugin->QueryInterface(IID{1, 2, 3, {4}}), nullptr);
  EXPECT_EQ(plugin->QueryInterface(IID{}), nullptr);
}

TEST_F(CloudRequests, AnswersAlikeThroughItsOlderFace) {
  cloud::ICloudRequestsCompatibility* const older = plugin.get();
  for (const IID& id : {cloud::IID_ICloudRequests, cloud::IID_ICloudRequestsCompatibility,
                        IID_IServPlugin, IID_IZvBaseInterface, IID{}}) {
    EXPECT_EQ(older->QueryInterface(id), plugin->QueryInterface(id));
  }
}

TEST_F(CloudRequests, BearsTheIdentifiersOfTheProduct) {
  EXPECT_EQ(cloud::IID_ICloudRequests,
            (IID{0x103e24c1, 0xbdf1, 0xbd3e, {0xdf, 0x4a, 0x70, 0x50, 0x46, 0x81, 0x10, 0xd4}}));
  EXPECT_EQ(cloud::IID_ICloudRequestsCompatibility,
            (IID{0xd80babec, 0x918e, 0xb735, {0x33, 0x45, 0x7d, 0xe8, 0x81, 0x28, 0x31, 0x12}}));
}

TEST_F(CloudRequests, IsMadeByItsNameAndReachedByItsInterfaces) {
  void* made = nullptr;
  ASSERT_EQ(ZvCreateObject(L"cloud_requests", IID_IServPlugin, &made), 0U);
  auto* const created = static_cast<IServPlugin*>(made);
  EXPECT_NE(created->QueryInterface(cloud::IID_ICloudRequests), nullptr);
  EXPECT_NE(created->QueryInterface(cloud::IID_ICloudRequestsCompatibility), nullptr);
  ZvDestroyObject(L"cloud_requests", made);
}

TEST_F(CloudRequests, TurnsLoggingOnForItsWholeLife) {
  plugin.reset();
  EXPECT_TRUE(logging::is_on()) << "the test's own handle";
  // Measured beside the test's handle: the plug-in brings one, and takes it away again.
  const std::uint32_t before = logging::details::handles;
  plugin.reset(new cloud::requests());
  EXPECT_EQ(logging::details::handles, before + 1);
  plugin.reset();
  EXPECT_EQ(logging::details::handles, before);
}

TEST_F(CloudRequests, StartsWithoutAHost) {
  EXPECT_EQ(init(), 0U);

  EXPECT_EQ(client.calls().at(0), "init #1");
  EXPECT_EQ(client.calls().at(1), "set_option #1 1 1");
  EXPECT_EQ(client.calls().at(2), "set_option #1 9");
  EXPECT_EQ(client.calls().at(3), "init #2");
  EXPECT_EQ(client.calls().at(4), "set_option #2 1 1");
  EXPECT_EQ(client.added_callbacks().at(0).context, static_cast<void*>(plugin.get()));
  EXPECT_LOGGED(log, 16, L"cirrel_service::set_cloud_cbk",
                L"set_option ZVCIRREL_OPT_ADD_CLOUD_UP_CB ret=0");
  EXPECT_TRUE(log.traced(L"cloud::requests::Init"));
  EXPECT_EQ(connect().error_type, 0U);
}

TEST_F(CloudRequests, StartsWithAHost) {
  support::PlainHost host;
  EXPECT_EQ(init(&host), 0U);
  EXPECT_EQ(connect().code, 0U);
  EXPECT_EQ(plugin->UnInit(), 0U);
}

TEST_F(CloudRequests, DoesNothingInStartAndStop) {
  init();
  client.forget_calls();
  EXPECT_EQ(plugin->Start(), 0U);
  plugin->Stop();
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(CloudRequests, RunsOnThoughTheCloudUpCallbackIsRefused) {
  client.fail_option(9, 20031);
  EXPECT_EQ(init(), 0U);
  EXPECT_LOGGED(log, 16, L"cirrel_service::set_cloud_cbk",
                L"set_option ZVCIRREL_OPT_ADD_CLOUD_UP_CB ret=20031");
  EXPECT_EQ(connect().error_type, 0U);
}

TEST_F(CloudRequests, EndsTheChainThenTheCallbackThenTheSharedInstance) {
  init();
  connect("own");
  client.forget_calls();

  EXPECT_EQ(plugin->UnInit(), 0U);

  EXPECT_EQ(client.calls(), (Calls{"uninit #2", "uninit #3", "set_option #1 10", "uninit #1"}));
  EXPECT_EQ(client.removed_callbacks().at(0).callback, client.added_callbacks().at(0).callback);
  EXPECT_TRUE(log.traced(L"cloud::requests::UnInit"));
}

TEST_F(CloudRequests, LeavesTheSharedInstanceToItsOtherOwners) {
  const auto other = cirrel_service::init();
  init();
  EXPECT_EQ(client.count("init #1"), 1U);
  client.forget_calls();

  plugin->UnInit();

  EXPECT_EQ(client.count("uninit #1"), 0U);
  EXPECT_EQ(client.count("set_option #1 10"), 1U);
}

TEST_F(CloudRequests, CountsItsStartsAndEndsWithTheLast) {
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U) << "the shared instance and the technology one";

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(client.count_starting("uninit"), 0U);
  EXPECT_EQ(connect().error_type, 0U);

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(client.count_starting("uninit"), 2U);
}

TEST_F(CloudRequests, CountsTheStartsThroughItsOlderFaceAlike) {
  cloud::ICloudRequestsCompatibility* const older = plugin.get();
  EXPECT_EQ(older->Init(nullptr), 0U);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U);
  EXPECT_EQ(older->UnInit(), 0U);
  EXPECT_EQ(client.count_starting("uninit"), 0U);
  EXPECT_EQ(older->UnInit(), 0U);
  EXPECT_EQ(client.count_starting("uninit"), 2U);
}

// A surplus end runs the teardown on what is empty, and the count wraps below zero: the next start
// only brings it back.
TEST_F(CloudRequests, WrapsItsCountWithASurplusEnd) {
  init();
  init();
  plugin->UnInit();
  plugin->UnInit();
  client.forget_calls();
  log.clear();

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_TRUE(client.calls().empty());
  EXPECT_TRUE(log.traced(L"cloud::requests::UnInit"));

  EXPECT_EQ(init(), 0U);
  EXPECT_TRUE(client.calls().empty()) << "the old count was its maximum";
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U) << "the old count was 0";
  EXPECT_EQ(connect().error_type, 0U);
  EXPECT_EQ(plugin->UnInit(), 0U);
}

TEST_F(CloudRequests, MayEndWithoutHavingStarted) {
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(CloudRequests, StartsAgainAfterItsEnd) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(init(), 0U);
    EXPECT_EQ(connect().error_type, 0U);
    EXPECT_EQ(plugin->UnInit(), 0U);
  }
  EXPECT_EQ(client.count_starting("init"), 6U);
}

TEST_F(CloudRequests, WithoutALibraryFailsAndMayStartLater) {
  client.release_library();

  EXPECT_EQ(init(), 31U);
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_LOGGED(log, 4, L"cloud::requests::Init", L"Failed to get cirrel instance");
  EXPECT_TRUE(log.traced(L"cloud::requests::UnInit")) << "what was begun is undone";

  client.load_library();
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U) << "the count was back at 0";
  EXPECT_EQ(connect().error_type, 0U);
}

TEST_F(CloudRequests, WithoutAnInstanceFailsAndMayStartLater) {
  client.fail_init(20013, 1);

  EXPECT_EQ(init(), 31U);
  EXPECT_EQ(log.lines(4).size(), 2U);
  EXPECT_LOGGED(log, 4, L"cirrel_service::init", L"Could not init cirrel instance, err: 20013");
  EXPECT_LOGGED(log, 4, L"cloud::requests::Init", L"Failed to get cirrel instance");

  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(connect().error_type, 0U);
}

class HostLackingAService : public support::CloudRequestsTest,
                            public testing::WithParamInterface<bool> {
 protected:
  HostLackingAService() { (GetParam() ? host.has_manager : host.has_execution) = false; }

  support::PlainHost host;
};

TEST_P(HostLackingAService, FailsTheStartAndLeavesTheCountAtOne) {
  EXPECT_EQ(init(&host), 87U);
  EXPECT_LOGGED(log, 4, L"cloud::requests::Init", L"Failed to init base class; err = 87");
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_TRUE(client.calls().empty());

  EXPECT_EQ(init(), 0U);
  EXPECT_TRUE(client.calls().empty()) << "nothing is started by a nested one";

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U);
  EXPECT_EQ(connect().error_type, 0U);
}

TEST_P(HostLackingAService, IsClearedByOneEnd) {
  EXPECT_EQ(init(&host), 87U);
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(client.count_starting("init"), 2U);
}

INSTANTIATE_TEST_SUITE_P(, HostLackingAService, testing::Bool(), [](const auto& manager) {
  return manager.param ? "PluginManager" : "ExecutionService";
});

TEST_F(CloudRequests, ForwardsItsOperationsToTheChain) {
  init();
  client.forget_calls();
  cloud::technology_request technology;
  technology.service = "tech";
  technology.message = "body";
  EXPECT_EQ(plugin->resolve(technology, reply).error_type, 0U);
  cloud::upload_request upload;
  upload.service = "up";
  upload.path = "/file";
  client.set_upload_result(20012);
  EXPECT_EQ(plugin->resolve(upload, nullptr), 20012U);
  cloud::proxy_settings proxy;
  proxy.host = "h";
  EXPECT_EQ(plugin->set_proxy(proxy, cloud::proxy_target::connect), 0U);
  EXPECT_EQ(connect().error_type, 0U);

  EXPECT_EQ(client.calls(),
            (Calls{"ask #2 'tech'", "free_response", "set_option #2 14 0", "set_option #2 20 0",
                   "set_option #2 16 0", "file_upload #2 'up'", "set_option #1 12 'h:0' '' ''",
                   "ask #1 'svc'", "free_response"}));
}

TEST_F(CloudRequests, ForwardsAlikeThroughItsOlderFace) {
  init();
  client.forget_calls();
  cloud::ICloudRequestsCompatibility* const older = plugin.get();
  cloud::request_status status{9, 9};
  cloud::connect_request request;
  request.service = "svc";
  EXPECT_EQ(older->resolve(&status, request, reply), &status);
  EXPECT_EQ(status.error_type, 0U);
  EXPECT_EQ(status.code, 0U);
  status = {9, 9};
  cloud::technology_request technology;
  technology.service = "tech";
  EXPECT_EQ(older->resolve(&status, technology, reply), &status);
  EXPECT_EQ(status.error_type, 0U);
  EXPECT_EQ(older->resolve(cloud::upload_request(), nullptr), 31U);
  EXPECT_EQ(older->set_proxy(cloud::proxy_settings(), cloud::proxy_target::connect), 13U);
  EXPECT_EQ(client.count("ask #1 'svc'"), 1U);
  EXPECT_EQ(client.count("ask #2 'tech'"), 1U);
}

TEST_F(CloudRequests, GivesAFailedStatusBackUnchanged) {
  init();
  client.answer(support::answer_failure(20011));
  EXPECT_EQ(connect().error_type, 2U);
  EXPECT_EQ(connect().code, 20011U);
}

TEST_F(CloudRequests, LogsTheOutcomeOfEveryDisablingOfTheProxy) {
  init();
  EXPECT_EQ(plugin->disable_proxy(cloud::proxy_target::connect), 0U);
  EXPECT_LOGGED(log, 16, L"cloud::requests::disable_proxy", L" err: 0");
  client.fail_option(12, 20032);
  EXPECT_EQ(plugin->disable_proxy(cloud::proxy_target::connect), 20032U);
  EXPECT_LOGGED(log, 16, L"cloud::requests::disable_proxy", L" err: 20032");
}

TEST_F(CloudRequests, KnowsWhetherTheCloudIsUp) {
  init();
  client.set_cloud_status(0);
  EXPECT_TRUE(plugin->is_cloud_up());
  client.set_cloud_status(1);
  EXPECT_FALSE(plugin->is_cloud_up());
  client.set_cloud_status(1, 5);
  EXPECT_TRUE(plugin->is_cloud_up());
}

TEST_F(CloudRequests, IsTornDownWithoutItsEnd) {
  init();
  connect("own");
  plugin.reset();
  EXPECT_EQ(client.instances_alive(), 0U);
}

TEST_F(CloudRequests, StartsAndEndsOnManyThreads) {
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 16; ++i) {
      threads.emplace_back([this] {
        for (int round = 0; round < 20; ++round) {
          EXPECT_EQ(plugin->Init(nullptr), 0U);
          cloud::connect_request request;
          request.service = "own";
          cloud::request_reply answer;
          EXPECT_EQ(plugin->resolve(request, answer).error_type, 0U);
          EXPECT_EQ(plugin->UnInit(), 0U);
        }
      });
    }
  }
  EXPECT_EQ(client.asks().size(), 320U);
  EXPECT_EQ(client.instances_alive(), 0U);
}

}  // namespace
