#include <atomic>
#include <list>

#include "system/kit_bus.h"

namespace kit_test {

namespace {

constexpr const char* channel = "connect.events";

class BusCallbacks : public BusTest {
 protected:
  const KitBus bus_;
};

TEST_F(BusCallbacks, ThatBlockHoldUpNobodyElse) {
  constexpr int blocked_seats = 12;
  const waiting::Gate gate;
  std::atomic<int> blocked = 0;
  std::list<Seat> seats;
  for (int i = 0; i < blocked_seats; ++i) {
    seats.emplace_back(bus_, channel, [&](IBusMessage*) {
      ++blocked;
      EXPECT_TRUE(gate.wait());
    });
  }
  NumberSeat free(bus_, channel);
  ListenerLog log(bus_);
  send(bus_, channel, 1);
  EXPECT_TRUE(free.numbers.reaches(1));
  EXPECT_TRUE(waiting::until([&] { return blocked == blocked_seats; }));
  send(bus_, channel, 2);
  EXPECT_TRUE(free.numbers.reaches(2));
  bus_->AddListener(channel, "push_client");
  EXPECT_TRUE(log.lines.reaches(1));
  EXPECT_EQ(blocked, blocked_seats);
  gate.open();
  EXPECT_TRUE(waiting::until([&] { return blocked == 2 * blocked_seats; }));
}

TEST_F(BusCallbacks, ThatBlockHoldUpNeitherRequestsNorNewSubscriptions) {
  const waiting::Gate entered;
  const waiting::Gate gate;
  const Seat blocked(bus_, channel, [&](IBusMessage*) {
    entered.open();
    EXPECT_TRUE(gate.wait());
  });
  const Seat answering(bus_, "another",
                       [&](IBusMessage* message) { message->SetReply(numbered(bus_, 1).get()); });
  send(bus_, channel, 1);
  ASSERT_TRUE(entered.wait());
  EXPECT_EQ(ask(bus_, "another", 2).status, 0u);
  NumberSeat made(bus_, "third");
  send(bus_, "third", 3);
  EXPECT_TRUE(made.numbers.reaches(1));
  gate.open();
}

TEST_F(BusCallbacks, MayWaitForEachOtherAndGetEachMessageOnceAndInOrder) {
  constexpr std::int64_t count = 200;
  Collected<std::int64_t> leading;
  Collected<std::int64_t> following;
  const Seat leader(bus_, channel, [&](IBusMessage* message) {
    const std::int64_t number = message->GetInt("number");
    EXPECT_TRUE(following.reaches(static_cast<std::size_t>(number)));
    leading.add(number);
  });
  const Seat follower(bus_, channel, [&](IBusMessage* message) {
    const std::int64_t number = message->GetInt("number");
    EXPECT_TRUE(leading.reaches(static_cast<std::size_t>(number) + 1));
    following.add(number);
  });
  std::vector<std::int64_t> all;
  for (std::int64_t number = 0; number < count; ++number) {
    send(bus_, channel, number);
    all.push_back(number);
  }
  EXPECT_TRUE(following.reaches(all.size()));
  EXPECT_EQ(leading.all(), all);
  EXPECT_EQ(following.all(), all);
}

TEST_F(BusCallbacks, OfOneSubscriptionRunOneAtATime) {
  std::atomic<int> running = 0;
  std::atomic<int> done = 0;
  const Seat seat(bus_, channel, [&](IBusMessage*) {
    EXPECT_EQ(++running, 1);
    std::this_thread::yield();
    --running;
    ++done;
  });
  for (int number = 0; number < 500; ++number) send(bus_, channel, number);
  EXPECT_TRUE(waiting::until([&] { return done == 500; }));
}

TEST_F(BusCallbacks, AreWaitedForByTheEndOfTheirSubscription) {
  const waiting::Gate entered;
  const waiting::Gate gate;
  std::atomic<bool> over = false;
  Seat seat(bus_, channel, [&](IBusMessage*) {
    entered.open();
    EXPECT_TRUE(gate.wait());
    over = true;
  });
  send(bus_, channel, 1);
  ASSERT_TRUE(entered.wait());
  waiting::Attempt ending([&] {
    seat.end();
    EXPECT_TRUE(over);
  });
  // It can't be done, however long one looks.
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(ending.is_done());
    std::this_thread::yield();
  }
  gate.open();
  EXPECT_TRUE(ending.ends());
}

TEST_F(BusCallbacks, MayEndTheirOwnSubscription) {
  std::atomic<int> calls = 0;
  const waiting::Gate ended;
  std::unique_ptr<Seat> seat;
  const waiting::Gate there;
  seat = std::make_unique<Seat>(bus_, channel, [&](IBusMessage* message) {
    EXPECT_TRUE(there.wait());
    ++calls;
    seat->end();
    // The message is still there.
    EXPECT_EQ(message->GetInt("number"), 1);
    ended.open();
  });
  there.open();
  const NumberSeat other(bus_, channel);
  send(bus_, channel, 1);
  send(bus_, channel, 2);
  EXPECT_TRUE(ended.wait());
  EXPECT_TRUE(other.numbers.reaches(2));
  EXPECT_EQ(calls, 1);
}

TEST_F(BusCallbacks, MaySubscribeAndEndOtherSubscriptions) {
  std::unique_ptr<NumberSeat> made;
  NumberSeat stays(bus_, channel);
  auto ends = std::make_unique<NumberSeat>(bus_, channel);
  const waiting::Gate done;
  const Seat seat(bus_, "another", [&](IBusMessage*) {
    made = std::make_unique<NumberSeat>(bus_, "third");
    ends.reset();
    done.open();
  });
  send(bus_, "another", 0);
  ASSERT_TRUE(done.wait());
  send(bus_, "third", 3);
  EXPECT_TRUE(made->numbers.reaches(1));
}

TEST_F(BusCallbacks, GetNothingFromBeforeTheyWereSet) {
  IBusChannel* const events = bus_.channel(channel);
  IBusSubscription* const subscription = events->Subscribe();
  EXPECT_EQ(subscription->GetChannel(), events);
  EXPECT_EQ(subscription->SetCallback(nullptr, nullptr, 0), 87u);
  const NumberSeat other(bus_, channel);
  send(bus_, channel, 1);
  ASSERT_TRUE(other.numbers.reaches(1));
  Collected<std::int64_t> numbers;
  const auto add = [](IBusMessage* message, void* context) {
    static_cast<Collected<std::int64_t>*>(context)->add(message->GetInt("number"));
  };
  EXPECT_EQ(subscription->SetCallback(add, &numbers, 0), 0u);
  send(bus_, channel, 2);
  EXPECT_TRUE(numbers.reaches(1));
  EXPECT_EQ(numbers.all(), std::vector<std::int64_t>{2});
  events->Unsubscribe(subscription);
  // A second time, and of nothing at all, it is nothing.
  events->Unsubscribe(subscription);
  events->Unsubscribe(nullptr);
}

TEST_F(BusCallbacks, OfAThousandSubscriptionsAllGetAMessage) {
  std::atomic<int> got = 0;
  std::list<Seat> seats;
  for (int i = 0; i < 1000; ++i) seats.emplace_back(bus_, channel, [&](IBusMessage*) { ++got; });
  send(bus_, channel, 1);
  EXPECT_TRUE(waiting::until([&] { return got == 1000; }));
}

}  // namespace

}  // namespace kit_test
