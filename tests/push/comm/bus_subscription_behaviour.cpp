#include <utility>

#include "frame/msgbus/IBusChannel.h"
#include "push/comm/BusTest.h"
#include "push/comm/bus_channel.h"
#include "push/comm/bus_subscription.h"

namespace {

using cloud::comm::bus_subscription;

class BusSubscription : public BusTest {
 protected:
  bus_subscription subscribe(std::optional<std::string> listener = std::nullopt) {
    const auto channel = cloud::comm::get_channel("connect.events");
    bus_subscription subscription(channel.bus, channel.channel->Subscribe(), std::move(listener));
    bus.forget_calls();
    return subscription;
  }
  std::size_t alive() const { return bus.subscriptions_alive("connect.events"); }
};

const std::vector<std::string> left_with_listener = {"Unsubscribe connect.events",
                                                     "RemoveListener connect.events one"};

TEST_F(BusSubscription, LeavesTheChannelAtItsEnd) {
  {
    const bus_subscription subscription = subscribe();
    EXPECT_TRUE(subscription);
    EXPECT_NE(subscription.get(), nullptr);
    EXPECT_EQ(alive(), 1u);
  }
  EXPECT_EQ(bus.calls(), Calls{"Unsubscribe connect.events"});
  EXPECT_EQ(alive(), 0u);
}

TEST_F(BusSubscription, LeavesTheChannelBeforeItWithdrawsTheListener) {
  subscribe("one");
  EXPECT_EQ(bus.calls(), left_with_listener);
}

TEST_F(BusSubscription, WithdrawsAListenerWithoutAName) {
  subscribe("");
  EXPECT_EQ(bus.calls(), (Calls{"Unsubscribe connect.events", "RemoveListener connect.events "}));
}

TEST_F(BusSubscription, EndsOnlyOnce) {
  bus_subscription subscription = subscribe("one");
  subscription.close();
  EXPECT_FALSE(subscription);
  subscription.close();
  EXPECT_EQ(bus.calls(), left_with_listener);
}

TEST_F(BusSubscription, DoesNothingWithoutItsChannel) {
  {
    const bus_subscription subscription = subscribe("one");
    bus.hide_channels_of_subscriptions();
  }
  EXPECT_EQ(bus.calls(), Calls{});
}

TEST_F(BusSubscription, OwnsNothingAtFirst) {
  bus_subscription subscription;
  EXPECT_FALSE(subscription);
  EXPECT_EQ(subscription.get(), nullptr);
  subscription.close();
  EXPECT_EQ(bus.calls(), Calls{});
}

TEST_F(BusSubscription, MovesWithItsListener) {
  bus_subscription first = subscribe("one");
  {
    const bus_subscription second = std::move(first);
    EXPECT_TRUE(second);
    EXPECT_EQ(bus.calls(), Calls{});
  }
  EXPECT_EQ(bus.calls(), left_with_listener);
  first.close();  // NOLINT(bugprone-use-after-move): it is empty now
  EXPECT_EQ(bus.calls(), left_with_listener);
}

TEST_F(BusSubscription, EndsWhatItHeldBeforeItTakesAnother) {
  bus_subscription kept = subscribe("one");
  kept = subscribe("two");
  EXPECT_EQ(bus.calls(), left_with_listener);
  bus.forget_calls();
  kept.close();
  EXPECT_EQ(bus.calls(),
            (Calls{"Unsubscribe connect.events", "RemoveListener connect.events two"}));
}

TEST_F(BusSubscription, SurvivesBeingGivenItself) {
  bus_subscription kept = subscribe("one");
  bus_subscription& same = kept;
  kept = std::move(same);
  EXPECT_TRUE(kept);
  EXPECT_EQ(bus.calls(), Calls{});
}

}  // namespace
