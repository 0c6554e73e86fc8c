// Threads that meet in a client, and its tables.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

#include "_base/slots.h"
#include "push/PushPromises.h"
#include "support/HoldUp.h"
#include "support/PushClientTest.h"

namespace {

using support::BusAnswer;
using support::BusFields;
using support::HoldUp;
using support::PushInbox;
using support::SentMessage;
using waiting::Attempt;
using Lines = std::vector<std::string>;

class PushClientLocks : public support::PushClientTest {
 protected:
  ~PushClientLocks() override { hold_up.let_go(); }

  /// The next registration with this topic stays on its way until it is let go.
  void hold_registrations(int topic) {
    bus.answer_by([topic, hold_up = hold_up](const SentMessage& message) {
      if (message.number("topic") == topic) {
        hold_up.stop_here();
      }
      return BusAnswer{0, BusFields{{"err", 0}}};
    });
  }
  /// While the applications of this topic are registered anew, only the other kind gets through.
  void refresh_expecting_to_wait(int topic, PushInbox& waits, PushInbox& goes_on) {
    hold_registrations(topic);
    const Attempt refresh([this] { client->refresh_listeners(); });
    ASSERT_TRUE(hold_up.is_reached());
    bus.deliver(events, event("news", "app"));
    bus.deliver(events, command("id", "app"));
    const Attempt arrival([&] { waits.gets(1); });
    EXPECT_TRUE(goes_on.gets(1));
    EXPECT_TRUE(arrival.stays_blocked());
    hold_up.let_go();
    EXPECT_TRUE(refresh.ends());
    EXPECT_TRUE(arrival.ends());
  }
  void hold(PushInbox& whose) {
    whose.set_hook([hold_up = hold_up] { hold_up.stop_here(); });
  }

  const HoldUp hold_up{};
  PushInbox inbox;
  PushInbox other;
};

TEST_F(PushClientLocks, EventCallbackHoldsTheEventsAndNotTheCommands) {
  server_comes();
  hold(inbox);
  register_events("app", inbox);
  bus.deliver(events, event("news", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt joining([this] { register_events("app", other); });
  const Attempt leaving([this] { unregister_events("app", other); });
  const Attempt commands([this] {
    register_commands("app", other);
    unregister_commands("app", other);
    pending();
  });
  EXPECT_TRUE(commands.ends());
  EXPECT_TRUE(joining.stays_blocked());
  EXPECT_TRUE(leaving.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(joining.ends());
  EXPECT_TRUE(leaving.ends());
}

TEST_F(PushClientLocks, CommandCallbackHoldsTheCommandsAndNotTheEvents) {
  server_comes();
  hold(inbox);
  register_commands("app", inbox);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt joining([this] { register_commands("app", other); });
  const Attempt asking([this] { pending(); });
  const Attempt free([this] {
    register_events("app", other);
    unregister_events("app", other);
  });
  EXPECT_TRUE(free.ends());
  EXPECT_TRUE(joining.stays_blocked());
  EXPECT_TRUE(asking.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(joining.ends());
  EXPECT_TRUE(asking.ends());
}

TEST_F(PushClientLocks, EventCallbackMayUseTheCommands) {
  server_comes();
  inbox.set_hook([this] {
    register_commands("app", other);
    complete("id");
    pending();
    unregister_commands("app", other);
  });
  register_events("app", inbox);
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(1));
  EXPECT_TRUE(waiting::until([this] { return bus.sent("push_unregister").size() == 1; }));
  client.reset();
}

TEST_F(PushClientLocks, CommandCallbackMayUseTheEvents) {
  server_comes();
  inbox.set_hook([this] {
    register_events("app", other);
    unregister_events("app", other);
  });
  register_commands("app", inbox);
  bus.deliver(events, command("id", "app"));
  EXPECT_TRUE(waiting::until([this] { return !bus.sent("push_unregister").empty(); }));
  client.reset();
}

TEST_F(PushClientLocks, OfflineCommandsAreHandedOutWithTheCommandsHeld) {
  server_comes();
  register_commands("app", other);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(has_pending(1));
  hold(inbox);
  const cloud::push::command_callback callback = &PushInbox::on_command;
  const Attempt sending([&] { client->send_offline_commands({}, callback, &inbox); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt leaving([this] { unregister_commands("app", other); });
  const Attempt events_are_free([this] { unregister_events("app", other); });
  EXPECT_TRUE(events_are_free.ends());
  EXPECT_TRUE(leaving.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(sending.ends());
  EXPECT_TRUE(leaving.ends());
}

TEST_F(PushClientLocks, EventsWaitWhileTheirApplicationsAreRegisteredAndCommandsDoNot) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", other);
  refresh_expecting_to_wait(0, inbox, other);
}

TEST_F(PushClientLocks, CommandsWaitWhileTheirApplicationsAreRegisteredAndEventsDoNot) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", other);
  refresh_expecting_to_wait(1, other, inbox);
}

TEST_F(PushClientLocks, RefreshAsksForTheProductsNameBeforeItWaitsForTheTable) {
  server_comes();
  hold(inbox);
  register_events("app", inbox);
  bus.deliver(events, event("news", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  bus.forget_sent();
  const std::size_t steps = product.probe->steps().size();
  const Attempt refresh([this] { client->refresh_listeners(); });
  EXPECT_TRUE(waiting::until([&] { return product.probe->steps().size() > steps; }));
  EXPECT_TRUE(refresh.stays_blocked());
  EXPECT_TRUE(bus.sent().empty());
  hold_up.let_go();
  EXPECT_TRUE(refresh.ends());
}

TEST_F(PushClientLocks, RegistrationHoldsItsTableUntilTheServerHasAnswered) {
  server_comes();
  hold_registrations(0);
  const Attempt joining([this] { register_events("app", inbox); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt second([this] { register_events("", other); });
  const Attempt free([this] { register_commands("app", other); });
  EXPECT_TRUE(free.ends());
  EXPECT_TRUE(second.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(joining.ends());
  EXPECT_TRUE(second.ends());
  EXPECT_EQ(registrations(), (Lines{"0 Desktop", "1 Desktop", "1 app", "0 app"}));
}

TEST_F(PushClientLocks, UnregistrationHoldsItsTableUntilItIsSent) {
  register_events("app", inbox);
  bus.set_hook([hold_up = hold_up](const std::string& call) {
    if (call != "Send connect.actions") return;
    hold_up.stop_here();
  });
  const Attempt leaving([this] { unregister_events("app", inbox); });
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt joining([this] { register_events("app", other); });
  const Attempt free([this] { register_commands("app", other); });
  EXPECT_TRUE(free.ends());
  EXPECT_TRUE(joining.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(leaving.ends());
  EXPECT_TRUE(joining.ends());
  bus.set_hook(nullptr);
}

TEST_F(PushClientLocks, ServersGoingWaitsForAnEventCallback) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", other);
  hold(inbox);
  bus.deliver(events, event("news", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt going([this] { server_goes(); });
  EXPECT_TRUE(waiting::until([this] { return times_said(log, 16, L"Push server is down") == 1; }));
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
  hold_up.let_go();
  EXPECT_TRUE(going.ends());
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
}

TEST_F(PushClientLocks, ServersGoingEndsTheEventsWhileACommandCallbackRuns) {
  server_comes();
  register_events("app", other);
  register_commands("app", inbox);
  hold(inbox);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  const Attempt going([this] { server_goes(); });
  EXPECT_TRUE(waiting::until([this] { return bus.subscriptions_alive(events) == 2; }));
  EXPECT_TRUE(going.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(going.ends());
  EXPECT_EQ(bus.subscriptions_alive(events), 1U);
}

TEST_F(PushClientLocks, ManyThreadsLeaveNothingBehind) {
  server_comes();
  constexpr int rounds = 40;
  const auto work = [this](const char* app_id, PushInbox& mine) {
    for (int i = 0; i != rounds; ++i) {
      register_events(app_id, mine);
      register_commands(app_id, mine);
      unregister_events(app_id, mine);
      unregister_commands(app_id, mine);
    }
  };
  {
    const Attempt one([&] { work("one", inbox); });
    const Attempt two([&] { work("two", other); });
    const Attempt bus_side([&] {
      for (int i = 0; i != rounds; ++i) {
        bus.deliver(events, event("news", "one"));
        bus.deliver(events, command(std::to_string(i).c_str(), "two"));
        if (i % 8 == 0) {
          server_goes();
          server_comes();
        }
      }
    });
    EXPECT_TRUE(one.ends());
    EXPECT_TRUE(two.ends());
    EXPECT_TRUE(bus_side.ends());
  }
  EXPECT_EQ(bus.sent("push_unregister").size(), 4U * rounds);
  server_goes();
  bus.forget_sent();
  server_comes();
  EXPECT_TRUE(bus.sent().empty());
}

TEST(PushClientTables, HashIsCountedInSignedBytesTo64Bits) {
  const cloud::push::app_id_hash hash;
  EXPECT_EQ(hash(""), 5381U);
  EXPECT_EQ(hash("a"), 5381U * 33 + 97);
  EXPECT_EQ(hash("ab"), (5381U * 33 + 97) * 33 + 98);
  EXPECT_EQ(hash("\xff"), 5381U * 33 - 1);
  EXPECT_EQ(hash("\x80"), 5381U * 33 - 128);
  std::uint64_t expected = 5381;
  for (const char byte : std::string_view("a name that is long enough to pass 64 bits")) {
    expected = expected * 33 + static_cast<std::uint64_t>(byte);
  }
  EXPECT_EQ(hash("a name that is long enough to pass 64 bits"), expected);
}

TEST(PushClientTables, NamesEndAtTheirTerminator) {
  using namespace std::string_view_literals;
  const zv::StringT<char> cut("app"sv);
  const zv::StringT<char> whole("app\0more"sv);
  EXPECT_EQ(cloud::push::app_id_hash{}(cut), cloud::push::app_id_hash{}(whole));
  EXPECT_TRUE(cloud::push::same_app_id{}(cut, whole));
  EXPECT_FALSE(cloud::push::same_app_id{}(cut, "App"));
  EXPECT_FALSE(cloud::push::same_app_id{}(cut, "ap"));
}

TEST(PushClientTables, BeginWithEightBucketsAndAFullLoadOfOne) {
  const cloud::push::app_id_table<cloud::push::event_callback> table;
  EXPECT_GE(table.bucket_count(), 8U);
  EXPECT_EQ(table.max_load_factor(), 1.0F);
}

TEST(PushClientInterface, IsThePushServicesOwn) {
  using Client = IPushCommClient;
  EXPECT_EQ(slots::slot(&Client::register_push_events_callback), 0U);
  EXPECT_EQ(slots::slot(&Client::register_push_commands_callback), 1U);
  EXPECT_EQ(slots::slot(&Client::unregister_push_events_callback), 2U);
  EXPECT_EQ(slots::slot(&Client::unregister_push_commands_callback), 3U);
  EXPECT_EQ(slots::slot(&Client::set_command_done), 4U);
  EXPECT_EQ(slots::slot(&Client::send_offline_commands), 5U);
  EXPECT_EQ(sizeof(IPushCommClient), sizeof(void*));
  EXPECT_EQ(slots::slot(&ibus_observer::on_new_listener), 1U);
  EXPECT_EQ(slots::slot(&ibus_observer::on_listener_removed), 2U);
  EXPECT_EQ(IID_IPushServiceClient,
            (IID{0xcd08c9a1, 0x4017, 0xa521, {0xe3, 0x40, 0x81, 0x81, 0x36, 0xf5, 0x20, 0x5a}}));
}

}  // namespace
