#include <atomic>
#include <thread>

#include "system/BusPuppet.h"

namespace kit_test {

namespace {

constexpr const char* channel = "connect.actions";
constexpr std::uint32_t timed_out = 1460;

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class BusRequests : public BusTest {
 protected:
  const KitBus bus_;
};

TEST_F(BusRequests, GetTheReplyOfAnotherProcess) {
  BusPuppet puppet;
  puppet.answer(channel);
  for (std::int64_t number = 0; number < 100; ++number) {
    const Answer answer = ask(bus_, channel, number);
    ASSERT_EQ(answer.status, 0u);
    EXPECT_EQ(answer.reply->GetInt("number"), number + 1);
  }
}

TEST_F(BusRequests, GetTheReplyOfTheSameProcess) {
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    message->SetReply(numbered(bus_, message->GetInt("number") * 2).get());
  });
  const Answer answer = ask(bus_, channel, 21);
  ASSERT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.reply->GetInt("number"), 42);
}

TEST_F(BusRequests, OfManyThreadsGetEachItsOwnReply) {
  BusPuppet puppet;
  puppet.answer(channel);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 50; ++i) {
        const Answer answer = ask(bus_, channel, thread * 1000 + i);
        EXPECT_EQ(answer.status, 0u);
        if (answer.reply) {
          EXPECT_EQ(answer.reply->GetInt("number"), thread * 1000 + i + 1);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(BusRequests, ThatNobodyAnswersEndWithTheTime) {
  const NumberSeat silent(bus_, channel);
  const Answer answer = ask(bus_, channel, 1, 50);
  EXPECT_EQ(answer.status, timed_out);
  EXPECT_EQ(answer.reply, nullptr);
  EXPECT_TRUE(silent.numbers.reaches(1));
}

TEST_F(BusRequests, TakeTheFirstReplyWithItsFieldsAsTheyAreThen) {
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    const MessagePointer reply = numbered(bus_, 1);
    message->SetReply(reply.get());
    reply->SetInt("number", 2);
    message->SetReply(reply.get());
    message->SetReply(numbered(bus_, 3).get());
  });
  for (int i = 0; i < 20; ++i) EXPECT_EQ(ask(bus_, channel, 0).reply->GetInt("number"), 1);
}

TEST_F(BusRequests, MayBeAnsweredOnAnyThreadAfterTheCallback) {
  Collected<IBusMessage*> kept;
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    message->AddRef();
    kept.add(message);
  });
  std::thread late([&] {
    EXPECT_TRUE(kept.reaches(1));
    const MessagePointer message(kept.all()[0]);
    message->SetReply(numbered(bus_, 5).get());
  });
  const Answer answer = ask(bus_, channel, 0);
  late.join();
  ASSERT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.reply->GetInt("number"), 5);
}

TEST_F(BusRequests, IgnoreRepliesThatComeTooLate) {
  Collected<IBusMessage*> kept;
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    message->AddRef();
    kept.add(message);
  });
  EXPECT_EQ(ask(bus_, channel, 1, 20).status, timed_out);
  std::thread answering([&] {
    EXPECT_TRUE(kept.reaches(2));
    const std::vector<IBusMessage*> messages = kept.all();
    messages[0]->SetReply(numbered(bus_, 1).get());
    messages[1]->SetReply(numbered(bus_, 2).get());
  });
  const Answer answer = ask(bus_, channel, 2);
  answering.join();
  ASSERT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.reply->GetInt("number"), 2);
  for (IBusMessage* const message : kept.all()) message->Release();
}

TEST_F(BusRequests, LeaveTheMessageAndItsReferencesAlone) {
  const Seat seat(bus_, channel,
                  [&](IBusMessage* message) { message->SetReply(numbered(bus_, 5).get()); });
  const MessagePointer message = numbered(bus_, 1);
  for (int i = 0; i < 3; ++i) {
    IBusMessage* reply = nullptr;
    ASSERT_EQ(bus_.channel(channel)->SendAndWait(message.get(), &reply, 30000), 0u);
    const MessagePointer owner(reply);
    EXPECT_EQ(message->GetInt("number"), 1);
  }
}

TEST_F(BusRequests, MayBeMadeInsideCallbacks) {
  BusPuppet puppet;
  puppet.answer(channel);
  Collected<std::int64_t> numbers;
  const Seat seat(bus_, "connect.events", [&](IBusMessage* message) {
    const Answer answer = ask(bus_, channel, message->GetInt("number"));
    EXPECT_EQ(answer.status, 0u);
    if (answer.reply) numbers.add(answer.reply->GetInt("number"));
  });
  for (int number = 0; number < 10; ++number) send(bus_, "connect.events", number);
  EXPECT_TRUE(numbers.reaches(10));
}

TEST_F(BusRequests, MayBeAnsweredByAnotherSeatOfTheProcessThatAsksInsideACallback) {
  const Seat answering(bus_, channel,
                       [&](IBusMessage* message) { message->SetReply(numbered(bus_, 1).get()); });
  // More of them at a time than the bus has threads to begin with.
  std::list<Seat> asking;
  std::atomic<int> answered = 0;
  for (int i = 0; i < 8; ++i) {
    asking.emplace_back(bus_, "connect.events", [&](IBusMessage*) {
      if (ask(bus_, channel, 0).status == 0) ++answered;
    });
  }
  send(bus_, "connect.events", 0);
  EXPECT_TRUE(waiting::until([&] { return answered == 8; }));
}

TEST_F(BusRequests, OfNothingAreRefused) {
  IBusMessage* reply = nullptr;
  EXPECT_EQ(bus_.channel(channel)->SendAndWait(nullptr, &reply, 10), 87u);
  EXPECT_EQ(bus_.channel(channel)->SendAndWait(numbered(bus_, 1).get(), nullptr, 10), 87u);
  bus_.channel(channel)->Send(nullptr);
}

}  // namespace

}  // namespace kit_test
