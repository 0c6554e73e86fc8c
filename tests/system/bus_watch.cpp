#include "devkit/msgbus/Watch.h"
#include "system/BusPuppet.h"

namespace kit_test {

namespace {

using devkit::bus::Sighting;
using Kind = Sighting::Kind;

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class BusWatch : public BusTest {
 protected:
  /// Waits for a sighting of that kind behind all that were given before.
  std::optional<Sighting> next(Kind kind) {
    std::optional<Sighting> found;
    waiting::until([&] {
      const std::vector<Sighting> all = sightings_.all();
      while (given_ < all.size() && !found) {
        if (all[given_].kind == kind) found = all[given_];
        ++given_;
      }
      return found.has_value();
    });
    EXPECT_TRUE(found.has_value());
    return found;
  }
  std::size_t count(Kind kind) const {
    const std::vector<Sighting> all = sightings_.all();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const Sighting& seen) { return seen.kind == kind; }));
  }

  const KitBus bus_;
  Collected<Sighting> sightings_;
  std::size_t given_ = 0;
};

TEST_F(BusWatch, SeesMessagesAndPairsRequestsWithTheirReplies) {
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  ASSERT_TRUE(next(Kind::caught_up));
  send(bus_, "connect.events", 7);
  const auto message = next(Kind::message);
  ASSERT_TRUE(message);
  EXPECT_EQ(message->channel, "connect.events");
  EXPECT_EQ(std::get<std::int64_t>(message->fields.at("number")), 7);

  BusPuppet puppet;
  puppet.answer("connect.actions");
  ASSERT_EQ(ask(bus_, "connect.actions", 1).status, 0u);
  const auto request = next(Kind::request);
  const auto reply = next(Kind::reply);
  ASSERT_TRUE(request && reply);
  EXPECT_EQ(request->channel, "connect.actions");
  EXPECT_EQ(request->process_id, devkit::os::process_id());
  EXPECT_EQ(request->correlation, reply->correlation);
  EXPECT_EQ(reply->channel, "connect.actions");
  EXPECT_TRUE(reply->elapsed.has_value());
  EXPECT_EQ(std::get<std::int64_t>(reply->fields.at("number")), 2);
}

TEST_F(BusWatch, TellsWhoIsThereAndHowTheyGo) {
  bus_->AddListener("connect.actions", "push_register");
  const NumberSeat seat(bus_, "probe");
  send(bus_, "probe", 1);
  ASSERT_TRUE(seat.numbers.reaches(1));
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  const auto here = next(Kind::process_here);
  ASSERT_TRUE(here);
  EXPECT_EQ(here->process_id, devkit::os::process_id());
  EXPECT_EQ(here->program, devkit::path_text(devkit::os::program().filename()));
  const auto listener = next(Kind::listener_added);
  ASSERT_TRUE(listener);
  EXPECT_EQ(listener->listener.name, "push_register");
  ASSERT_TRUE(next(Kind::caught_up));

  BusPuppet dies;
  dies.announce("connect.events", "push_client");
  ASSERT_TRUE(next(Kind::listener_added));
  dies.kill();
  ASSERT_TRUE(next(Kind::listener_removed));
  ASSERT_TRUE(next(Kind::process_died));

  BusPuppet leaves;
  leaves.announce("connect.events", "push_client");
  ASSERT_TRUE(next(Kind::listener_added));
  leaves.leave();
  ASSERT_TRUE(next(Kind::listener_removed));
  ASSERT_TRUE(next(Kind::process_left));
}

TEST_F(BusWatch, OutlivesTheBroker) {
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  ASSERT_TRUE(next(Kind::caught_up));
  broker_.kill();
  ASSERT_TRUE(next(Kind::away));
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  ASSERT_TRUE(next(Kind::connected));
  ASSERT_TRUE(next(Kind::caught_up));
  send(bus_, "connect.events", 7);
  EXPECT_TRUE(next(Kind::message));
}

TEST_F(BusWatch, TellsAnOrderlyEndFromADeathEachTime) {
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  ASSERT_TRUE(next(Kind::caught_up));
  for (int round = 0; round < 50; ++round) {
    bus_->AddListener("connect.events", "push_client");
    bus_->RemoveListener("connect.events", "push_client");
    ASSERT_FALSE(bus_->IsListening("connect.events", "push_client"));  // joined by now
    bus_.leave();
    ASSERT_TRUE(next(Kind::process_left)) << round;
  }
  EXPECT_EQ(count(Kind::process_died), 0u);
}

TEST_F(BusWatch, GivesNobodyUpWhoIsLateToComeBack) {
  const Variable grace("SPLICE_BUS_GRACE_MS", "60000");
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  ASSERT_TRUE(next(Kind::caught_up));
  BusPuppet late;
  late.announce("connect.events", "push_client");
  ASSERT_TRUE(next(Kind::listener_added));
  broker_.kill();
  late.kill();  // as late as one can be
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  ASSERT_TRUE(next(Kind::caught_up));
  BusPuppet puppet;
  puppet.announce("connect.actions", "push_register");
  ASSERT_TRUE(next(Kind::listener_added));
  EXPECT_EQ(count(Kind::process_left) + count(Kind::process_died), 0u);
  EXPECT_EQ(count(Kind::listener_removed), 0u);
}

TEST_F(BusWatch, TakesThoseForDeadWhoDoNotComeBackInTime) {
  const Variable grace("SPLICE_BUS_GRACE_MS", "100");
  const devkit::bus::Watch watch(broker_.address(),
                                 [&](const Sighting& seen) { sightings_.add(seen); });
  ASSERT_TRUE(next(Kind::caught_up));
  BusPuppet puppet;
  puppet.announce("connect.events", "push_client");
  ASSERT_TRUE(next(Kind::listener_added));
  broker_.kill();
  puppet.kill();
  if (!broker_is_back()) GTEST_SKIP() << port_is_kept;
  ASSERT_TRUE(next(Kind::caught_up));
  ASSERT_TRUE(next(Kind::listener_removed));
  ASSERT_TRUE(next(Kind::process_died));
}

}  // namespace

}  // namespace kit_test
