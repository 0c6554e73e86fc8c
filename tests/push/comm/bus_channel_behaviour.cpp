#include "frame/msgbus/IBusChannel.h"
#include "push/comm/BusTest.h"
#include "push/comm/bus_channel.h"
#include "push/comm/bus_message.h"

namespace {

using cloud::comm::bus_channel;
using cloud::comm::create_message;
using cloud::comm::get_channel;

class BusChannel : public BusTest {
 protected:
  static void expect_none() {
    const bus_channel channel = get_channel("connect.events");
    EXPECT_FALSE(channel);
    EXPECT_EQ(channel.bus, nullptr);
    EXPECT_EQ(channel.channel, nullptr);
  }
};

using BusMessage = BusTest;

TEST_F(BusChannel, ComesWithItsBus) {
  const bus_channel channel = get_channel("connect.actions");
  ASSERT_TRUE(channel);
  EXPECT_EQ(channel.bus, bus.bus());
  EXPECT_STREQ(channel.channel->GetName(), "connect.actions");
  EXPECT_EQ(bus.calls(), Calls{"GetChannel connect.actions"});
}

TEST_F(BusChannel, IsLookedUpAnewEachTime) {
  get_channel("connect.events");
  get_channel("connect.events");
  EXPECT_EQ(bus.visits(), 2u);
}

TEST_F(BusChannel, NeedsTheLibraryInTheProcess) {
  bus.unload();
  expect_none();
  EXPECT_EQ(bus.visits(), 0u);
}

TEST_F(BusChannel, NeedsABusBehindTheLibrary) {
  bus.refuse_bus();
  expect_none();
}

TEST_F(BusChannel, NeedsTheCoreOfTheBus) {
  bus.refuse_core();
  expect_none();
}

TEST_F(BusChannel, LeavesNoBusBehindWhereItIsMissingItself) {
  bus.refuse_channels();
  expect_none();
}

TEST_F(BusChannel, IsMissedInSilence) {
  bus.refuse_channels();
  expect_none();
  bus.unload();
  expect_none();
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(BusChannel, BearsTheNamesThatAllProcessesKnow) {
  EXPECT_STREQ(cloud::comm::actions_channel, "connect.actions");
  EXPECT_STREQ(cloud::comm::events_channel, "connect.events");
  EXPECT_STREQ(cloud::comm::register_listener, "push_register");
  EXPECT_STREQ(cloud::comm::unregister_listener, "push_unregister");
  EXPECT_STREQ(cloud::comm::command_done_listener, "push_command_done");
  EXPECT_STREQ(cloud::comm::client_listener, "push_client");
}

TEST_F(BusMessage, IsGivenBackAtItsEnd) {
  {
    const auto message = create_message(*bus.bus());
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(bus.messages_alive(), 1u);
  }
  EXPECT_EQ(bus.messages_alive(), 0u);
}

TEST_F(BusMessage, LivesAsLongAsAnyShareOfIt) {
  auto message = create_message(*bus.bus());
  {
    const auto shared = cloud::comm::share(*message);
    EXPECT_EQ(shared.get(), message.get());
    message.reset();
    EXPECT_EQ(bus.messages_alive(), 1u);
  }
  EXPECT_EQ(bus.messages_alive(), 0u);
}

TEST_F(BusMessage, IsEmptyWhereTheBusHasNoneToGive) {
  bus.refuse_messages();
  EXPECT_EQ(create_message(*bus.bus()), nullptr);
}

TEST_F(BusMessage, IsEmptyWhereTheBusHasNoCore) {
  bus.refuse_core();
  EXPECT_EQ(create_message(*bus.bus()), nullptr);
}

}  // namespace
