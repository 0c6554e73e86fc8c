#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "frame/get_msgbus.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "frame/msgbus/IBusMessage.h"
#include "frame/msgbus/IBusSubscription.h"
#include "frame/msgbus/ibus_observer.h"
#include "support/FakeAgent.h"
#include "support/FakeBus.h"
#include "support/FakeCloudClient.h"
#include "support/FakeHost.h"
#include "support/ModuleFolder.h"

// The stand-ins that the tests of bus, push and connect rely on.

namespace {

using support::BusFields;
using Lines = std::vector<std::string>;

constexpr const char* events = "connect.events";
constexpr const char* actions = "connect.actions";

IBusMessage* make_message(IBus* bus, const BusFields& fields) {
  IBusMessage* const message = bus->Core()->CreateMessage(0);
  support::write_fields(*message, fields);
  return message;
}

/// Counts what comes in, and answers with `err` 7 if it is told to.
struct Seat {
  Seat(IBus* the_bus, const char* name, bool does_answer = false)
      : bus(the_bus), channel(bus->Core()->GetChannel(name)), answers(does_answer) {
    subscription = channel->Subscribe();
    subscription->SetCallback(&Seat::arrive, this, 0);
  }
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  ~Seat() { channel->Unsubscribe(subscription); }

  static void arrive(IBusMessage* message, void* context) {
    auto* const self = static_cast<Seat*>(context);
    ++self->count;
    if (!self->answers) return;
    IBusMessage* const reply = make_message(self->bus, {{"module", "a"}, {"module", "b"}});
    reply->SetInt("err", 7);
    message->SetReply(reply);
    reply->SetInt("late", 1);
    reply->Release();
  }

  IBus* const bus;
  IBusChannel* const channel;
  IBusSubscription* subscription;
  const bool answers;
  std::atomic<int> count = 0;
};

struct Watcher final : ibus_observer {
  void* QueryInterface(const IID&) override { return nullptr; }
  void on_new_listener(void*, const char* channel, const char* listener) override {
    lines.push_back(std::string("+ ") + channel + " " + listener);
  }
  void on_listener_removed(void*, const char* channel, const char* listener) override {
    lines.push_back(std::string("- ") + channel + " " + listener);
  }
  Lines lines;
};

TEST(FakeBus, IsFoundByItsNameAndInTheModulesFolder) {
  const support::ModuleFolder folder;
  support::FakeBus bus;
  EXPECT_EQ(find_msgbus(), nullptr);
  EXPECT_EQ(get_msgbus(), nullptr);

  bus.load(folder.path());
  EXPECT_EQ(find_msgbus(), bus.bus());
  EXPECT_EQ(get_msgbus(), bus.bus());
  EXPECT_EQ(bus.visits(), 2u);
  bus.refuse_bus();
  EXPECT_EQ(get_msgbus(), nullptr);
  bus.refuse_bus(false);

  bus.unload();
  EXPECT_EQ(find_msgbus(), nullptr);
  EXPECT_EQ(get_msgbus(), nullptr);

  bus.load();
  EXPECT_EQ(find_msgbus(), bus.bus());
  EXPECT_EQ(get_msgbus(), nullptr);
}

TEST(FakeBus, RecordsAMessageWithEveryWriteAndItsReferences) {
  support::FakeBus bus;
  const BusFields fields = {{"module", "first"}, {"module", "push"}, {"topic", 1}};
  IBusMessage* const message = make_message(bus.bus(), fields);
  message->AddRef();
  bus.bus()->Core()->GetChannel(events)->Send(message);
  EXPECT_EQ(bus.messages_alive(), 1u);
  message->Release();
  message->Release();

  EXPECT_EQ(bus.last_sent().channel, events);
  EXPECT_EQ(bus.last_sent().fields, fields);
  EXPECT_EQ(bus.last_sent().text("module"), "push");
  EXPECT_EQ(bus.last_sent().number("topic"), 1);
  EXPECT_EQ(bus.last_sent().references, 2u);
  EXPECT_FALSE(bus.last_sent().waited);
  EXPECT_EQ(bus.messages_alive(), 0u);
  EXPECT_EQ(bus.calls(),
            (Lines{"CreateMessage", "GetChannel connect.events", "Send connect.events"}));
}

TEST(FakeBus, AnswersAWaitingSenderAsItIsTold) {
  support::FakeBus bus;
  IBusMessage* const message = make_message(bus.bus(), {});
  IBusChannel* const channel = bus.bus()->Core()->GetChannel(actions);
  IBusMessage* reply = nullptr;

  ASSERT_EQ(channel->SendAndWait(message, &reply, 5000), 0u);
  EXPECT_TRUE(reply->HasField("err", 0));
  EXPECT_EQ(reply->GetInt("err"), 0);
  EXPECT_EQ(reply->GetString("method"), nullptr);
  reply->Release();

  bus.answer({1460, std::nullopt});
  EXPECT_EQ(channel->SendAndWait(message, &reply, 5000), 1460u);

  bus.answer_by([](const support::SentMessage& sent) {
    return support::BusAnswer{0, BusFields{{"err", sent.timeout_milliseconds}}};
  });
  ASSERT_EQ(channel->SendAndWait(message, &reply, 20), 0u);
  EXPECT_EQ(reply->GetInt("err"), 20);
  reply->Release();
  message->Release();
  EXPECT_EQ(bus.messages_alive(), 0u);
  EXPECT_EQ(bus.count("SendAndWait connect.actions 5000"), 2u);
}

TEST(FakeBus, DeliversToEachSubscriptionOfTheChannelAndGivesTheReply) {
  support::FakeBus bus;
  const Seat first(bus.bus(), actions, true);
  const Seat second(bus.bus(), actions);
  const Seat elsewhere(bus.bus(), events);
  EXPECT_EQ(bus.subscriptions_alive(actions), 2u);

  EXPECT_EQ(bus.deliver(actions, {{"module", "push"}}),
            (BusFields{{"module", "a"}, {"module", "b"}, {"err", 7}}));
  EXPECT_EQ(first.count, 1);
  EXPECT_EQ(second.count, 1);
  EXPECT_EQ(elsewhere.count, 0);
  EXPECT_EQ(bus.deliver(events, {}), std::nullopt);
  EXPECT_EQ(bus.messages_alive(), 0u);
}

TEST(FakeBus, LoopsMessagesToItsOwnSubscriptions) {
  support::FakeBus bus;
  bus.loop_messages();
  IBusMessage* const message = make_message(bus.bus(), {});
  IBusMessage* reply = nullptr;
  {
    const Seat seat(bus.bus(), actions, true);
    ASSERT_EQ(seat.channel->SendAndWait(message, &reply, 5000), 0u);
    EXPECT_EQ(reply->GetInt("err"), 7);
    EXPECT_FALSE(reply->HasField("late", 0));
    reply->Release();
    seat.channel->Send(message);
    bus.wait_idle();
    EXPECT_EQ(seat.count, 2);
  }
  EXPECT_EQ(bus.bus()->Core()->GetChannel(actions)->SendAndWait(message, &reply, 5000), 258u);
  message->Release();
  EXPECT_EQ(bus.messages_alive(), 0u);
}

TEST(FakeBus, LetsManyThreadsTalkWhileSubscriptionsComeAndGo) {
  support::FakeBus bus;
  bus.loop_messages();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        const Seat seat(bus.bus(), actions, true);
        IBusMessage* const message = make_message(bus.bus(), {{"round", round}});
        IBusMessage* reply = nullptr;
        if (seat.channel->SendAndWait(message, &reply, 5000) == 0) reply->Release();
        message->Release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  bus.wait_idle();
  EXPECT_EQ(bus.messages_alive(), 0u);
  EXPECT_EQ(bus.subscriptions_alive(actions), 0u);
}

TEST(FakeBus, EndsASubscriptionFromWithinItsCallback) {
  support::FakeBus bus;
  struct Leaver {
    IBusChannel* channel;
    IBusSubscription* subscription;
    int count;
  };
  IBusChannel* const channel = bus.bus()->Core()->GetChannel(events);
  Leaver leaver{channel, channel->Subscribe(), 0};
  const bus_callback leave = [](IBusMessage*, void* context) {
    auto* const self = static_cast<Leaver*>(context);
    ++self->count;
    self->channel->Unsubscribe(self->subscription);
  };
  leaver.subscription->SetCallback(leave, &leaver, 0);
  bus.deliver(events, {});
  bus.deliver(events, {});
  EXPECT_EQ(leaver.count, 1);
}

TEST(FakeBus, TellsObserversOfListeners) {
  support::FakeBus bus;
  Watcher watcher;
  EXPECT_TRUE(bus.bus()->AddObserver(&watcher, 0));
  bus.bus()->AddListener(events, "silent");
  bus.announce(events, "by hand");
  bus.announce_listeners();
  bus.bus()->AddListener(events, "push_client");
  bus.bus()->RemoveListener(events, "push_client");
  bus.wait_idle();
  EXPECT_TRUE(bus.bus()->RemoveObserver(&watcher, 0));
  bus.withdraw(events, "by hand");

  EXPECT_EQ(watcher.lines, (Lines{"+ connect.events by hand", "+ connect.events push_client",
                                  "- connect.events push_client"}));
  EXPECT_EQ(bus.listeners(), (Lines{"connect.events silent"}));
  EXPECT_TRUE(bus.bus()->IsListening(events, "silent"));
  bus.set_listening(events, "silent", false);
  EXPECT_FALSE(bus.bus()->IsListening(events, "silent"));
  EXPECT_EQ(bus.observers_alive(), 0u);
}

TEST(FakeBus, RefusesWhatItIsTold) {
  support::FakeBus bus;
  IBusCore* const core = bus.bus()->Core();
  IBusChannel* const channel = core->GetChannel(events);
  IBusSubscription* const subscription = channel->Subscribe();
  bus.refuse_channel(actions);
  EXPECT_EQ(core->GetChannel(actions), nullptr);
  EXPECT_EQ(core->GetChannel(events), channel);
  bus.refuse_channels();
  EXPECT_EQ(core->GetChannel(events), nullptr);
  bus.refuse_core();
  EXPECT_EQ(bus.bus()->Core(), nullptr);
  bus.refuse_messages(1);
  IBusMessage* const message = core->CreateMessage(0);
  EXPECT_NE(message, nullptr);
  EXPECT_EQ(core->CreateMessage(0), nullptr);
  message->Release();
  bus.refuse_subscriptions();
  EXPECT_EQ(channel->Subscribe(), nullptr);
  EXPECT_EQ(subscription->GetChannel(), channel);
  bus.hide_channels_of_subscriptions();
  EXPECT_EQ(subscription->GetChannel(), nullptr);
  bus.set_callback_status(5);
  EXPECT_EQ(subscription->SetCallback([](IBusMessage*, void*) {}, nullptr, 0), 5u);
  bus.refuse_observers();
  Watcher watcher;
  EXPECT_FALSE(bus.bus()->AddObserver(&watcher, 0));
}

TEST(FakeBus, FindsMistakes) {
  support::FakeBus bus;
  IBusMessage* const message = bus.bus()->Core()->CreateMessage(0);
  message->Release();
  message->Release();
  IBusChannel* const channel = bus.bus()->Core()->GetChannel(events);
  IBusSubscription* const subscription = channel->Subscribe();
  channel->Unsubscribe(subscription);
  channel->Unsubscribe(subscription);
  channel->Send(message);
  EXPECT_EQ(bus.take_mistakes().size(), 3u);
  EXPECT_TRUE(bus.take_mistakes().empty());
}

struct UserWatcher final : IProductAgentEvents {
  void OnUserInfoChanged() override { ++changes; }
  void ignored_1() override {}
  int changes = 0;
};

TEST(FakeAgent, TellsOfItsUserAndOfChanges) {
  support::FakeAgent agent;
  UserWatcher watcher;
  EXPECT_EQ(agent.RegisterEvents(&watcher), 0u);
  EXPECT_EQ(agent.change(), 1u);
  EXPECT_EQ(watcher.changes, 1);
  EXPECT_EQ(agent.UnregisterEvents(&watcher), 0u);
  EXPECT_EQ(agent.change(), 0u);

  agent.set_user(L"d", std::nullopt);
  IProductAgentUserInfo* info = nullptr;
  ASSERT_EQ(agent.GetUserInfo(&info), 0u);
  EXPECT_STREQ(info->GetDeviceId(), L"d");
  EXPECT_EQ(info->GetUserToken(), nullptr);
  EXPECT_EQ(agent.user_infos_alive(), 1u);
  info->Release();
  EXPECT_EQ(agent.user_infos_alive(), 0u);
  EXPECT_EQ(agent.surplus_releases(), 0u);
  agent.fail_user_info(31);
  EXPECT_EQ(agent.GetUserInfo(&info), 31u);
}

TEST(FakeCloudClient, RecordsARegistrationAndPushesExactlyTheText) {
  support::FakeCloudClient cloud;
  std::string pushed;
  const cirrel_push_callbacks callbacks{[](const cirrel_response*, void*) {},
                                        [](const cirrel_response* response, void* context) {
                                          static_cast<std::string*>(context)->append(
                                              response->text, response->size);
                                        },
                                        &pushed};
  const cirrel_push_source source{"token", "", nullptr};
  const cirrel_push_destination destination{"app", "device"};
  const auto register_once = [&] {
    return cloud.table()->connect_register(cloud.shared_instance(), &source, &destination, "event",
                                           "secure_web", &callbacks);
  };
  cloud.set_register_result(7);
  EXPECT_EQ(register_once(), 7u);
  EXPECT_EQ(cloud.push("lost"), 0u);
  cloud.set_register_result(0);
  EXPECT_EQ(register_once(), 0u);
  EXPECT_EQ(register_once(), 0u);
  EXPECT_EQ(cloud.push("{}"), 1u);
  EXPECT_EQ(pushed, "{}");

  ASSERT_EQ(cloud.registrations().size(), 3u);
  const support::PushRegistration registration = cloud.registrations().front();
  EXPECT_EQ(registration.instance, "shared");
  EXPECT_EQ(registration.source_user_token, "token");
  EXPECT_EQ(registration.source_app_id, "");
  EXPECT_EQ(registration.source_device_id, std::nullopt);
  EXPECT_EQ(registration.destination_app_id, "app");
  EXPECT_EQ(registration.destination_device_id, "device");
  EXPECT_EQ(registration.topic, "event");
  EXPECT_EQ(registration.transport, "secure_web");
  EXPECT_EQ(registration.context, &pushed);
}

TEST(FakeHost, GivesPluginsByNameAndId) {
  support::FakeHost host;
  int plugin = 0;
  void* out = nullptr;
  host.add_plugin(L"agent", IID_IBus, &plugin);
  EXPECT_EQ(host.get_plugin(L"agent", IID_IBusHost, &out), 1168u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(host.get_plugin(L"agent", IID_IBus, &out), 0u);
  EXPECT_EQ(out, &plugin);
  EXPECT_EQ(host.ids(L"agent"), (std::vector<IID>{IID_IBusHost, IID_IBus}));
  EXPECT_EQ(host.plugins_out(L"agent"), 1);
  host.release_plugin(L"agent");
  EXPECT_EQ(host.plugins_out(L"agent"), 0);
}

}  // namespace
