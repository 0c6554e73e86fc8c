#include "system/kit_bus.h"

namespace kit_test {

namespace {

constexpr const char* channel = "connect.events";

/// Each way in which the bus may fail, by the wish of the environment.
class BusFailures : public BusTest {
 protected:
  static Variable wish(const std::string& text) { return Variable("SPLICE_BUS_FAIL", text); }

  const KitBus bus_;
};

TEST_F(BusFailures, MeanThatThereIsNoBus) {
  for (const char* const text : {"ZvGetInterface:1", "get_bus:1", "QueryInterface:1"}) {
    const Variable failing = wish(text);
    EXPECT_EQ(find_msgbus(), nullptr) << text;
  }
  EXPECT_NE(find_msgbus(), nullptr);
}

TEST_F(BusFailures, MeanThatTheBusLacksSomething) {
  IBusCore* const core = bus_->Core();
  {
    const Variable failing = wish("Core:1");
    EXPECT_EQ(bus_->Core(), nullptr);
  }
  {
    const Variable failing = wish("CreateMessage:1");
    EXPECT_EQ(core->CreateMessage(0), nullptr);
  }
  {
    const Variable failing = wish("GetChannel:1");
    EXPECT_EQ(core->GetChannel(channel), nullptr);
  }
  {
    const Variable failing = wish("Subscribe:1");
    EXPECT_EQ(bus_.channel(channel)->Subscribe(), nullptr);
  }
}

TEST_F(BusFailures, ConcernASubscription) {
  IBusSubscription* const subscription = bus_.channel(channel)->Subscribe();
  {
    const Variable failing = wish("SetCallback:14,SubscriptionGetChannel:1");
    EXPECT_EQ(subscription->SetCallback([](IBusMessage*, void*) {}, nullptr, 0), 14u);
    EXPECT_EQ(subscription->GetChannel(), nullptr);
  }
  EXPECT_EQ(subscription->GetChannel(), bus_.channel(channel));
  bus_.channel(channel)->Unsubscribe(subscription);
}

TEST_F(BusFailures, LoseMessages) {
  NumberSeat seat(bus_, channel);
  {
    const Variable failing = wish("Send:1");
    send(bus_, channel, 1);
  }
  send(bus_, channel, 2);
  EXPECT_TRUE(seat.numbers.reaches(1));
  EXPECT_EQ(seat.numbers.all(), std::vector<std::int64_t>{2});
}

TEST_F(BusFailures, LeaveRequestsWithoutAReply) {
  const Seat seat(bus_, channel,
                  [&](IBusMessage* message) { message->SetReply(numbered(bus_, 1).get()); });
  {
    const Variable failing = wish("2250");
    EXPECT_EQ(ask(bus_, channel, 1).status, 2250u);
  }
  {
    const Variable failing = wish("NoReply:1");
    EXPECT_EQ(ask(bus_, channel, 1, 10).status, 1460u);
  }
  {
    const Variable failing = wish("SetReply:1");
    EXPECT_EQ(ask(bus_, channel, 1, 100).status, 1460u);
  }
  EXPECT_EQ(ask(bus_, channel, 1).status, 0u);
}

TEST_F(BusFailures, ConcernListenersAndObservers) {
  {
    const ListenerLog log(bus_);
    {
      const Variable failing = wish("AddListener:1");
      bus_->AddListener(channel, "unheard");
    }
    bus_->AddListener(channel, "heard");
    EXPECT_TRUE(log.lines.reaches(1));
    EXPECT_EQ(log.lines.all(), std::vector<std::string>{"+connect.events heard"});
    const Variable failing = wish("IsListening:1,AddObserver:1,RemoveObserver:1");
    EXPECT_FALSE(bus_->IsListening(channel, "heard"));
    EXPECT_FALSE(bus_->RemoveObserver(const_cast<ListenerLog*>(&log), 0));
    EXPECT_FALSE(bus_->AddObserver(const_cast<ListenerLog*>(&log), 0));
  }
}

TEST_F(BusFailures, AreMendedWhenTheWishIsGone) {
  NumberSeat seat(bus_, channel);
  send(bus_, channel, 2);
  EXPECT_TRUE(seat.numbers.reaches(1));
}

TEST_F(BusFailures, IncludeABrokerAddressThatMakesNoSense) {
  bus_.leave();
  const Variable address("SPLICE_BROKER", "here:there");
  testing::internal::CaptureStderr();
  EXPECT_NE(find_msgbus(), nullptr);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("SPLICE_BROKER: \"here:there\" is no address; write host:port."),
            std::string::npos)
      << said;
}

TEST_F(BusFailures, IncludeAKeepaliveThatIsTooShort) {
  bus_.leave();
  const Variable keepalive("SPLICE_BUS_KEEPALIVE", "4");
  testing::internal::CaptureStderr();
  {
    NumberSeat seat(bus_, channel);
    send(bus_, channel, 1);
    EXPECT_TRUE(seat.numbers.reaches(1));
  }
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("SPLICE_BUS_KEEPALIVE: 4 seconds are too short"), std::string::npos) << said;
}

}  // namespace

}  // namespace kit_test
