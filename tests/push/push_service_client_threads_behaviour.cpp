#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/PushClientTest.h"

namespace {

using support::PushInbox;
using support::SentMessage;

class PushClientThreads : public support::PushClientTest {
 protected:
  /// Holds up the first call of `inbox` until `go` opens.
  static void hold_up(PushInbox& inbox, const waiting::Gate& inside, const waiting::Gate& go) {
    inbox.set_hook([inside, go] {
      inside.open();
      go.wait();
    });
  }

  /// False at once if it comes to its end. True can't be wrong where something holds it up.
  static bool stays_blocked(const waiting::Attempt& attempt) {
    for (int i = 0; i < 100; ++i) {
      if (attempt.is_done()) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  void use_commands() {
    register_commands("app", other);
    client->send_offline_commands({}, &PushInbox::on_command, &other);
    complete("id");
    unregister_commands("app", other);
  }

  void use_events() {
    register_events("app", other);
    unregister_events("app", other);
  }

  PushInbox inbox;
  PushInbox other;
  waiting::Gate inside;
  waiting::Gate go;
};

TEST_F(PushClientThreads, NeverHoldUpTheBusForAnApplication) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", inbox);
  hold_up(inbox, inside, go);
  const waiting::Attempt delivering([this] {
    bus.deliver(events, event("1", "app"));
    inside.wait();
    for (int i = 0; i < 10; ++i) bus.deliver(events, event("2", "app"));
    for (int i = 0; i < 10; ++i) bus.deliver(events, command(std::to_string(i), "app"));
  });
  EXPECT_TRUE(delivering.ends());
  go.open();
  EXPECT_TRUE(inbox.gets(21));
}

TEST_F(PushClientThreads, LetCommandsGoOnWhileAnEventIsHandledUnderItsLock) {
  server_comes();
  register_events("app", inbox);
  hold_up(inbox, inside, go);
  bus.deliver(events, event("1", "app"));
  ASSERT_TRUE(inside.wait());
  const waiting::Attempt commands([this] { use_commands(); });
  EXPECT_TRUE(commands.ends());
  const waiting::Attempt same_kind([this] { use_events(); });
  EXPECT_TRUE(stays_blocked(same_kind));
  go.open();
  EXPECT_TRUE(same_kind.ends());
}

TEST_F(PushClientThreads, LetEventsGoOnWhileACommandIsHandledUnderItsLock) {
  server_comes();
  register_commands("app", inbox);
  hold_up(inbox, inside, go);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(inside.wait());
  const waiting::Attempt events_too([this] {
    use_events();
    register_events("app", other);
    bus.deliver(events, event("1", "app"));
    EXPECT_TRUE(other.gets(1));
  });
  EXPECT_TRUE(events_too.ends());
  const waiting::Attempt same_kind([this] { use_commands(); });
  EXPECT_TRUE(stays_blocked(same_kind));
  const waiting::Attempt replay([this] { pending(); });
  EXPECT_TRUE(stays_blocked(replay));
  go.open();
  EXPECT_TRUE(same_kind.ends());
  EXPECT_TRUE(replay.ends());
}

TEST_F(PushClientThreads, HoldUpDeliveriesOfEventsWhileEventsAreRegisteredAnew) {
  server_comes();
  register_events("app", inbox);
  register_commands("app", other);
  bus.answer_by([this](const SentMessage& message) {
    if (message.number("topic") == 0) {
      inside.open();
      go.wait();
    }
    return support::BusAnswer{0, support::BusFields{{"err", 0}}};
  });
  const waiting::Attempt refreshing([this] { client->refresh_listeners(); });
  ASSERT_TRUE(inside.wait());
  bus.deliver(events, event("1", "app"));
  const waiting::Attempt arriving([this] { inbox.gets(1); });
  const waiting::Attempt commands([this] {
    bus.deliver(events, command("id", "app"));
    EXPECT_TRUE(other.gets(1));
    use_commands();
  });
  EXPECT_TRUE(commands.ends());
  EXPECT_TRUE(stays_blocked(arriving));
  go.open();
  EXPECT_TRUE(refreshing.ends());
  EXPECT_TRUE(arriving.ends());
}

TEST_F(PushClientThreads, HoldUpDeliveriesOfCommandsWhileCommandsAreRegisteredAnew) {
  server_comes();
  register_events("app", other);
  register_commands("app", inbox);
  bus.answer_by([this](const SentMessage& message) {
    if (message.number("topic") == 1) {
      inside.open();
      go.wait();
    }
    return support::BusAnswer{0, support::BusFields{{"err", 0}}};
  });
  const waiting::Attempt refreshing([this] { client->refresh_listeners(); });
  ASSERT_TRUE(inside.wait());
  bus.deliver(events, command("id", "app"));
  const waiting::Attempt arriving([this] { inbox.gets(1); });
  const waiting::Attempt events_too([this] {
    bus.deliver(events, event("1", "app"));
    EXPECT_TRUE(other.gets(1));
    use_events();
  });
  EXPECT_TRUE(events_too.ends());
  EXPECT_TRUE(stays_blocked(arriving));
  go.open();
  EXPECT_TRUE(refreshing.ends());
  EXPECT_TRUE(arriving.ends());
}

TEST_F(PushClientThreads, TellTheServerOfACompletionUnderTheLockOfTheCommands) {
  server_comes();
  register_commands("app", other);
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(has_pending(1));
  bus.set_hook([this](const std::string& call) {
    if (call != "Send connect.actions") return;
    inside.open();
    go.wait();
  });
  complete("id");
  ASSERT_TRUE(inside.wait());
  std::size_t seen = 99;
  const waiting::Attempt replay([this, &seen] { seen = pending().size(); });
  EXPECT_TRUE(stays_blocked(replay));
  const waiting::Attempt events_too([this] { register_events("app", inbox); });
  EXPECT_TRUE(events_too.ends());
  go.open();
  ASSERT_TRUE(replay.ends());
  EXPECT_EQ(seen, 0U);
}

TEST_F(PushClientThreads, LetACallbackOfEventsUseCommands) {
  server_comes();
  register_events("app", inbox);
  inbox.set_hook([this] { use_commands(); });
  bus.deliver(events, event("1", "app"));
  ASSERT_TRUE(inbox.gets(1));
  const waiting::Attempt ending([this] { client.reset(); });
  ASSERT_TRUE(ending.ends());
}

TEST_F(PushClientThreads, LetACallbackCompleteItsCommandOnTheSpot) {
  server_comes();
  register_commands("app", inbox);
  inbox.set_hook([this] { complete("id"); });
  bus.deliver(events, command("id", "app"));
  ASSERT_TRUE(waiting::until([this] { return bus.sent("push_command_done").size() == 1; }));
  EXPECT_TRUE(has_pending(0));
}

TEST_F(PushClientThreads, LetACallbackOfCommandsUseEvents) {
  server_comes();
  register_commands("app", inbox);
  inbox.set_hook([this] { use_events(); });
  bus.deliver(events, command("id", "app"));
  EXPECT_TRUE(has_pending(1));
}

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
    inside.open();
    go.wait();
    return support::BusAnswer{0, support::BusFields{{"err", 0}}};
  });
  const waiting::Attempt announcing([this] { server_comes(); });
  ASSERT_TRUE(inside.wait());
  const waiting::Attempt ending([this] { client.reset(); });
  EXPECT_TRUE(stays_blocked(ending));
  go.open();
  EXPECT_TRUE(announcing.ends());
  EXPECT_TRUE(ending.ends());
  EXPECT_EQ(bus.subscriptions_alive(events), 0U) << "what it subscribed meanwhile is gone as well";
}

TEST_F(PushClientThreads, WaitAtTheirEndForTheCallbacksUnderWay) {
  server_comes();
  register_events("app", inbox);
  hold_up(inbox, inside, go);
  bus.deliver(events, event("1", "app"));
  ASSERT_TRUE(inside.wait());
  const waiting::Attempt ending([this] { client.reset(); });
  EXPECT_TRUE(stays_blocked(ending));
  go.open();
  EXPECT_TRUE(ending.ends());
}

TEST_F(PushClientThreads, MakeNoNewSubscriptionForACallbackThatRegistersAtTheirEnd) {
  server_comes();
  register_events("app", inbox);
  inbox.set_hook([this] {
    inside.open();
    go.wait();
    register_commands("late", other);
  });
  bus.deliver(events, event("1", "app"));
  ASSERT_TRUE(inside.wait());
  const waiting::Attempt ending([this] { client.reset(); });
  ASSERT_TRUE(waiting::until(
      [this] { return bus.count("RemoveListener connect.events push_client") == 1; }));
  EXPECT_TRUE(stays_blocked(ending));
  EXPECT_EQ(bus.count("Unsubscribe connect.events"), 1U)
      << "the callback must not find the way free for a new subscription after the old one's end";
  go.open();
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
