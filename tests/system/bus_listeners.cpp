#include <atomic>
#include <thread>

#include "system/BusPuppet.h"

namespace kit_test {

namespace {

constexpr const char* actions = "connect.actions";
constexpr const char* events = "connect.events";
using Lines = std::vector<std::string>;

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class CountingObserver final : public ibus_observer {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
  void on_new_listener(void*, const char*, const char*) override { ++calls; }
  void on_listener_removed(void*, const char*, const char*) override { ++calls; }

  std::atomic<int> calls = 0;
};

class BusListeners : public BusTest {
 protected:
  bool is_listening(const char* channel, const char* listener) {
    return bus_->IsListening(channel, listener);
  }
  bool hears_of(const char* channel, const char* listener, bool there) {
    return waiting::until([&] { return is_listening(channel, listener) == there; });
  }

  const KitBus bus_;
};

TEST_F(BusListeners, AreAnnouncedToTheObserversOfAllProcesses) {
  BusPuppet observer;
  observer.observe();
  const ListenerLog log(bus_);
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_TRUE(observer.says("+connect.actions push_register"));
  bus_->AddListener(events, "push_client");
  EXPECT_TRUE(log.lines.reaches(2));
  EXPECT_TRUE(observer.says("+connect.events push_client"));
  puppet.withdraw(actions, "push_register");
  EXPECT_TRUE(observer.says("-connect.actions push_register"));
  bus_->RemoveListener(events, "push_client");
  EXPECT_TRUE(observer.says("-connect.events push_client"));
  EXPECT_TRUE(log.lines.reaches(4));
  EXPECT_EQ(log.lines.all(),
            (Lines{"+connect.actions push_register", "+connect.events push_client",
                   "-connect.actions push_register", "-connect.events push_client"}));
}

TEST_F(BusListeners, AreAnnouncedAsOftenAsTheyCome) {
  const ListenerLog log(bus_);
  for (int i = 0; i < 3; ++i) bus_->AddListener(events, "push_client");
  EXPECT_TRUE(log.lines.reaches(3));
  EXPECT_EQ(log.lines.all(), Lines(3, "+connect.events push_client"));
  bus_->RemoveListener(events, "push_client");
  EXPECT_TRUE(log.lines.reaches(4));
  EXPECT_TRUE(is_listening(events, "push_client"));
}

TEST_F(BusListeners, ThatAreThereAlreadyAreNotToldToANewObserver) {
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  ASSERT_TRUE(hears_of(actions, "push_register", true));
  const ListenerLog log(bus_);
  puppet.announce(actions, "push_unregister");
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_EQ(log.lines.all(), Lines{"+connect.actions push_unregister"});
}

TEST_F(BusListeners, ThatAreThereAlreadyAreNotToldToAProcessThatHasJustJoined) {
  bus_->AddListener(actions, "push_register");
  ASSERT_TRUE(is_listening(actions, "push_register"));
  BusPuppet puppet;
  puppet.observe();
  bus_->AddListener(actions, "push_unregister");
  EXPECT_TRUE(puppet.says("+connect.actions push_unregister"));
  EXPECT_EQ(puppet.count_said("+connect.actions push_register"), 0u);
}

TEST_F(BusListeners, CanBeReachedByWhoeverSeesThem) {
  constexpr int rounds = 100;
  BusPuppet puppet;
  puppet.observe();
  for (int round = 0; round < rounds; ++round) {
    const std::string channel = "channel" + std::to_string(round);
    const NumberSeat seat(bus_, channel);
    bus_->AddListener(channel.c_str(), "there");
    ASSERT_TRUE(puppet.says("+" + channel + " there"));
    puppet.send(channel, 1);
    ASSERT_TRUE(seat.numbers.reaches(1));
  }
}

TEST_F(BusListeners, CanBeAskedFor) {
  EXPECT_FALSE(is_listening(actions, "push_register"));
  bus_->AddListener(actions, "push_register");
  EXPECT_TRUE(is_listening(actions, "push_register"));
  EXPECT_FALSE(is_listening(events, "push_register"));
  EXPECT_FALSE(is_listening(actions, "push"));
  bus_->RemoveListener(actions, "push_register");
  EXPECT_FALSE(is_listening(actions, "push_register"));

  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  EXPECT_TRUE(hears_of(actions, "push_register", true));
  puppet.withdraw(actions, "push_register");
  EXPECT_TRUE(hears_of(actions, "push_register", false));
}

TEST_F(BusListeners, AreKnownToAProcessFromItsFirstQuestion) {
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  ASSERT_TRUE(hears_of(actions, "push_register", true));
  bus_.leave();
  EXPECT_TRUE(is_listening(actions, "push_register"));
}

TEST_F(BusListeners, OfAKilledProcessAreRemoved) {
  const ListenerLog log(bus_);
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  puppet.announce(events, "push_client");
  EXPECT_TRUE(log.lines.reaches(2));
  puppet.kill();
  EXPECT_TRUE(log.lines.reaches(4));
  EXPECT_TRUE(log.lines.has("-connect.actions push_register"));
  EXPECT_TRUE(log.lines.has("-connect.events push_client"));
  EXPECT_FALSE(is_listening(actions, "push_register"));
}

/// Its children would hold its connection open, if it were handed down to them.
TEST_F(BusListeners, OfAProcessThatLeftAreRemovedThoughItHasForgottenTo) {
  const ListenerLog log(bus_);
  BusPuppet puppet;
  puppet.announce(actions, "push_register");
  EXPECT_TRUE(log.lines.reaches(1));
  puppet.leave();
  EXPECT_TRUE(log.lines.reaches(2));
  EXPECT_EQ(log.lines.all().back(), "-connect.actions push_register");
}

TEST_F(BusListeners, OfAHundredKilledProcessesLeaveNothingBehind) {
  const ListenerLog log(bus_);
  for (std::size_t i = 1; i <= 20; ++i) {
    BusPuppet puppet;
    puppet.announce(actions, "push_register");
    EXPECT_TRUE(log.lines.reaches(2 * i - 1));
    puppet.kill();
    EXPECT_TRUE(log.lines.reaches(2 * i));
  }
  EXPECT_FALSE(is_listening(actions, "push_register"));
}

TEST_F(BusListeners, HaveNamesOfAllKinds) {
  const ListenerLog log(bus_);
  bus_->AddListener("a/#", "\xFF \"name\"");
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_EQ(log.lines.all(), Lines{"+a/# \xFF \"name\""});
  EXPECT_TRUE(is_listening("a/#", "\xFF \"name\""));
  bus_->AddListener(nullptr, "name");
  bus_->AddListener("channel", nullptr);
  bus_->RemoveListener("channel", "never announced");
  EXPECT_FALSE(is_listening("channel", nullptr));
}

// --- observers

TEST_F(BusListeners, AreToldToAnObserverOnceAndOnlyUntilItIsRemoved) {
  ListenerLog log(bus_);
  EXPECT_FALSE(bus_->AddObserver(&log, 0));
  EXPECT_FALSE(bus_->AddObserver(nullptr, 0));
  bus_->AddListener(events, "first");
  EXPECT_TRUE(log.lines.reaches(1));
  const ListenerLog stays(bus_);
  EXPECT_TRUE(bus_->RemoveObserver(&log, 0));
  EXPECT_FALSE(bus_->RemoveObserver(&log, 0));
  bus_->AddListener(events, "second");
  EXPECT_TRUE(stays.lines.reaches(1));
  EXPECT_EQ(log.lines.all(), Lines{"+connect.events first"});
}

class BlockingObserver final : public ibus_observer {
 public:
  explicit BlockingObserver(const KitBus& bus) : bus_(bus) {}
  void* QueryInterface(const IID&) override { return nullptr; }
  void on_new_listener(void*, const char*, const char*) override {
    entered.open();
    EXPECT_TRUE(gate.wait());
    over = true;
  }
  void on_listener_removed(void*, const char*, const char*) override {
    // On its own thread this doesn't wait.
    EXPECT_TRUE(bus_->RemoveObserver(this, 0));
    entered.open();
  }

  const waiting::Gate entered;
  const waiting::Gate gate;
  std::atomic<bool> over = false;

 private:
  const KitBus& bus_;
};

TEST_F(BusListeners, ReachOtherObserversAndSubscriptionsWhileOneBlocks) {
  BlockingObserver blocking(bus_);
  ASSERT_TRUE(bus_->AddObserver(&blocking, 0));
  const ListenerLog log(bus_);
  const NumberSeat seat(bus_, events);
  bus_->AddListener(events, "push_client");
  ASSERT_TRUE(blocking.entered.wait());
  bus_->AddListener(events, "second");
  EXPECT_TRUE(log.lines.reaches(2));
  send(bus_, events, 1);
  EXPECT_TRUE(seat.numbers.reaches(1));

  waiting::Attempt removal([&] {
    EXPECT_TRUE(bus_->RemoveObserver(&blocking, 0));
    EXPECT_TRUE(blocking.over);
  });
  blocking.gate.open();
  EXPECT_TRUE(removal.ends());
}

TEST_F(BusListeners, MayRemoveTheObserverThatIsToldOfThem) {
  bus_->AddListener(events, "push_client");
  ASSERT_TRUE(is_listening(events, "push_client"));
  BlockingObserver observer(bus_);
  // Until its own announcement has come back, the bus would tell of it.
  {
    const ListenerLog log(bus_);
    bus_->AddListener(actions, "x");
    EXPECT_TRUE(log.lines.reaches(1));
  }
  ASSERT_TRUE(bus_->AddObserver(&observer, 0));
  bus_->RemoveListener(events, "push_client");
  EXPECT_TRUE(observer.entered.wait());
  EXPECT_FALSE(bus_->RemoveObserver(&observer, 0));
}

TEST_F(BusListeners, AreNotToldToAnObserverThatWasRemovedWhileItCame) {
  // As often as it takes: who is faster is the system's affair.
  EXPECT_TRUE(waiting::until([&] {
    bus_.leave();
    IBus* const bus = bus_.get();
    CountingObserver observer;
    // A new bus takes its time to know who is there, and the observer waits for that.
    bool added = false;
    std::thread adds([&] { added = bus->AddObserver(&observer, 0); });
    EXPECT_TRUE(waiting::until([&] { return bus->RemoveObserver(&observer, 0); }));
    adds.join();
    EXPECT_FALSE(bus->RemoveObserver(&observer, 0));
    const ListenerLog log(bus_);
    bus_->AddListener(events, "push_client");
    EXPECT_TRUE(log.lines.reaches(1));
    EXPECT_EQ(observer.calls, 0);
    return !added;
  }));
}

}  // namespace

}  // namespace kit_test
