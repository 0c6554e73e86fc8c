#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/CloudRequestsTest.h"

namespace {

class CloudObservers : public support::CloudRequestsTest {
 protected:
  CloudObservers() {
    init();
    client.set_cloud_status(1);
  }

  /// What the library does when the cloud comes up.
  void cloud_comes_up() {
    const support::CloudUpCallback callback = client.added_callbacks().at(0);
    callback.callback(callback.context);
  }

  support::NetworkListener first;
  support::NetworkListener second;
};

TEST_F(CloudObservers, AreNotCalledWhenAddedWhileTheCloudIsDown) {
  EXPECT_TRUE(plugin->add_observer(&first, 1));
  EXPECT_EQ(first.heard, 0);
}

TEST_F(CloudObservers, AreCalledBeforeTheyAreAddedWhileTheCloudIsUp) {
  bool was_listed = true;
  support::NetworkListener observer;
  observer = support::NetworkListener([&] { was_listed = plugin->remove_observer(&observer, 1); });
  client.set_cloud_status(0);

  EXPECT_TRUE(plugin->add_observer(&observer, 1));

  EXPECT_EQ(observer.heard, 1);
  EXPECT_FALSE(was_listed);
  EXPECT_TRUE(plugin->remove_observer(&observer, 1));
}

TEST_F(CloudObservers, AreCalledByACloudThatComesUpBetweenTheLookAndTheRegistration) {
  client.come_up_after_a_look();
  EXPECT_TRUE(plugin->add_observer(&first, 1));
  EXPECT_EQ(first.heard, 1);
}

TEST_F(CloudObservers, AreCalledByAnInstanceThatCannotSay) {
  client.set_cloud_status(1, 5);
  EXPECT_TRUE(plugin->add_observer(&first, 1));
  EXPECT_EQ(first.heard, 1);
}

TEST_F(CloudObservers, AddedTwiceAreRefusedButCalledAgain) {
  client.set_cloud_status(0);
  EXPECT_TRUE(plugin->add_observer(&first, 1));
  EXPECT_FALSE(plugin->add_observer(&first, 1));
  EXPECT_EQ(first.heard, 2);
  cloud_comes_up();
  EXPECT_EQ(first.heard, 3) << "listed once";
}

TEST_F(CloudObservers, AddedAgainWithAnotherContextAreRefused) {
  EXPECT_TRUE(plugin->add_observer(&first, 1));
  EXPECT_FALSE(plugin->add_observer(&first, 2));
  EXPECT_FALSE(plugin->remove_observer(&first, 2));
  EXPECT_TRUE(plugin->remove_observer(&first, 1));
}

TEST_F(CloudObservers, RemovedWithAnotherContextStay) {
  plugin->add_observer(&first, 1);
  EXPECT_FALSE(plugin->remove_observer(&first, 2));
  cloud_comes_up();
  EXPECT_EQ(first.heard, 1);
}

TEST_F(CloudObservers, RemovedHearNothingMore) {
  plugin->add_observer(&first, 1);
  EXPECT_TRUE(plugin->remove_observer(&first, 1));
  EXPECT_FALSE(plugin->remove_observer(&first, 1));
  cloud_comes_up();
  EXPECT_EQ(first.heard, 0);
  EXPECT_TRUE(plugin->add_observer(&first, 2));
}

TEST_F(CloudObservers, AreToldApartByTheWholeContext) {
  constexpr std::uint64_t high = std::uint64_t{1} << 40;
  EXPECT_TRUE(plugin->add_observer(&first, high));
  EXPECT_FALSE(plugin->remove_observer(&first, 0));
  EXPECT_TRUE(plugin->remove_observer(&first, high));
}

TEST_F(CloudObservers, AreCalledInTheOrderOfTheirComing) {
  std::vector<int> order;
  support::NetworkListener one([&] { order.push_back(1); });
  support::NetworkListener two([&] { order.push_back(2); });
  support::NetworkListener three([&] { order.push_back(3); });
  plugin->add_observer(&one, 0);
  plugin->add_observer(&two, 0);
  plugin->add_observer(&three, 0);
  plugin->remove_observer(&one, 0);
  plugin->add_observer(&one, 0);

  cloud_comes_up();

  EXPECT_EQ(order, (std::vector<int>{2, 3, 1}));
}

TEST_F(CloudObservers, HearOfEveryComingUp) {
  plugin->add_observer(&first, 0);
  plugin->add_observer(&second, 0);
  cloud_comes_up();
  cloud_comes_up();
  EXPECT_EQ(first.heard, 2);
  EXPECT_EQ(second.heard, 2);
  EXPECT_EQ(log.count(16, L"cloud::requests::cloud_up_notification", L"Cloud up notification"), 2U);
}

TEST_F(CloudObservers, HearNothingOfANotificationWithoutAContext) {
  plugin->add_observer(&first, 0);
  log.clear();
  client.added_callbacks().at(0).callback(nullptr);
  EXPECT_EQ(first.heard, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CloudObservers, OutliveAnEndAndAStart) {
  plugin->add_observer(&first, 0);
  plugin->UnInit();
  init();
  const support::CloudUpCallback callback = client.added_callbacks().at(1);
  callback.callback(callback.context);
  EXPECT_EQ(first.heard, 1);
}

TEST_F(CloudObservers, ReachedThroughTheFacetAreTheSame) {
  zv::iobservable<cloud::ICloudConnectionObserver*>* const facet = plugin.get();
  client.set_cloud_status(0);
  EXPECT_TRUE(facet->add_observer(&first, 3));
  EXPECT_EQ(first.heard, 1) << "the facet leads to the plug-in's own form";
  EXPECT_FALSE(plugin->add_observer(&first, 3));
  EXPECT_TRUE(facet->remove_observer(&first, 3));
}

TEST_F(CloudObservers, ThatThrowLeaveTheListUsable) {
  support::NetworkListener throws([] { throw std::runtime_error("an observer's own"); });
  plugin->add_observer(&throws, 0);
  plugin->add_observer(&first, 0);

  EXPECT_THROW(cloud_comes_up(), std::runtime_error);
  EXPECT_EQ(first.heard, 0);

  EXPECT_TRUE(plugin->remove_observer(&throws, 0)) << "the locks are free again";
  cloud_comes_up();
  EXPECT_EQ(first.heard, 1);
}

TEST_F(CloudObservers, ComeAndGoOnManyThreadsWhileTheCloudComesUp) {
  support::NetworkListener steady;
  ASSERT_TRUE(plugin->add_observer(&steady, 0));
  {
    std::vector<std::jthread> threads;
    for (std::uint64_t i = 1; i <= 8; ++i) {
      threads.emplace_back([this, i] {
        for (int round = 0; round < 50; ++round) {
          support::NetworkListener own;
          EXPECT_TRUE(plugin->add_observer(&own, i));
          EXPECT_TRUE(plugin->remove_observer(&own, i));
        }
      });
    }
    // One at a time, as the library calls: the listener's count is a plain one.
    threads.emplace_back([this] {
      for (int round = 0; round < 50; ++round) cloud_comes_up();
    });
  }
  EXPECT_EQ(steady.heard, 50);
}

}  // namespace
