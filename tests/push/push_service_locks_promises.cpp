// Threads that meet in the push service, and its end.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/HeldListings.h"
#include "support/HoldUp.h"
#include "support/PushServiceTest.h"
#include "support/loadable.h"

namespace {

using support::command_push;
using support::event_push;
using support::HeldListings;
using support::HoldUp;
using support::push_source;
using support::PushReceiver;
using support::PushRegistration;
using support::ResolvedRequest;
using support::SeenCommand;
using support::SeenEvent;
using waiting::Attempt;
using waiting::Gate;

class PushLocks : public support::PushServiceTest {
 protected:
  PushReceiver receiver;
  PushReceiver other;
};

TEST_F(PushLocks, EventCallbackHoldsTheEventsUpAndNotTheCommands) {
  take_probe_away();
  want_events("app", receiver);
  want_commands("app", other);
  const HoldUp hold;
  receiver.when_event = [=](const SeenEvent&) { hold.stop_here(); };
  const Attempt event([this] { push(event_push("app", "news")); });
  ASSERT_TRUE(hold.is_reached());
  push(command_push("app", "do", "1"));
  EXPECT_EQ(other.command_names(), Names{"do 1"});
  done("app", "1");
  EXPECT_TRUE(kept("app").empty());
  const Attempt leave([this] { leave_events("app", receiver); });
  EXPECT_FALSE(leave.is_done()) << "the list is being walked";
  hold.let_go();
  EXPECT_TRUE(event.ends());
  EXPECT_TRUE(leave.ends());
}

TEST_F(PushLocks, CommandCallbackHoldsTheCommandsUpAndNeitherTheEventsNorWhatIsKept) {
  take_probe_away();
  want_events("app", receiver);
  want_commands("app", other);
  const HoldUp hold;
  other.when_command = [=](const SeenCommand&) { hold.stop_here(); };
  const Attempt first([this] { push(command_push("app", "do", "1")); });
  ASSERT_TRUE(hold.is_reached());
  push(event_push("app", "news"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(want_events("app2", receiver), 0u);
  const Attempt second([this] { push(command_push("app", "do", "2")); });
  EXPECT_TRUE(waiting::until([&] {
    return kept("app") == Names{"do 1", "do 2"};
  })) << "kept before it is delivered, under a lock of its own";
  EXPECT_EQ(other.command_names(), Names{"do 1"});
  done("app", "1");
  hold.let_go();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(second.ends());
  EXPECT_EQ(other.command_names(), (Names{"do 1", "do 2"}));
}

TEST_F(PushLocks, PushThatWaitsToBeKeptHoldsNoOtherLock) {
  take_probe_away();
  push(command_push("app", "do", "1"));
  const HoldUp hold;
  other.when_command = [=](const SeenCommand&) { hold.stop_here(); };
  const Attempt reader([this] { replay("app", other); });
  ASSERT_TRUE(hold.is_reached());
  const Attempt second([this] { push(command_push("app2", "do", "2")); });
  ASSERT_TRUE(waiting::until([&] { return said(16, L"destination app: app2"); }));
  EXPECT_EQ(want_commands("app2", receiver), 0u);
  EXPECT_EQ(want_events("app2", receiver), 0u);
  hold.let_go();
  EXPECT_TRUE(reader.ends());
  EXPECT_TRUE(second.ends());
  EXPECT_EQ(receiver.command_names(), Names{"do 2"});
}

TEST_F(PushLocks, RegistrationOfCommandsWaitsForEventsAndTheyDoNotWaitForIt) {
  take_probe_away();
  want_events("app", receiver);
  const HoldUp hold;
  receiver.when_event = [=](const SeenEvent&) { hold.stop_here(); };
  const Attempt event([this] { push(event_push("app", "news")); });
  ASSERT_TRUE(hold.is_reached());
  const Attempt registration([this] { want_commands("app", other); });
  ASSERT_TRUE(
      waiting::until([&] { return said(4, L"Postpone list command until network is ready"); }));
  EXPECT_FALSE(registration.is_done());
  hold.let_go();
  EXPECT_TRUE(event.ends());
  EXPECT_TRUE(registration.ends());
  EXPECT_TRUE(said(16, L"Topic registered for app"));
}

TEST_F(PushLocks, RefreshTellsTheCloudOfEventsUnderTheirLock) {
  take_probe_away();
  const HoldUp hold;
  client.register_by([=](const PushRegistration&) {
    hold.stop_here();
    return 0u;
  });
  const Attempt refresh([this] { network_up(); });
  ASSERT_TRUE(hold.is_reached());
  const Attempt registration([this] { want_events("app", receiver); });
  push(command_push("app", "do", "1"));
  EXPECT_EQ(kept("app"), Names{"do 1"});
  EXPECT_FALSE(said(16, L"Topic registered for app"));
  hold.let_go();
  EXPECT_TRUE(refresh.ends());
  EXPECT_TRUE(registration.ends());
}

TEST_F(PushLocks, RefreshOfCommandsLooksIntoTheEventsWithoutTheirLock) {
  lose_probe();
  want_commands("a", receiver);
  want_commands("b", receiver);
  forget();
  const HoldUp in_commands;
  const HoldUp in_events;
  const Gate second_told;
  client.register_by([=](const PushRegistration& registration) {
    if (registration.source_user_token == "commands" && registration.source_app_id == "a") {
      in_commands.stop_here();
    }
    if (registration.source_user_token == "commands" && registration.source_app_id == "b") {
      second_told.open();
    }
    if (registration.source_user_token == "events") {
      in_events.stop_here();
    }
    return 0u;
  });
  const Attempt first(
      [this] { service->refresh_push_listeners(push_source("", "d", "commands")); });
  ASSERT_TRUE(in_commands.is_reached()) << "the commands lock is held";
  EXPECT_EQ(want_events("e", other), 0u);
  const Attempt second([this] { service->refresh_push_listeners(push_source("", "d", "events")); });
  ASSERT_TRUE(in_events.is_reached()) << "the events lock is held";
  in_commands.let_go();
  EXPECT_TRUE(second_told.wait()) << "it went past the events";
  in_events.let_go();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(second.ends());
}

TEST_F(PushLocks, RefusedApplicationLeavesItsTableWithoutWaitingForTheLock) {
  take_probe_away();
  network_up();
  want_events("app", receiver);
  const HoldUp telling;
  client.register_by([=](const PushRegistration&) {
    telling.stop_here();
    return 77u;
  });
  std::atomic<std::uint32_t> result = 0;
  const Attempt registration([this, &result] { result = want_events("app2", other); });
  ASSERT_TRUE(telling.is_reached());
  const HoldUp hold;
  receiver.when_event = [=](const SeenEvent&) { hold.stop_here(); };
  const Attempt event([this] { push(event_push("app", "news")); });
  ASSERT_TRUE(hold.is_reached());
  telling.let_go();
  EXPECT_TRUE(registration.ends()) << "while the lock of the events is held";
  EXPECT_EQ(result, 77u);
  hold.let_go();
  EXPECT_TRUE(event.ends());
}

TEST_F(PushLocks, RegistrationTellsTheCloudUnderNoLock) {
  take_probe_away();
  network_up();
  const HeldListings held(requests);
  const HoldUp hold;
  client.register_by([=](const PushRegistration& registration) {
    if (registration.source_app_id == "slow") hold.stop_here();
    return 0u;
  });
  const Attempt registration([this] { want_commands("slow", receiver); });
  ASSERT_TRUE(hold.is_reached());
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(want_events("app", receiver), 0u);
  push(event_push("app", "news"));
  push(command_push("slow", "do", "1"));
  EXPECT_EQ(receiver.event_names(), Names{"news"});
  EXPECT_EQ(receiver.command_names(), Names{"do 1"});
  hold.let_go();
  EXPECT_TRUE(registration.ends());
}

TEST_F(PushLocks, CompletionWaitsForTheCloudUnderNoLock) {
  take_probe_away();
  want_commands("app", receiver);
  push(command_push("app", "do", "1"));
  const HoldUp hold;
  requests.while_resolving([=](const ResolvedRequest&) { hold.stop_here(); });
  const Attempt completion([this] { done("app", "1"); });
  ASSERT_TRUE(hold.is_reached());
  push(command_push("app", "do", "2"));
  EXPECT_EQ(want_commands("app", other), 0u);
  EXPECT_EQ(other.command_names(), Names{"do 2"});
  EXPECT_EQ(want_events("app", other), 0u);
  service->refresh_push_listeners(push_source("", "d", "t"));
  EXPECT_FALSE(completion.is_done());
  hold.let_go();
  EXPECT_TRUE(completion.ends());
}

TEST_F(PushLocks, EverythingAtOnceComesToAnEnd) {
  network_up();
  constexpr int rounds = 100;
  receiver.when_command = [](const SeenCommand&) {};
  std::vector<std::unique_ptr<Attempt>> attempts;
  const auto repeat = [&](auto action) {
    attempts.push_back(std::make_unique<Attempt>([action] {
      for (int i = 0; i < rounds; ++i) action(i);
    }));
  };
  requests.answer(R"([{"command": "listed", "command_id": "L"}])");
  repeat([this](int i) { push(command_push("app", "do", std::to_string(i))); });
  repeat([this](int i) { push(event_push(i % 2 == 0 ? "app" : "app2", "news")); });
  repeat([this](int) {
    want_commands("app", receiver);
    leave_commands("app", receiver);
  });
  repeat([this](int) {
    want_commands("app", other);
    leave_commands("app", other);
  });
  repeat([this](int) {
    want_events("app2", receiver);
    leave_events("app2", receiver);
  });
  repeat([this](int i) { done("app", std::to_string(i).c_str()); });
  repeat([this](int i) { replay(i % 2 == 0 ? "app" : "app2", other); });
  for (const auto& each : attempts) ASSERT_TRUE(each->ends());
}

TEST_F(PushLocks, EndWaitsForAListingThatRuns) {
  take_probe_away();
  network_up();
  HeldListings held(requests);
  requests.answer_next(R"([{"command": "do", "command_id": "1"}])");
  want_commands("app", receiver);
  ASSERT_TRUE(requests.wait_for(1));
  const Attempt end([this] { service.reset(); });
  EXPECT_FALSE(end.is_done());
  held.let_go();
  ASSERT_TRUE(end.ends());
  EXPECT_EQ(receiver.command_names(), Names{"do 1"}) << "the tables are emptied after the worker";
}

TEST_F(PushLocks, EndDropsTheListingsThatWait) {
  // When the end has got to them has no signal, so a round that let go too early is played again.
  const auto dropped = [this](int patience) {
    renew();
    const std::size_t before = requests.count();
    HeldListings held(requests);
    network_up();
    want_commands("a", receiver);
    EXPECT_TRUE(requests.wait_for(before + 1));
    want_commands("b", receiver);
    want_commands("c", receiver);
    const Attempt end([this] { service.reset(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(patience));
    held.let_go();
    EXPECT_TRUE(end.ends());
    return requests.count() == before + 1;
  };
  int patience = 1;
  EXPECT_TRUE(waiting::until([&] { return dropped(patience *= 2); }));
}

TEST_F(PushLocks, NothingRunsAfterTheEnd) {
  network_up();
  for (int i = 0; i < 10; ++i) want_commands(("app" + std::to_string(i)).c_str(), receiver);
  service.reset();
  const std::size_t asked = requests.count();
  const std::size_t lines = log.lines().size();
  std::this_thread::yield();
  EXPECT_EQ(requests.count(), asked);
  EXPECT_EQ(log.lines().size(), lines);
}

TEST_F(PushLocks, EndTellsTheCloudNothing) {
  network_up();
  want_events("app", receiver);
  want_commands("app", receiver);
  const std::size_t calls = client.calls().size();
  service.reset();
  EXPECT_EQ(client.calls().size(), calls);
}

/// Nobody but the service holds the log.
TEST(PushServiceLog, IsOnForAsLongAsTheServiceLives) {
  support::ProductInfoFolder product;
  support::LogRecorder recorder(support::loadable(L"log"));
  support::FakeCloudClient client;
  support::ScriptedConnectRequests requests;
  support::ScriptedAuthProvider auth;
  auth.result = 232;
  const cloud::push::event_callback callback = &PushReceiver::on_event;
  {
    cloud::push::push_service service(client.table(), client.shared_instance(), &requests, &auth);
    recorder.clear();
    EXPECT_EQ(service.register_push_events_callback(callback, nullptr, push_source("app"), {}),
              13u);
    ASSERT_EQ(recorder.lines().size(), 1u);
    EXPECT_EQ(recorder.lines()[0].text, L"No auth data");
    EXPECT_EQ(recorder.lines()[0].level, 4u);
  }
  const auto names = recorder.call_names();
  EXPECT_FALSE(names.empty());
  EXPECT_EQ(names.back(), "LogRemoveModule") << "the binding went with the service";
}

}  // namespace
