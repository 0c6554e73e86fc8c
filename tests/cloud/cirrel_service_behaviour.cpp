#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cloud/cirrel_service.h"
#include "support/FakeCloudClient.h"
#include "support/RecordingLog.h"

namespace {

using support::FakeCloudClient;
using Calls = std::vector<std::string>;

class CirrelService : public testing::Test {
 protected:
  CirrelService() { fake.load_library(); }

  support::RecordingLog log;
  FakeCloudClient fake;
};

TEST_F(CirrelService, IsBuiltByTheFirstWhoAsks) {
  const auto service = cirrel_service::init();

  ASSERT_NE(service, nullptr);
  EXPECT_NE(service->client, nullptr);
  EXPECT_NE(service->instance, nullptr);
  EXPECT_EQ(fake.calls(), (Calls{"init #1", "set_option #1 1 1"}));
}

TEST_F(CirrelService, IsOneObjectWhileAnOwnerLives) {
  const auto first = cirrel_service::init();
  const auto second = cirrel_service::init();

  EXPECT_EQ(first, second);
  EXPECT_EQ(fake.count_starting("init"), 1U);
}

TEST_F(CirrelService, EndsWithItsLastOwner) {
  auto first = cirrel_service::init();
  auto second = cirrel_service::init();
  first.reset();
  EXPECT_EQ(fake.count_starting("uninit"), 0U);

  fake.release_library();
  EXPECT_TRUE(FakeCloudClient::library_is_loaded());
  second.reset();
  EXPECT_EQ(fake.count("uninit #1"), 1U);
  EXPECT_FALSE(FakeCloudClient::library_is_loaded());
}

TEST_F(CirrelService, IsANewInstanceAfterTheLastOwnerIsGone) {
  cirrel_service::init().reset();
  fake.forget_calls();

  const auto service = cirrel_service::init();

  ASSERT_NE(service, nullptr);
  EXPECT_EQ(fake.calls(), (Calls{"init #2", "set_option #2 1 1"}));
}

TEST_F(CirrelService, IsEmptyWithoutALibraryAndTriedAgain) {
  fake.release_library();
  EXPECT_EQ(cirrel_service::init(), nullptr);
  EXPECT_TRUE(log.nothing_logged(4));

  fake.load_library();
  EXPECT_NE(cirrel_service::init(), nullptr);
}

TEST_F(CirrelService, IsEmptyIfTheLibraryRefusesAnInstance) {
  fake.fail_init(20013, 1);

  EXPECT_EQ(cirrel_service::init(), nullptr);
  EXPECT_LOGGED(log, 4, L"cirrel_service::init", L"Could not init cirrel instance, err: 20013");
  EXPECT_EQ(fake.calls(), Calls{"init failed"});

  EXPECT_NE(cirrel_service::init(), nullptr);
}

TEST_F(CirrelService, RefusedByTheLibraryKeepsNoCountOfIt) {
  fake.fail_init(20013);
  EXPECT_EQ(cirrel_service::init(), nullptr);

  fake.release_library();
  EXPECT_FALSE(FakeCloudClient::library_is_loaded());
}

TEST_F(CirrelService, IgnoresARefusedCloudOption) {
  fake.fail_option(1, 9);

  EXPECT_NE(cirrel_service::init(), nullptr);
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(CirrelService, IsBuiltOnceByManyThreads) {
  constexpr int threads = 16;
  std::vector<std::shared_ptr<cirrel_service>> owners(threads);
  {
    std::vector<std::jthread> asking;
    for (auto& owner : owners) asking.emplace_back([&owner] { owner = cirrel_service::init(); });
  }
  for (const auto& owner : owners) EXPECT_EQ(owner, owners.front());
  EXPECT_NE(owners.front(), nullptr);
  EXPECT_EQ(fake.count_starting("init"), 1U);
}

TEST_F(CirrelService, SurvivesThreadsThatTakeItAndLetItGo) {
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([] {
        for (int round = 0; round < 50; ++round) EXPECT_NE(cirrel_service::init(), nullptr);
      });
    }
  }
  EXPECT_EQ(fake.count_starting("init"), fake.count_starting("uninit"));
  EXPECT_EQ(fake.instances_alive(), 0U);
}

TEST_F(CirrelService, TakesTheCloudForUpWhenTheOptionReadsZero) {
  const auto service = cirrel_service::init();
  fake.forget_calls();
  fake.set_cloud_status(0);

  EXPECT_TRUE(service->is_cloud_up());
  EXPECT_EQ(fake.calls(), Calls{"get_option #1 31"});
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(CirrelService, TakesTheCloudForDownWhenTheOptionReadsAnythingElse) {
  const auto service = cirrel_service::init();
  for (const std::int32_t value : {1, 2, -1, 1 << 30}) {
    fake.set_cloud_status(value);
    EXPECT_FALSE(service->is_cloud_up()) << value;
  }
}

TEST_F(CirrelService, TakesAnInstanceThatCannotSayForUp) {
  const auto service = cirrel_service::init();
  fake.set_cloud_status(1, 20014);

  EXPECT_TRUE(service->is_cloud_up());
  EXPECT_LOGGED(log, 4, L"cirrel_service::is_cloud_up", L"Could not get cloud status, err: 20014");
}

TEST_F(CirrelService, WithoutAClientOrAnInstanceIsNotUp) {
  cirrel_service service;
  EXPECT_FALSE(service.is_cloud_up());

  service.instance = fake.shared_instance();
  EXPECT_FALSE(service.is_cloud_up());

  service.instance = nullptr;
  service.client = fake.table();
  EXPECT_FALSE(service.is_cloud_up());

  service.client = nullptr;  // the table isn't the service's to unload
  EXPECT_TRUE(fake.calls().empty());
}

void cloud_is_up(void*) {}

TEST_F(CirrelService, RegistersACallbackAndSaysWhatBecameOfIt) {
  const auto service = cirrel_service::init();
  int context = 0;

  service->set_cloud_cbk(cloud_is_up, &context);

  const auto added = fake.added_callbacks();
  ASSERT_EQ(added.size(), 1U);
  EXPECT_EQ(added[0].callback, &cloud_is_up);
  EXPECT_EQ(added[0].context, &context);
  EXPECT_LOGGED(log, 16, L"cirrel_service::set_cloud_cbk",
                L"set_option ZVCIRREL_OPT_ADD_CLOUD_UP_CB ret=0");
}

TEST_F(CirrelService, SaysSoWhenTheCallbackIsRefused) {
  const auto service = cirrel_service::init();
  fake.fail_option(9, 20031);

  service->set_cloud_cbk(cloud_is_up, nullptr);

  EXPECT_LOGGED(log, 16, L"cirrel_service::set_cloud_cbk",
                L"set_option ZVCIRREL_OPT_ADD_CLOUD_UP_CB ret=20031");
}

TEST_F(CirrelService, WithoutAnInstanceRegistersNothingAndSaysNothing) {
  cirrel_service service;

  service.set_cloud_cbk(cloud_is_up, nullptr);

  EXPECT_TRUE(fake.calls().empty());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
