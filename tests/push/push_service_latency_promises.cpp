// The latency probe, which comes along with the first application of all.

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "support/EventsRecorder.h"
#include "support/PushServiceTest.h"

namespace {

using support::event_push;
using support::push_source;
using support::PushReceiver;

class PushLatency : public support::PushServiceTest {
 protected:
  PushLatency() {
    service.reset();
    events.emplace(product.folder.path());
    renew();
  }
  void TearDown() override {
    PushServiceTest::TearDown();
    events.reset();
  }
  void probe(const char* app_id, const char* latency_id = "L-1") {
    push(event_push(app_id, "push_delivery_latency", {{"latency_id", latency_id}}));
  }
  std::size_t posted() const { return events->posted().size(); }

  std::optional<support::EventsRecorder> events;
  PushReceiver receiver;
};

TEST_F(PushLatency, IsPostedForTheFirstEventsApplication) {
  want_events("app", receiver);
  log.clear();
  probe("app", "L-\xc3\xa9");
  ASSERT_EQ(posted(), 1u);
  const support::PostedEvent event = events->posted()[0];
  EXPECT_EQ(event.name, L"push_event_emitted");
  EXPECT_EQ(event.version, L"2.0");
  EXPECT_EQ(event.type, 31u);
  EXPECT_TRUE(event.flag);
  EXPECT_EQ(event.strings,
            (std::map<std::wstring, std::wstring>{{L"push_event_name", L"push_delivery_latency"},
                                                  {L"latency_id", L"L-\u00e9"}}));
  EXPECT_TRUE(event.integers.empty());
  EXPECT_TRUE(event.string_lists.empty());
  EXPECT_TRUE(event.children.empty());
  EXPECT_TRUE(event.child_lists.empty());
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(PushLatency, IsPostedForTheFirstCommandsApplication) {
  want_commands("app", receiver);
  probe("app");
  EXPECT_EQ(posted(), 1u);
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(PushLatency, IsSeenByTheCallbacksOfTheApplicationAfterItWasPosted) {
  std::size_t posted_before = 99;
  receiver.when_event = [&](const support::SeenEvent&) { posted_before = posted(); };
  want_events("app", receiver);
  probe("app");
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
  EXPECT_EQ(posted_before, 1u) << "the probe is the first in the list";
}

TEST_F(PushLatency, IsNotPostedForLaterApplications) {
  want_events("app", receiver);
  want_events("app2", receiver);
  want_commands("app3", receiver);
  probe("app2");
  probe("app3");
  EXPECT_EQ(posted(), 0u);
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
}

TEST_F(PushLatency, IsPostedOncePerPush) {
  want_events("app", receiver);
  want_commands("app", receiver);
  want_events("app", receiver);
  probe("app");
  EXPECT_EQ(posted(), 1u);
  probe("app");
  EXPECT_EQ(posted(), 2u);
}

TEST_F(PushLatency, IsPostedForTheDefaultApplication) {
  want_events("", receiver);
  probe("Desktop");
  EXPECT_EQ(posted(), 1u);
}

TEST_F(PushLatency, IsPostedOnlyUnderItsExactName) {
  want_events("app", receiver);
  for (const char* name : {"push_delivery_latency2", "push_delivery_latenc",
                           "Push_delivery_latency", "", " push_delivery_latency"}) {
    push(event_push("app", name, {{"latency_id", "L"}}));
  }
  push(event_push("app", "news"));
  EXPECT_EQ(posted(), 0u);
  EXPECT_EQ(times_said(4, L"no latency_id"), 0u);
  EXPECT_EQ(receiver.events().size(), 6u);
}

TEST_F(PushLatency, WithoutItsIdentifierIsLoggedAndNotPosted) {
  want_events("app", receiver);
  push(event_push("app", "push_delivery_latency"));
  EXPECT_EQ(times_said(4, L"no latency_id"), 1u);
  EXPECT_EQ(posted(), 0u);
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
}

TEST_F(PushLatency, WithAnIdentifierThatIsNoTextIsLoggedAndNotPosted) {
  want_events("app", receiver);
  for (const char* value : {"5", "null", "{}", "[\"L\"]", "true"}) {
    push(
        event_push("app", "push_delivery_latency", {{"latency_id", nlohmann::json::parse(value)}}));
  }
  EXPECT_EQ(times_said(4, L"no latency_id"), 5u);
  EXPECT_EQ(posted(), 0u);
}

TEST_F(PushLatency, WithAnEmptyIdentifierIsPostedAsItStands) {
  want_events("app", receiver);
  probe("app", "");
  ASSERT_EQ(posted(), 1u);
  EXPECT_EQ(events->posted()[0].strings.at(L"latency_id"), L"");
  EXPECT_EQ(times_said(4, L"no latency_id"), 0u);
}

TEST_F(PushLatency, FailedPostIsSilent) {
  want_events("app", receiver);
  events->fail_posts(31);
  log.clear();
  probe("app");
  EXPECT_EQ(posted(), 1u);
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_EQ(receiver.events().size(), 1u);
}

TEST_F(PushLatency, WithoutTheEventsLibraryIsSeenByTheCallbacksAllTheSame) {
  service.reset();
  events->fail(L"create", 31);
  renew();
  want_events("app", receiver);
  probe("app");
  EXPECT_EQ(posted(), 0u);
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
}

TEST_F(PushLatency, StaysWhenTheOtherCallbacksOfTheApplicationLeave) {
  want_events("app", receiver);
  leave_events("app", receiver);
  probe("app");
  EXPECT_EQ(posted(), 1u);
  EXPECT_TRUE(receiver.events().empty());
}

TEST_F(PushLatency, IsNotSpentOnARegistrationWithoutAKnownUser) {
  service->refresh_push_listeners({});
  EXPECT_EQ(want_events("early", receiver), 13u);
  EXPECT_EQ(want_commands("early", receiver), 13u);
  service->refresh_push_listeners(push_source("", "device", "token"));
  EXPECT_EQ(want_events("app", receiver), 0u);
  probe("early");
  EXPECT_EQ(posted(), 0u);
  probe("app");
  EXPECT_EQ(posted(), 1u);
}

TEST_F(PushLatency, WaitsForTheNetworkAndIsToldWithItsApplication) {
  want_commands("app", receiver);
  EXPECT_TRUE(told().empty());
  network_up();
  EXPECT_EQ(told_apps(), Names{"app"}) << "an events application by its probe";
  EXPECT_EQ(times_said(16, L"app_id: app"), 1u);
}

TEST_F(PushLatency, RefusedByTheCloudNeverComesBack) {
  network_up();
  client.set_register_result(77);
  EXPECT_EQ(want_events("app", receiver), 77u);
  EXPECT_EQ(told_apps(), (Names{"app", "app"})) << "the probe, then the callback itself";
  client.set_register_result(0);
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(told_apps(), (Names{"app", "app", "app"}));
  probe("app");
  EXPECT_EQ(posted(), 0u);
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
}

TEST_F(PushLatency, RefusedByTheCloudLeavesTheCallbackItsOwnChance) {
  network_up();
  bool first = true;
  client.register_by(
      [&](const support::PushRegistration&) { return std::exchange(first, false) ? 77u : 0u; });
  EXPECT_EQ(want_events("app", receiver), 0u);
  EXPECT_EQ(told_apps(), (Names{"app", "app"}));
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 2u);
  probe("app");
  EXPECT_EQ(receiver.event_names(), Names{"push_delivery_latency"});
  EXPECT_EQ(posted(), 0u);
}

TEST_F(PushLatency, RefusedByTheCloudLeavesCommandsToBeToldThemselves) {
  network_up();
  bool first = true;
  client.register_by(
      [&](const support::PushRegistration&) { return std::exchange(first, false) ? 77u : 0u; });
  EXPECT_EQ(want_commands("app", receiver), 0u);
  EXPECT_EQ(told_apps(), (Names{"app", "app"}));
  EXPECT_EQ(times_said(16, L"Topic registered for app"), 1u) << "the probe's";
}

TEST_F(PushLatency, IsRegisteredOnceByManyThreadsAtOnce) {
  network_up();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back(
        [this, i] { EXPECT_EQ(want_events(("app" + std::to_string(i)).c_str(), receiver), 0u); });
  }
  for (std::thread& each : threads) each.join();
  for (int i = 0; i < 8; ++i) probe(("app" + std::to_string(i)).c_str());
  EXPECT_EQ(posted(), 1u);
  EXPECT_EQ(told_apps().size(), 8u);
}

TEST_F(PushLatency, ClientOfTheEventsLibraryGoesWithTheService) {
  service.reset();
  const auto steps = events->steps();
  ASSERT_FALSE(steps.empty());
  EXPECT_TRUE(steps.back().starts_with(L"destroy "));
}

}  // namespace
