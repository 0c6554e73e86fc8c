#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/HoldUp.h"
#include "support/PushClientTest.h"

namespace {

using support::PushInbox;
using support::SentMessage;

class PushClientThreads : public support::PushClientTest {
 protected:
  PushInbox inbox;
  PushInbox other;
  support::HoldUp hold_up;
};

TEST_F(PushClientThreads, HearTheServersWordWhileTheyAnnounceThemselves) {
  register_events("app", inbox);
  client.reset();
  client.emplace();
  bus.forget_sent();
  bus.set_hook([this](const std::string& call) {
    if (call != "AddListener connect.events push_client") return;
    // A server may answer before the announcement is over.
    const waiting::Attempt answering([this] { server_says_up(); });
    EXPECT_TRUE(answering.ends());
  });
  register_events("app", inbox);
  EXPECT_EQ(registrations(), (std::vector<std::string>{"0 Desktop", "0 app"}))
      << "by the registration, as the table was empty at the server's word";
}

TEST_F(PushClientThreads, WaitAtTheirEndForTheObserversCallUnderWay) {
  register_events("app", inbox);
  bus.answer_by([this](const SentMessage&) {
    hold_up.stop_here();
    return support::BusAnswer{0, support::BusFields{{"err", 0}}};
  });
  const waiting::Attempt announcing([this] { server_comes(); });
  ASSERT_TRUE(hold_up.is_reached());
  const waiting::Attempt ending([this] { client.reset(); });
  EXPECT_TRUE(ending.stays_blocked());
  hold_up.let_go();
  EXPECT_TRUE(announcing.ends());
  EXPECT_TRUE(ending.ends());
  EXPECT_EQ(bus.subscriptions_alive(events), 0U) << "what it subscribed meanwhile is gone as well";
}

TEST_F(PushClientThreads, MakeNoNewSubscriptionForACallbackThatRegistersAtTheirEnd) {
  server_comes();
  register_events("app", inbox);
  inbox.set_hook([this] {
    hold_up.stop_here();
    register_commands("late", other);
  });
  bus.deliver(events, event("1", "app"));
  ASSERT_TRUE(hold_up.is_reached());
  const waiting::Attempt ending([this] { client.reset(); });
  ASSERT_TRUE(waiting::until(
      [this] { return bus.count("RemoveListener connect.events push_client") == 1; }));
  EXPECT_TRUE(ending.stays_blocked());
  EXPECT_EQ(bus.count("Unsubscribe connect.events"), 1U)
      << "the callback must not find the way free for a new subscription after the old one's end";
  hold_up.let_go();
  ASSERT_TRUE(ending.ends());
  EXPECT_EQ(bus.subscriptions_alive(events), 0U);
}

TEST_F(PushClientThreads, DropTheSubscriptionsWhileTheBusDelivers) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  std::atomic<bool> stop = false;
  std::thread delivering([&] {
    while (!stop) {
      bus.deliver(events, event("1", "app"));
      bus.deliver(events, command("id", "app"));
    }
  });
  const waiting::Attempt following([this] {
    for (int i = 0; i < 50; ++i) {
      server_goes();
      server_comes();
    }
  });
  EXPECT_TRUE(following.ends());
  stop = true;
  delivering.join();
  EXPECT_EQ(bus.subscriptions_alive(events), 3U);
}

TEST_F(PushClientThreads, BearEverythingAtOnce) {
  constexpr int rounds = 150;
  const std::vector<std::string> apps = {"a", "b", "c", ""};
  PushInbox inboxes[4];
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < apps.size(); ++i) {
    threads.emplace_back([&, i] {
      const char* const app_id = apps[i].c_str();
      for (int round = 0; round < rounds; ++round) {
        register_events(app_id, inboxes[i]);
        register_commands(app_id, inboxes[i]);
        unregister_events(app_id, inboxes[i]);
        unregister_commands(app_id, inboxes[i]);
      }
      register_events(app_id, inboxes[i]);
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; round < rounds; ++round) {
      server_comes();
      server_says_up();
      server_goes();
    }
    server_comes();
  });
  for (const char* app_id : {"a", "Desktop"}) {
    threads.emplace_back([&, app_id] {
      for (int round = 0; round < rounds; ++round) {
        bus.deliver(events, event("event", app_id));
        bus.deliver(events, command(app_id + std::to_string(round), app_id));
      }
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; round < rounds; ++round) {
      complete(("a" + std::to_string(round)).c_str());
      client->refresh_listeners();
      pending();
    }
  });
  for (std::thread& thread : threads) thread.join();

  // Nobody holds anybody up, and all is as it was left.
  for (PushInbox& each : inboxes) each.clear();
  bus.deliver(events, event("last", "b"));
  EXPECT_TRUE(waiting::until([&] {
    for (const std::string& line : inboxes[1].lines()) {
      if (line == event_line("last", "b")) return true;
    }
    return false;
  }));
  client.reset();
  EXPECT_EQ(bus.messages_alive(), 0U);
}

}  // namespace
