#include <atomic>
#include <limits>
#include <thread>

#include "system/BusPuppet.h"

namespace kit_test {

namespace {

constexpr const char* channel = "connect.events";

TEST(BusPuppet, DoesAsItIsTold) {
  play_bus_puppet();
}

class BusMessages : public BusTest {
 protected:
  const KitBus bus_;
};

// --- who gets a message

TEST_F(BusMessages, ReachEverySubscriptionOfTheChannelInThisProcessToo) {
  const NumberSeat first(bus_, channel);
  const NumberSeat second(bus_, channel);
  const NumberSeat elsewhere(bus_, "another.channel");
  send(bus_, channel, 7);
  EXPECT_TRUE(first.numbers.reaches(1));
  EXPECT_TRUE(second.numbers.reaches(1));
  // A message of its own has come by, so the other one would have.
  send(bus_, "another.channel", 8);
  EXPECT_TRUE(elsewhere.numbers.reaches(1));
  EXPECT_EQ(elsewhere.numbers.all(), std::vector<std::int64_t>{8});
}

TEST_F(BusMessages, ReachTheSubscriptionsOfOtherProcesses) {
  BusPuppet one;
  BusPuppet other;
  one.collect(channel);
  other.collect(channel);
  other.collect(channel);
  send(bus_, channel, 7);
  EXPECT_TRUE(one.says("connect.events 7"));
  EXPECT_TRUE(other.says("connect.events 7"));
  EXPECT_TRUE(other.says("connect.events 7"));
}

TEST_F(BusMessages, ComeFromOtherProcesses) {
  const NumberSeat seat(bus_, channel);
  BusPuppet puppet;
  puppet.send(channel, 2);
  EXPECT_TRUE(seat.numbers.reaches(2));
  EXPECT_EQ(seat.numbers.all(), (std::vector<std::int64_t>{0, 1}));
}

TEST_F(BusMessages, AreACopyForEachSubscription) {
  Collected<std::int64_t> numbers;
  const auto spoil = [&](IBusMessage* message) {
    numbers.add(message->GetInt("number"));
    message->SetInt("number", -1);
  };
  const Seat first(bus_, channel, spoil);
  const Seat second(bus_, channel, spoil);
  const MessagePointer sent = numbered(bus_, 7);
  bus_.channel(channel)->Send(sent.get());
  EXPECT_TRUE(numbers.reaches(2));
  EXPECT_EQ(numbers.all(), (std::vector<std::int64_t>{7, 7}));
  EXPECT_EQ(sent->GetInt("number"), 7);
}

TEST_F(BusMessages, AreSentAsTheyAreAtThatMoment) {
  const NumberSeat seat(bus_, channel);
  const MessagePointer message = numbered(bus_, 1);
  bus_.channel(channel)->Send(message.get());
  message->SetInt("number", 2);
  bus_.channel(channel)->Send(message.get());
  EXPECT_TRUE(seat.numbers.reaches(2));
  EXPECT_EQ(seat.numbers.all(), (std::vector<std::int64_t>{1, 2}));
}

TEST_F(BusMessages, DoNotReachASubscriptionThatHasEnded) {
  NumberSeat stays(bus_, channel);
  std::optional<NumberSeat> ends(std::in_place, bus_, channel);
  send(bus_, channel, 1);
  EXPECT_TRUE(ends->numbers.reaches(1));
  ends.reset();
  send(bus_, channel, 2);
  EXPECT_TRUE(stays.numbers.reaches(2));
}

TEST_F(BusMessages, TravelOnChannelsOfAnyName) {
  for (const std::string& name :
       {std::string("with/level"), std::string("#"), std::string("a+b"), std::string("50%41"),
        std::string("\xFF\x01 \xC3\xA4"), std::string("$SYS"), std::string(5000, 'x')}) {
    ASSERT_STREQ(bus_.channel(name)->GetName(), name.c_str());
    const NumberSeat seat(bus_, name);
    send(bus_, name, 7);
    EXPECT_TRUE(seat.numbers.reaches(1)) << name;
  }
  EXPECT_EQ(bus_.channel(std::string(70000, 'x')), nullptr);
  EXPECT_EQ(bus_.channel(""), nullptr);
  EXPECT_EQ(bus_->Core()->GetChannel(nullptr), nullptr);
  EXPECT_EQ(bus_.channel("same"), bus_.channel("same"));
}

// --- what a message holds

TEST_F(BusMessages, KeepEveryFieldOnTheWay) {
  const std::string long_text(300'000, 'x');
  const MessagePointer message = new_message(bus_);
  message->SetInt("least", std::numeric_limits<std::int64_t>::min());
  message->SetInt("greatest", std::numeric_limits<std::int64_t>::max());
  message->SetInt("beyond a double", 9007199254740993);
  message->SetString("empty", "");
  message->SetString("text", "na\xC3\xAFve \"text\"\n\x01\xF0\x9F\x98\x80");
  message->SetString("not utf-8", "a\xFF\xC3(\x80z");
  message->SetString("cut short", "\xE2\x82");
  message->SetString("\xFE key", "1");
  message->SetString("long", long_text.c_str());

  waiting::Gate checked;
  const Seat seat(bus_, channel, [&](IBusMessage* got) {
    EXPECT_EQ(got->GetInt("least"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(got->GetInt("greatest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(got->GetInt("beyond a double"), 9007199254740993);
    EXPECT_STREQ(got->GetString("empty"), "");
    EXPECT_STREQ(got->GetString("text"), "na\xC3\xAFve \"text\"\n\x01\xF0\x9F\x98\x80");
    EXPECT_STREQ(got->GetString("not utf-8"), "a\xFF\xC3(\x80z");
    EXPECT_STREQ(got->GetString("cut short"), "\xE2\x82");
    EXPECT_STREQ(got->GetString("\xFE key"), "1");
    EXPECT_STREQ(got->GetString("long"), long_text.c_str());
    EXPECT_TRUE(got->HasField("empty", 0));
    EXPECT_FALSE(got->HasField("absent", 0));
    EXPECT_EQ(got->GetString("absent"), nullptr);
    EXPECT_EQ(got->GetInt("absent"), 0);
    checked.open();
  });
  bus_.channel(channel)->Send(message.get());
  EXPECT_TRUE(checked.wait());
}

TEST_F(BusMessages, KeepEveryByteOfATextAndOfAName) {
  const MessagePointer message = new_message(bus_);
  std::vector<std::string> texts;
  for (int byte = 1; byte < 256; ++byte) {
    const std::string alone(1, static_cast<char>(byte));
    for (const std::string& text : {alone, "a" + alone + "b", "\xC2" + alone})
      texts.push_back(text);
  }
  for (const std::string& text : texts) message->SetString(text.c_str(), text.c_str());
  const waiting::Gate checked;
  const Seat seat(bus_, channel, [&](IBusMessage* got) {
    for (const std::string& text : texts) EXPECT_STREQ(got->GetString(text.c_str()), text.c_str());
    checked.open();
  });
  bus_.channel(channel)->Send(message.get());
  EXPECT_TRUE(checked.wait());
}

TEST_F(BusMessages, HoldOneValueForAFieldWhichIsATextOrANumber) {
  const MessagePointer message = new_message(bus_);
  message->SetString("field", "5");
  EXPECT_EQ(message->GetInt("field"), 0);
  message->SetInt("field", 6);
  EXPECT_EQ(message->GetInt("field"), 6);
  EXPECT_EQ(message->GetString("field"), nullptr);
  message->SetString("field", nullptr);
  EXPECT_FALSE(message->HasField("field", 0));
}

// --- order

TEST_F(BusMessages, OfOneSenderComeInOrder) {
  constexpr std::size_t most = 10'000;
  constexpr std::size_t fewer = 1'000;
  std::map<std::int64_t, std::vector<std::int64_t>> of_sender;
  std::mutex mutex;
  std::size_t total = 0;
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    const std::lock_guard guard(mutex);
    of_sender[message->GetInt("sender")].push_back(message->GetInt("number"));
    ++total;
  });
  BusPuppet one;
  BusPuppet other;
  one.begin_to_send(channel, most);
  other.begin_to_send(channel, fewer);
  EXPECT_TRUE(one.says("done"));
  EXPECT_TRUE(other.says("done"));
  EXPECT_TRUE(waiting::until([&] {
    const std::lock_guard guard(mutex);
    return total >= most + fewer;
  }));
  const std::lock_guard guard(mutex);
  EXPECT_EQ(of_sender[static_cast<std::int64_t>(one.id())].size(), most);
  EXPECT_EQ(of_sender[static_cast<std::int64_t>(other.id())].size(), fewer);
  for (const auto& [sender, numbers] : of_sender) {
    for (std::size_t i = 0; i < numbers.size(); ++i)
      ASSERT_EQ(numbers[i], static_cast<std::int64_t>(i));
  }
}

TEST_F(BusMessages, OfMegabytesComeInOrderWithTheSmallOnes) {
  const std::string text(8'000'000, 'x');
  Collected<std::int64_t> numbers;
  const Seat seat(bus_, channel, [&](IBusMessage* message) {
    const std::int64_t number = message->GetInt("number");
    const char* const got = message->GetString("text");
    EXPECT_EQ(got != nullptr ? got : "", number % 2 == 0 ? text : "");
    numbers.add(number);
  });
  for (int number = 0; number < 4; number += 2) {
    const MessagePointer message = numbered(bus_, number);
    message->SetString("text", text.c_str());
    bus_.channel(channel)->Send(message.get());
    send(bus_, channel, number + 1);
  }
  EXPECT_TRUE(numbers.reaches(4));
  EXPECT_EQ(numbers.all(), (std::vector<std::int64_t>{0, 1, 2, 3}));
}

TEST_F(BusMessages, AreKeptForAReaderThatStalls) {
  constexpr int count = 5'000;
  const waiting::Gate gate;
  std::atomic<int> seen = 0;
  const Seat slow(bus_, channel, [&](IBusMessage*) {
    EXPECT_TRUE(gate.wait());
    ++seen;
  });
  const NumberSeat quick(bus_, channel);
  for (int number = 0; number < count; ++number) send(bus_, channel, number);
  EXPECT_TRUE(quick.numbers.reaches(count));
  EXPECT_EQ(seen, 0);
  gate.open();
  EXPECT_TRUE(waiting::until([&] { return seen == count; }));
}

TEST_F(BusMessages, ThatNoBrokerCouldTakeAreDroppedAndHoldNothingUp) {
  // Each of its characters takes six on the way, and 268,435,455 fit.
  const std::string text(45'000'000, '\x01');
  NumberSeat seat(bus_, "connect.events");
  testing::internal::CaptureStderr();
  {
    const MessagePointer message = numbered(bus_, 1);
    message->SetString("text", text.c_str());
    bus_.channel("connect.events")->Send(message.get());
  }
  send(bus_, "connect.events", 2);
  EXPECT_TRUE(seat.numbers.reaches(1));
  EXPECT_EQ(seat.numbers.all(), std::vector<std::int64_t>{2});
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("the bus can't carry a message of 2700000"), std::string::npos) << said;
  EXPECT_NE(said.find("on channel/connect.events: "), std::string::npos) << said;
}

}  // namespace

}  // namespace kit_test
