#include <string>

#include "frame/msgbus/IBusSubscription.h"
#include "push/comm/BusTest.h"
#include "push/comm/answering.h"

namespace {

using support::BusFields;

/// Answers every message of a channel, as one who takes methods that the push components haven't.
class Answering : public BusTest {
 protected:
  Answering() {
    IBusChannel* const channel = bus.bus()->Core()->GetChannel("connect.actions");
    subscription_ = channel->Subscribe();
    subscription_->SetCallback(
        [](IBusMessage* message, void*) {
          cloud::comm::answer(*message, "push", "the method", 7, {"app", "device", "token"},
                              {"other device", "other app"});
        },
        nullptr, 0);
    bus.forget_calls();
  }
  ~Answering() override { subscription_->GetChannel()->Unsubscribe(subscription_); }

  std::optional<BusFields> ask(const BusFields& fields) {
    return bus.deliver("connect.actions", fields);
  }

  const BusFields reply = {{"module", "connect_requests"},
                           {"err", 7},
                           {"module", "push"},
                           {"method", "the method"},
                           {"source_app_id", "app"},
                           {"source_device_id", "device"},
                           {"source_token", "token"},
                           {"dest_app_id", "other app"},
                           {"dest_device_id", "other device"}};

 private:
  IBusSubscription* subscription_ = nullptr;
};

TEST_F(Answering, RepliesToTheSender) {
  EXPECT_EQ(ask({{"method", "push_register"}}), reply);
  EXPECT_EQ(bus.calls(),
            (Calls{"GetChannel connect.actions", "CreateMessage", "SetReply connect.actions"}));
}

TEST_F(Answering, RepliesToTheSenderOfAMessageWithoutAMethod) {
  EXPECT_EQ(ask({}), reply);
}

TEST_F(Answering, SendsTheReplyToAllIfTheMethodSaysSoAnywhereInItsName) {
  for (const char* const method : {"async", "async_do", "do_async", "do_async_now"}) {
    bus.forget_calls();
    EXPECT_FALSE(ask({{"method", method}})) << method;
    EXPECT_EQ(bus.calls(),
              (Calls{"GetChannel connect.events", "CreateMessage", "Send connect.events"}));
    const support::SentMessage sent = bus.last_sent();
    EXPECT_EQ(sent.fields, reply);
    EXPECT_EQ(sent.references, 2u);
    EXPECT_FALSE(sent.waited);
    EXPECT_EQ(bus.messages_alive(), 0u);
  }
}

TEST_F(Answering, LooksForThatWordAsItIsWritten) {
  EXPECT_TRUE(ask({{"method", "do_Async"}}));
  EXPECT_TRUE(ask({{"method", "asyn"}}));
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(Answering, NeedsOnlyTheChannelThatItTakes) {
  bus.refuse_channel("connect.events");
  EXPECT_TRUE(ask({{"method", "push_register"}}));
  EXPECT_FALSE(ask({{"method", "do_async"}}));
  bus.refuse_channel("connect.events", false);
  bus.refuse_channel("connect.actions");
  EXPECT_FALSE(ask({{"method", "push_register"}}));
  EXPECT_TRUE(bus.sent().empty());
  ask({{"method", "do_async"}});
  EXPECT_EQ(bus.sent().size(), 1u);
}

TEST_F(Answering, IsSilentWithoutAMessage) {
  bus.refuse_messages(1);  // the one that comes in
  ask({{"method", "do_async"}});
  bus.refuse_messages(0);
  EXPECT_FALSE(ask({{"method", "do_async"}}));
  EXPECT_FALSE(ask({{"method", "push_register"}}));
  EXPECT_EQ(bus.sent().size(), 1u);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
