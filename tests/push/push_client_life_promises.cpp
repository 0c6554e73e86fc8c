// A client's beginning and its end.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "push/PushPromises.h"
#include "support/HoldUp.h"
#include "support/PushClientTest.h"

namespace {

using support::HoldUp;
using support::PushInbox;
using waiting::Attempt;
using Lines = std::vector<std::string>;

constexpr const wchar_t* observing = L"cloud::push::push_service_client::initialize_bus_observer";

class PushClientLife : public support::PushClientTest {
 protected:
  void renew() {
    client.reset();
    log.clear();
    bus.forget_calls();
    bus.forget_sent();
    client.emplace();
  }
  void expect_only_the_servers_word_to_count(PushInbox& inbox) {
    register_events("app", inbox);
    server_comes();
    EXPECT_TRUE(bus.sent().empty());
    server_says_up();
    EXPECT_EQ(registrations(), (Lines{"0 Desktop", "0 app"}));
  }
};

TEST_F(PushClientLife, BeginsByObservingTheBusAndNothingElse) {
  EXPECT_EQ(bus.calls(), Lines{"AddObserver"});
  EXPECT_EQ(bus.observers_alive(), 1U);
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientLife, MissingBusIsToldAndLeavesNoObserver) {
  bus.unload();
  renew();
  EXPECT_EQ(log.count(4, observing, L"Could not get msgbus"), 1U);
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_TRUE(bus.calls().empty());
  client.reset();
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushClientLife, BusThatTheLibraryKeepsToItselfIsAMissingOne) {
  bus.refuse_bus();
  renew();
  EXPECT_EQ(log.count(4, observing, L"Could not get msgbus"), 1U);
  EXPECT_TRUE(bus.calls().empty());
  bus.refuse_bus(false);
}

TEST_F(PushClientLife, RefusedObserverIsTold) {
  bus.refuse_observers();
  renew();
  EXPECT_EQ(log.count(4, observing, L"Could not add bus observer"), 1U);
  EXPECT_EQ(log.lines(4).size(), 1U);
  EXPECT_EQ(bus.calls(), Lines{"AddObserver"});
  EXPECT_EQ(bus.observers_alive(), 0U);
}

TEST_F(PushClientLife, WithoutAnObserverTheServersWordAloneCounts) {
  bus.refuse_observers();
  renew();
  PushInbox inbox;
  expect_only_the_servers_word_to_count(inbox);
  bus.deliver(events, event("news", "app"));
  EXPECT_TRUE(inbox.gets(1));
}

TEST_F(PushClientLife, BusThatComesLaterIsUsedForEverythingButObserving) {
  bus.unload();
  renew();
  bus.load(product.folder.path());
  PushInbox inbox;
  expect_only_the_servers_word_to_count(inbox);
  EXPECT_EQ(bus.observers_alive(), 0U);
}

TEST_F(PushClientLife, WithoutAnyBusApplicationsAreServedAllTheSame) {
  bus.unload();
  renew();
  PushInbox inbox;
  register_events("app", inbox);
  register_commands("app", inbox);
  complete("id");
  client->refresh_listeners();
  unregister_events("app", inbox);
  unregister_commands("app", inbox);
  EXPECT_EQ(inbox.size(), 0U);
  client.reset();
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(PushClientLife, UnusedClientOnlyStopsObserving) {
  bus.forget_calls();
  client.reset();
  EXPECT_EQ(bus.calls(), Lines{"RemoveObserver"});
}

TEST_F(PushClientLife, EndsWithTheObserverFirstThenTheManagementThenTheRest) {
  PushInbox inbox;
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
  bus.forget_calls();
  client.reset();
  EXPECT_EQ(deeds(bus.calls()),
            (Lines{"RemoveObserver", "Unsubscribe connect.events",
                   "RemoveListener connect.events push_client", "Unsubscribe connect.events",
                   "Unsubscribe connect.events"}));
}

TEST_F(PushClientLife, EventsEndBeforeTheCommands) {
  PushInbox news;
  PushInbox orders;
  register_events("app", news);
  register_commands("app", orders);
  server_comes();
  int ended = 0;
  // A table may be locked while its subscription ends, so only the other one's can be tried.
  bus.set_hook([&](const std::string& call) {
    if (call != "Unsubscribe connect.events") return;
    switch (++ended) {
      case 2:
        bus.deliver(events, command("id", "app"));
        EXPECT_TRUE(orders.gets(1)) << "the commands go on";
        break;
      case 3:
        bus.deliver(events, event("news", "app"));
        // Should it arrive after all, then now.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        break;
      default:
        break;
    }
  });
  client.reset();
  bus.set_hook(nullptr);
  EXPECT_EQ(ended, 3);
  EXPECT_EQ(orders.lines().front(), command_line("id", "app"));
  EXPECT_EQ(news.size(), 0U);
}

TEST_F(PushClientLife, EndTellsTheServerNothing) {
  PushInbox inbox;
  register_events("app", inbox);
  register_commands("app", inbox);
  server_comes();
  bus.forget_sent();
  client.reset();
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(PushClientLife, EndWaitsForACallbackThatRuns) {
  PushInbox inbox;
  const HoldUp hold;
  inbox.set_hook([=] { hold.stop_here(); });
  register_commands("app", inbox);
  server_comes();
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(hold.is_reached());
  const Attempt end([this] { client.reset(); });
  EXPECT_TRUE(end.stays_blocked());
  hold.let_go();
  EXPECT_TRUE(end.ends());
  EXPECT_EQ(inbox.lines().front(), command_line("id", "app"));
}

/// What becomes of a completion that waits behind a callback of the worker while the client ends.
/// There is no sign of the moment at which the worker is told to drop it, so the callback goes on
/// for a while after the last sign before that.
TEST_F(PushClientLife, CompletionThatStillWaitsIsDropped) {
  bool dropped = false;
  for (const int milliseconds : {20, 200, 2000, 10000}) {
    renew();
    PushInbox inbox;
    register_commands("other", inbox);
    server_comes();
    bus.deliver(events, command("id", "app"));
    ASSERT_TRUE(has_pending(1));

    // Only the worker calls this one.
    PushInbox slow;
    const HoldUp hold;
    slow.set_hook([=] { hold.stop_here(); });
    bus.withdraw(actions, "push_register");  // no handles: the end takes no lock for them
    register_commands("slow", slow);
    ASSERT_TRUE(hold.is_reached());
    complete("id");
    bus.forget_calls();
    const Attempt end([this] { client.reset(); });
    ASSERT_TRUE(waiting::until(
        [&] { return bus.count("RemoveListener connect.events push_client") == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    EXPECT_FALSE(end.is_done()) << "the worker is busy";
    hold.let_go();
    ASSERT_TRUE(end.ends());
    dropped = bus.sent("push_command_done").empty();
    if (dropped) break;
  }
  EXPECT_TRUE(dropped);
}

}  // namespace
