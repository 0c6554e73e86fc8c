#include <numeric>

#include "system/BusPuppet.h"

namespace kit_test {

namespace {

constexpr const char* actions = "connect.actions";
constexpr const char* events = "connect.events";
using Lines = std::vector<std::string>;
constexpr std::uint32_t not_connected = 2250;

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

/// A process on the bus, whose broker comes and goes. Nobody is given up for being slow.
class BusWithoutBroker : public BusTest {
 protected:
  const Variable grace_{"SPLICE_BUS_GRACE_MS", "60000"};

  static void wait_for_bus(const KitBus& bus) {
    const NumberSeat probe(bus, "probe");
    send(bus, "probe", 1);
    ASSERT_TRUE(probe.numbers.reaches(1));
  }
};

TEST_F(BusWithoutBroker, BrokersOfOneMachineFindPortsOfTheirOwn) {
  const devkit::Broker second;
  const devkit::Broker third;
  EXPECT_NE(second.port(), broker_.port());
  EXPECT_NE(second.port(), third.port());
  EXPECT_THROW(devkit::Broker(second.port()), std::runtime_error);
}

TEST_F(BusWithoutBroker, OperationsDoNotHang) {
  broker_.kill();
  const KitBus bus;
  ASSERT_NE(bus.get(), nullptr);
  NumberSeat seat(bus, events);
  send(bus, events, 1);
  EXPECT_FALSE(bus->IsListening(actions, "push_register"));
  const ListenerLog log(bus);
  bus->AddListener(events, "push_client");
  EXPECT_TRUE(bus->IsListening(events, "push_client"));
  EXPECT_EQ(ask(bus, actions, 1).status, not_connected);
}

TEST_F(BusWithoutBroker, ProcessesThatCameFirstMeetWhenItComes) {
  broker_.kill();
  const KitBus bus;
  NumberSeat seat(bus, events);
  const ListenerLog log(bus);
  BusPuppet puppet;
  puppet.answer(actions);
  puppet.announce(actions, "push_register");
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_EQ(log.lines.all()[0], "+connect.actions push_register");
  EXPECT_EQ(ask(bus, actions, 1).status, 0u);
  puppet.send(events, 1);
  EXPECT_TRUE(seat.numbers.reaches(1));
}

TEST_F(BusWithoutBroker, WhatIsThereComesBackWithItWithoutANewAnnouncement) {
  const KitBus bus;
  NumberSeat seat(bus, events);
  BusPuppet puppet;
  puppet.answer(actions);
  puppet.announce(actions, "push_register");
  ASSERT_TRUE(waiting::until([&] { return bus->IsListening(actions, "push_register"); }));
  const ListenerLog log(bus);
  for (int round = 0; round < 3; ++round) {
    broker_.kill();
    if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
    EXPECT_EQ(ask(bus, actions, 1).status, 0u);
    puppet.send(events, 1);
    EXPECT_TRUE(seat.numbers.reaches(static_cast<std::size_t>(round) + 1));
  }
  puppet.announce(events, "last");
  EXPECT_TRUE(log.lines.has("+connect.events last"));
  EXPECT_EQ(log.lines.all(), Lines{"+connect.events last"});
}

TEST_F(BusWithoutBroker, WhoDoesNotComeBackIsGivenUp) {
  const Variable grace("SPLICE_BUS_GRACE_MS", "100");
  const KitBus bus;
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  ASSERT_TRUE(waiting::until([&] { return bus->IsListening(actions, "push_register"); }));
  const ListenerLog log(bus);
  broker_.kill();
  puppet.kill();
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_EQ(log.lines.all(), Lines{"-connect.actions push_register"});
  EXPECT_FALSE(bus->IsListening(actions, "push_register"));
}

TEST_F(BusWithoutBroker, ChangesMadeMeanwhileAreToldAfterwards) {
  const KitBus bus;
  BusPuppet puppet;
  puppet.observe();
  bus->AddListener(actions, "goes");
  bus->AddListener(actions, "stays");
  EXPECT_TRUE(puppet.says("+connect.actions stays"));
  broker_.kill();
  bus->RemoveListener(actions, "goes");
  bus->AddListener(actions, "comes");
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  EXPECT_TRUE(puppet.says("-connect.actions goes"));
  EXPECT_TRUE(puppet.says("+connect.actions comes"));
  EXPECT_EQ(puppet.count_said("+connect.actions stays"), 1u);
  EXPECT_EQ(puppet.count_said("-connect.actions stays"), 0u);
}

TEST_F(BusWithoutBroker, WhatIsSentMeanwhileArrivesInOrderOnceAllAreBack) {
  constexpr int count = 1000;
  const KitBus bus;
  NumberSeat seat(bus, events);
  BusPuppet puppet;
  puppet.answer(actions);
  // It is there. (What it sends the seat now, unacknowledged by the broker, might come again.)
  ASSERT_EQ(ask(bus, actions, 1).status, 0u);
  broker_.kill();
  puppet.send(events, count);
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  EXPECT_TRUE(seat.numbers.reaches(count));
  std::vector<std::int64_t> expected(count);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(seat.numbers.all(), expected);
}

TEST_F(BusWithoutBroker, ASeatTakenMeanwhileIsLiveAfterwards) {
  const KitBus bus;
  wait_for_bus(bus);
  broker_.kill();
  NumberSeat seat(bus, events);
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  send(bus, events, 5);
  EXPECT_TRUE(seat.numbers.reaches(1));
}

TEST_F(BusWithoutBroker, ASeatLeftMeanwhileStaysEmpty) {
  const KitBus bus;
  NumberSeat stays(bus, events);
  {
    const NumberSeat ends(bus, "other");
    wait_for_bus(bus);
    broker_.kill();
  }
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  send(bus, "other", 4);
  send(bus, events, 5);
  EXPECT_TRUE(stays.numbers.reaches(1));
}

TEST_F(BusWithoutBroker, TheBusCanBeLeftAndJoinedAnew) {
  for (int round = 0; round < 5; ++round) {
    const KitBus bus;
    wait_for_bus(bus);
    broker_.kill();
    if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  }
}

}  // namespace

}  // namespace kit_test
