#include <atomic>
#include <list>

#include "system/BusPuppet.h"

namespace kit_test {

namespace {

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class BusProcesses : public BusTest {
 protected:
  const Variable grace_{"SPLICE_BUS_GRACE_MS", "60000"};
};

TEST_F(BusProcesses, TwentyOfThemHearEachOther) {
  constexpr int count = 20;
  const KitBus bus;
  const ListenerLog log(bus);
  std::list<BusPuppet> puppets(count);
  for (BusPuppet& puppet : puppets) {
    puppet.collect("all");
    puppet.observe();
    puppet.announce("all", "there");
  }
  EXPECT_TRUE(log.lines.reaches(count));
  for (BusPuppet& puppet : puppets) puppet.send("all", 1);
  for (BusPuppet& puppet : puppets) {
    for (int i = 0; i < count; ++i) EXPECT_TRUE(puppet.says("all 0"));
  }

  broker_.kill();
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  for (BusPuppet& puppet : puppets) puppet.send("all", 1);
  for (BusPuppet& puppet : puppets) {
    for (int i = 0; i < count; ++i) EXPECT_TRUE(puppet.says("all 0"));
  }
  EXPECT_EQ(log.lines.all().size(), std::size_t{count});

  for (int i = 0; i < count / 2; ++i) {
    puppets.front().kill();
    puppets.pop_front();
  }
  EXPECT_TRUE(log.lines.reaches(count + count / 2));
  for (BusPuppet& puppet : puppets) {
    for (int i = 0; i < count / 2; ++i) EXPECT_TRUE(puppet.says("-all there"));
  }
}

}  // namespace

}  // namespace kit_test
