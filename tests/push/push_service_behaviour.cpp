#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "_base/waiting.h"
#include "push/push_gate.h"
#include "support/HoldUp.h"
#include "support/PushServiceTest.h"

namespace {

using cloud::push::push_gate;
using cloud::push::push_service;
using support::HoldUp;
using support::PushReceiver;

class PushService : public support::PushServiceTest {
 protected:
  static void push(const std::string& text, void* context) {
    std::string copy = text;
    const cirrel_response response{nullptr, copy.data(), copy.size()};
    push_service::push_event(&response, context);
  }
};

TEST_F(PushService, KeepsACommandWhoseOutcomeIsNotUtf8AndSaysSo) {
  PushReceiver receiver;
  want_commands("app", receiver);
  push(support::command_push("app", "scan", "c-1"), &*service);
  done("app", "c-1", "\xff\xfe");
  EXPECT_LOGGED(log, 4, L"cloud::push::push_service::set_command_done",
                L"Could not make the message of a completed command");
  EXPECT_EQ(kept("app"), (Names{"scan c-1"}));
}

TEST_F(PushService, IsNotEnteredByAPushThatComesAfterItsEnd) {
  PushReceiver receiver;
  want_events("app", receiver);
  void* const context = &*service;
  push(support::event_push("app", "before"), context);
  service.reset();
  push(support::event_push("app", "after"), context);
  EXPECT_EQ(receiver.event_names(), (Names{"before"}));
}

TEST_F(PushService, WaitsAtItsEndForAPushThatIsBeingDelivered) {
  PushReceiver receiver;
  const HoldUp hold;
  receiver.when_event = [&](const support::SeenEvent&) { hold.stop_here(); };
  want_events("app", receiver);
  void* const context = &*service;
  const waiting::Attempt delivery([&] { push(support::event_push("app", "slow"), context); });
  ASSERT_TRUE(hold.is_reached());
  const waiting::Attempt end([&] { service.reset(); });
  // The end has begun when nothing is let in any more.
  EXPECT_TRUE(waiting::until([&] { return !push_gate::visit(context); }));
  EXPECT_FALSE(end.is_done());
  hold.let_go();
  EXPECT_TRUE(delivery.ends());
  EXPECT_TRUE(end.ends());
}

TEST(PushGate, LetsVisitsInBetweenOpeningAndClosing) {
  const int context = 0;
  EXPECT_FALSE(push_gate::visit(&context));
  push_gate::open(&context);
  EXPECT_TRUE(push_gate::visit(&context));
  push_gate::close(&context);
  EXPECT_FALSE(push_gate::visit(&context));
}

TEST(PushGate, IsOneForEachContext) {
  const int contexts[2] = {};
  push_gate::open(&contexts[0]);
  EXPECT_FALSE(push_gate::visit(&contexts[1]));
  push_gate::close(&contexts[1]);
  EXPECT_TRUE(push_gate::visit(&contexts[0]));
  push_gate::close(&contexts[0]);
}

TEST(PushGate, ClosesForNewVisitsWhileItWaitsForTheOld) {
  const int context = 0;
  push_gate::open(&context);
  std::optional<push_gate::visit> old(std::in_place, &context);
  const waiting::Attempt closing([&] { push_gate::close(&context); });
  EXPECT_TRUE(waiting::until([&] { return !push_gate::visit(&context); }));
  EXPECT_FALSE(closing.is_done());
  old.reset();
  EXPECT_TRUE(closing.ends());
}

}  // namespace
