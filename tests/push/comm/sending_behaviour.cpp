#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "push/comm/BusTest.h"
#include "push/comm/sending.h"
#include "support/ProductInfoFolder.h"

namespace {

using cloud::connect_destination;
using cloud::connect_source;
using cloud::push::command_info;
using cloud::push::event_info;
using support::BusFields;

const connect_source sender{"app", "device", "token"};
const connect_destination receiver{"other device", "other app"};

void on_event(const event_info&, void* context) {
  ++*static_cast<std::atomic<int>*>(context);
}

void on_command(const command_info&, void* context) {
  ++*static_cast<std::atomic<int>*>(context);
}

BusFields action(const std::string& method, const BusFields& more) {
  BusFields fields = {{"module", "push"},
                      {"method", method},
                      {"source_app_id", "app"},
                      {"source_device_id", "device"},
                      {"source_token", "token"},
                      {"dest_app_id", "other app"},
                      {"dest_device_id", "other device"}};
  fields.insert(fields.end(), more.begin(), more.end());
  return fields;
}

class Sending : public BusTest {
 protected:
  auto register_events() {
    return cloud::comm::send_push_register_events(on_event, &heard, sender, receiver);
  }
  auto register_commands() {
    return cloud::comm::send_push_register_commands(on_command, &heard, sender, receiver);
  }
  std::size_t subscriptions() const { return bus.subscriptions_alive("connect.events"); }

  /// One message went off with nobody waiting: two references at that moment, none now.
  void expect_sent(const std::string& channel, const BusFields& fields) {
    ASSERT_EQ(bus.sent().size(), 1u);
    const support::SentMessage sent = bus.last_sent();
    EXPECT_EQ(sent.channel, channel);
    EXPECT_EQ(sent.fields, fields);
    EXPECT_FALSE(sent.waited);
    EXPECT_EQ(sent.references, 2u);
    EXPECT_EQ(bus.messages_alive(), 0u);
    EXPECT_EQ(bus.calls(), (Calls{"GetChannel " + channel, "CreateMessage", "Send " + channel}));
  }

  void expect_nothing_published(std::uint32_t reason) {
    EXPECT_EQ(cloud::comm::notify_push_event({}), reason);
    EXPECT_EQ(cloud::comm::notify_push_command({}), reason);
    cloud::comm::notify_push_server_up();
    EXPECT_TRUE(bus.sent().empty());
  }

  std::atomic<int> heard = 0;
};

TEST_F(Sending, PublishesAnEvent) {
  EXPECT_EQ(cloud::comm::notify_push_event({"name", "params", "app", "device", 5}), 0u);
  expect_sent("connect.events", {{"module", "push"},
                                 {"method", "on_push_event"},
                                 {"name", "name"},
                                 {"timestamp", 5},
                                 {"destination_app_id", "app"},
                                 {"destination_device_id", "device"},
                                 {"params", "params"}});
}

TEST_F(Sending, PublishesACommand) {
  EXPECT_EQ(cloud::comm::notify_push_command({"app", "name", "id", "params", 5}), 0u);
  expect_sent("connect.events", {{"module", "push"},
                                 {"method", "on_push_command"},
                                 {"name", "name"},
                                 {"timestamp", 5},
                                 {"id", "id"},
                                 {"params", "params"},
                                 {"destination_app_id", "app"}});
}

TEST_F(Sending, PublishesThatTheServerIsUp) {
  cloud::comm::notify_push_server_up();
  expect_sent("connect.events", {{"module", "push"}, {"method", "on_push_server_up"}});
}

TEST_F(Sending, SendsAnUnregistrationWithoutWaiting) {
  cloud::comm::send_push_unregister(1, sender, receiver);
  expect_sent("connect.actions", action("push_unregister", {{"topic", 1}}));
}

TEST_F(Sending, SendsACompletionWithoutWaiting) {
  cloud::comm::send_push_command_done("an id", "a status", sender, receiver);
  expect_sent("connect.actions",
              action("push_command_done", {{"id", "an id"}, {"status", "a status"}}));
}

TEST_F(Sending, TellsThatThereIsNoChannelToPublishOn) {
  bus.refuse_channels();
  expect_nothing_published(2250);
  EXPECT_EQ(bus.count("CreateMessage"), 0u);
}

TEST_F(Sending, TellsThatThereIsNoBusToPublishOn) {
  bus.unload();
  expect_nothing_published(2250);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Sending, TellsThatThereIsNoMessageToPublish) {
  bus.refuse_messages();
  expect_nothing_published(31);
}

TEST_F(Sending, DropsActionsInSilenceWithoutAChannel) {
  bus.refuse_channels();
  cloud::comm::send_push_unregister(0, sender, receiver);
  cloud::comm::send_push_command_done("id", "status", sender, receiver);
  EXPECT_EQ(bus.count("CreateMessage"), 0u);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Sending, DropsActionsInSilenceWithoutAMessage) {
  bus.refuse_messages();
  cloud::comm::send_push_unregister(0, sender, receiver);
  cloud::comm::send_push_command_done("id", "status", sender, receiver);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

// Registrations.

TEST_F(Sending, SubscribesBeforeItRegisters) {
  const auto handle = register_events();
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.actions", "CreateMessage",
                                "GetChannel connect.events", "Subscribe connect.events",
                                "SetCallback connect.events", "SendAndWait connect.actions 5000"}));
}

TEST_F(Sending, RegistersForEvents) {
  const auto handle = register_events();
  const support::SentMessage sent = bus.last_sent();
  EXPECT_EQ(sent.channel, "connect.actions");
  EXPECT_EQ(sent.fields, action("push_register", {{"topic", 0}}));
  EXPECT_TRUE(sent.waited);
  EXPECT_EQ(sent.timeout_milliseconds, 5000u);
  EXPECT_EQ(sent.references, 2u);
  EXPECT_EQ(bus.messages_alive(), 0u);  // neither the message nor the reply
  bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_event"}});
  bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_command"}});
  EXPECT_EQ(heard, 1);
}

TEST_F(Sending, RegistersForCommands) {
  const auto handle = register_commands();
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(bus.last_sent().fields, action("push_register", {{"topic", 1}}));
  EXPECT_TRUE(bus.last_sent().waited);
  EXPECT_EQ(bus.last_sent().references, 2u);
  EXPECT_EQ(bus.messages_alive(), 0u);
  bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_event"}});
  bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_command"}});
  EXPECT_EQ(heard, 1);
}

TEST_F(Sending, MissesNothingThatIsDeliveredDuringTheRegistration) {
  bus.answer_by([this](const support::SentMessage&) {
    bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_event"}});
    return support::BusAnswer{0, BusFields{{"err", 0}}};
  });
  const auto handle = register_events();
  EXPECT_EQ(heard, 1);
}

TEST_F(Sending, LooksOnlyAtTheErrorOfTheReply) {
  bus.answer_err(0);
  EXPECT_NE(register_events(), nullptr);
  bus.answer({0, BusFields{{"module", "another"}, {"method", "x"}, {"err", 0}}});
  EXPECT_NE(register_events(), nullptr);
}

TEST_F(Sending, ReadsAReplyWithoutAnErrorAsTheBusDoes) {
  bus.answer({0, BusFields{}});
  EXPECT_NE(register_events(), nullptr);
  bus.set_absent_number(-1);
  EXPECT_EQ(register_events(), nullptr);
}

TEST_F(Sending, UnsubscribesIfTheServerRefuses) {
  for (const std::int64_t err : {87ll, -1ll, 0x1'0000'0000ll}) {
    bus.answer_err(err);
    EXPECT_EQ(register_events(), nullptr) << err;
    EXPECT_EQ(register_commands(), nullptr) << err;
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_EQ(bus.messages_alive(), 0u);
  }
}

TEST_F(Sending, UnsubscribesIfNobodyAnswersInTime) {
  bus.answer({258, std::nullopt});
  EXPECT_EQ(register_events(), nullptr);
  EXPECT_EQ(subscriptions(), 0u);
  EXPECT_EQ(bus.messages_alive(), 0u);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Sending, UnsubscribesIfTheAnswerIsMissing) {
  bus.answer({0, std::nullopt});
  EXPECT_EQ(register_events(), nullptr);
  EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(Sending, RegistersWithoutACallbackAndWithoutASubscription) {
  EXPECT_EQ(cloud::comm::send_push_register_events(nullptr, nullptr, sender, receiver), nullptr);
  EXPECT_EQ(cloud::comm::send_push_register_commands(nullptr, nullptr, sender, receiver), nullptr);
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.actions", "CreateMessage",
                                "SendAndWait connect.actions 5000", "GetChannel connect.actions",
                                "CreateMessage", "SendAndWait connect.actions 5000"}));
  ASSERT_EQ(bus.sent().size(), 2u);
  EXPECT_EQ(bus.sent()[0].number("topic"), 0);
  EXPECT_EQ(bus.sent()[1].number("topic"), 1);
}

TEST_F(Sending, RegistersEvenIfItCannotSubscribe) {
  bus.refuse_channel("connect.events");
  EXPECT_EQ(register_events(), nullptr);
  EXPECT_EQ(bus.sent("push_register").size(), 1u);
  EXPECT_LOGGED(log, 4, L"cloud::comm::start_receiving_events", L"could not get channel");
}

TEST_F(Sending, NeitherSubscribesNorRegistersWithoutAChannel) {
  bus.refuse_channel("connect.actions");
  EXPECT_EQ(register_events(), nullptr);
  EXPECT_EQ(bus.calls(), Calls{"GetChannel connect.actions"});
}

TEST_F(Sending, NeitherSubscribesNorRegistersWithoutAMessage) {
  bus.refuse_messages();
  EXPECT_EQ(register_events(), nullptr);
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.actions", "CreateMessage"}));
}

TEST_F(Sending, NeverLeavesTheApplicationEmptyWhereTheProductHasOne) {
  support::ProductInfoFolder product;
  product.probe->set_string(44, L"Product");
  cloud::comm::send_push_register_events(nullptr, nullptr, {}, {});
  cloud::comm::send_push_unregister(0, {}, {});
  cloud::comm::send_push_command_done("id", "status", {}, {});
  ASSERT_EQ(bus.sent().size(), 3u);
  for (const support::SentMessage& sent : bus.sent()) {
    EXPECT_EQ(sent.text("source_app_id"), "Product") << sent.method();
    EXPECT_EQ(sent.text("dest_app_id"), "") << sent.method();
  }
}

TEST_F(Sending, GetsAnAnswerFromAServerOnTheSameBus) {
  static connect_source asked;
  bus.loop_messages();
  const auto server = cloud::comm::start_receiving_actions(
      [](cloud::push_register& request, cloud::push_register& response, void*) {
        asked = request.source;
        response.source = request.source;
        return request.topic == 1 ? 0 : 87;
      },
      nullptr);
  EXPECT_NE(register_commands(), nullptr);
  EXPECT_STREQ(asked.user_token.c_str(), "token");
  EXPECT_EQ(register_events(), nullptr);
  bus.wait_idle();
}

TEST_F(Sending, IsForAnyNumberOfThreads) {
  bus.loop_messages();
  std::atomic<int> received = 0;
  const auto handle = cloud::comm::start_receiving_events(on_event, &received);
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([] {
      for (int times = 0; times < 25; ++times) cloud::comm::notify_push_event({"e", "", "", "", 0});
    });
  }
  for (std::thread& thread : threads) thread.join();
  bus.wait_idle();
  EXPECT_EQ(received, 200);
}

// The product's application.

TEST(DefaultAppId, IsTheProductsValueInUtf8) {
  support::ProductInfoFolder product;
  product.probe->set_string(44, L"\u20ac");
  EXPECT_EQ(cloud::comm::get_default_app_id(), "\xe2\x82\xac");
}

TEST(DefaultAppId, IsDesktopWhereTheProductKnowsNone) {
  support::ProductInfoFolder product;
  EXPECT_EQ(cloud::comm::get_default_app_id(), "Desktop");
}

TEST(DefaultAppId, IsEmptyIfTheValueIs) {
  support::ProductInfoFolder product;
  product.probe->set_string(44, L"");
  EXPECT_EQ(cloud::comm::get_default_app_id(), "");
  product.probe->set_string(44, nullptr);
  EXPECT_EQ(cloud::comm::get_default_app_id(), "");
}

TEST(DefaultAppId, IsEmptyWithoutTheLibrary) {
  support::TestSeam seam;
  const support::TemporaryFolder folder;
  seam.set_own_module_name(folder.module_name(L"cloudsplicer").wstring());
  EXPECT_EQ(cloud::comm::get_default_app_id(), "");
}

}  // namespace
