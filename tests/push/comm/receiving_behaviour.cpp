#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "push/comm/BusTest.h"
#include "push/comm/receiving.h"

namespace {

using cloud::push::command_info;
using cloud::push::event_info;
using support::BusFields;

/// What callbacks were called with, as lines.
struct Heard {
  std::vector<std::string> lines;
  std::thread::id thread;
  int result = 0;

  void add(std::string line) {
    lines.push_back(std::move(line));
    thread = std::this_thread::get_id();
  }
};

Heard& heard_of(void* context) {
  return *static_cast<Heard*>(context);
}

void on_event(const event_info& event, void* context) {
  heard_of(context).add(std::string("event ") + event.name.c_str());
}

void on_command(const command_info& command, void* context) {
  heard_of(context).add(std::string("command ") + command.id.c_str());
}

void on_server_up(void* context) {
  heard_of(context).add("server up");
}

template <class Action>
int on_action(Action& request, Action& response, void* context) {
  heard_of(context).add(std::string("action of ") + request.source.app_id.c_str());
  response.source = request.source;
  response.dest = request.dest;
  return heard_of(context).result;
}

const BusFields event_message = {
    {"module", "push"}, {"method", "on_push_event"}, {"name", "one"}, {"timestamp", 1}};
const BusFields command_message = {
    {"module", "push"}, {"method", "on_push_command"}, {"id", "two"}, {"timestamp", 1}};
const BusFields server_up_message = {{"module", "push"}, {"method", "on_push_server_up"}};

BusFields action_message(const std::string& method) {
  return {{"module", "push"},
          {"method", method},
          {"source_app_id", "app"},
          {"source_device_id", "device"},
          {"source_token", "token"},
          {"dest_app_id", "other app"},
          {"dest_device_id", "other"},
          {"topic", 1},
          {"id", "an id"},
          {"status", "done"}};
}

class Receiving : public BusTest {
 protected:
  auto receive_events() { return cloud::comm::start_receiving_events(on_event, &heard); }
  auto receive_commands() { return cloud::comm::start_receiving_events(on_command, &heard); }
  auto receive_management_events() {
    return cloud::comm::start_receiving_management_events(on_server_up, &heard);
  }
  template <class Action>
  auto receive_actions() {
    return cloud::comm::start_receiving_actions(on_action<Action>, &heard);
  }

  Heard heard;
};

using cloud::push_command_done;
using cloud::push_register;
using cloud::push_unregister;

TEST_F(Receiving, EventsNeedsNoListener) {
  {
    const auto handle = receive_events();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(bus.subscriptions_alive("connect.events"), 1u);
  }
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.events", "Subscribe connect.events",
                                "SetCallback connect.events", "Unsubscribe connect.events"}));
}

TEST_F(Receiving, CommandsNeedsNoListener) {
  { const auto handle = receive_commands(); }
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.events", "Subscribe connect.events",
                                "SetCallback connect.events", "Unsubscribe connect.events"}));
}

TEST_F(Receiving, ManagementEventsAnnouncesAClient) {
  {
    const auto handle = receive_management_events();
    EXPECT_EQ(bus.listeners(), Calls{"connect.events push_client"});
  }
  EXPECT_EQ(bus.calls(),
            (Calls{"GetChannel connect.events", "Subscribe connect.events",
                   "SetCallback connect.events", "AddListener connect.events push_client",
                   "Unsubscribe connect.events", "RemoveListener connect.events push_client"}));
}

TEST_F(Receiving, ActionsAnnouncesTheNameOfTheMessage) {
  const auto expect_announced = [this](auto receive, const std::string& listener) {
    bus.forget_calls();
    receive();
    EXPECT_EQ(bus.calls(),
              (Calls{"GetChannel connect.actions", "Subscribe connect.actions",
                     "SetCallback connect.actions", "AddListener connect.actions " + listener,
                     "Unsubscribe connect.actions", "RemoveListener connect.actions " + listener}));
  };
  expect_announced([this] { return receive_actions<push_register>(); }, "push_register");
  expect_announced([this] { return receive_actions<push_unregister>(); }, "push_unregister");
  expect_announced([this] { return receive_actions<push_command_done>(); }, "push_command_done");
}

TEST_F(Receiving, CallsBackOnTheThreadOfTheBus) {
  const auto handle = receive_events();
  bus.deliver("connect.events", event_message);
  EXPECT_EQ(heard.lines, Calls{"event one"});
  EXPECT_EQ(heard.thread, std::this_thread::get_id());
}

TEST_F(Receiving, GivesEachCallbackItsOwnKindOfMessage) {
  const auto events = receive_events();
  const auto commands = receive_commands();
  const auto management = receive_management_events();
  bus.deliver("connect.events", event_message);
  bus.deliver("connect.events", command_message);
  bus.deliver("connect.events", server_up_message);
  EXPECT_EQ(heard.lines, (Calls{"event one", "command two", "server up"}));
}

TEST_F(Receiving, DropsAnUnknownMethodOfThePushModule) {
  const auto events = receive_events();
  const auto commands = receive_commands();
  const auto management = receive_management_events();
  bus.deliver("connect.events", {{"module", "push"}, {"method", "on_push_something"}});
  bus.deliver("connect.events", {{"module", "pushy"}, {"method", "on_push_event"}});
  bus.deliver("connect.events", {});
  EXPECT_EQ(heard.lines, Calls{});
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Receiving, EndsWithTheHandle) {
  auto handle = receive_events();
  handle.reset();
  bus.deliver("connect.events", event_message);
  EXPECT_EQ(heard.lines, Calls{});
  EXPECT_EQ(bus.subscriptions_alive("connect.events"), 0u);
}

TEST_F(Receiving, HandsBackAContextOfNull) {
  static int calls;
  calls = 0;
  const auto handle = cloud::comm::start_receiving_management_events(
      [](void* context) { calls += context == nullptr ? 1 : 100; }, nullptr);
  bus.deliver("connect.events", server_up_message);
  EXPECT_EQ(calls, 1);
}

TEST_F(Receiving, MayBeEndedByItsOwnCallback) {
  static std::unique_ptr<cloud::comm::handle<cloud::comm::management_receiver>> own;
  own = cloud::comm::start_receiving_management_events([](void*) { own.reset(); }, nullptr);
  bus.deliver("connect.events", server_up_message);
  EXPECT_EQ(own, nullptr);
  EXPECT_EQ(bus.subscriptions_alive("connect.events"), 0u);
}

TEST_F(Receiving, AnswersWithAnEchoEvenAnActionThatEndedItsSubscription) {
  static std::unique_ptr<cloud::comm::handle<cloud::comm::register_receiver>> own;
  own = cloud::comm::start_receiving_actions(
      [](push_register&, push_register&, void*) {
        own.reset();
        return 5;
      },
      nullptr);
  const auto reply = bus.deliver("connect.actions", action_message("push_register"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(*support::find_number(*reply, "err"), 5);
}

// Failures of the start.

TEST_F(Receiving, TellsThatItHasNoChannel) {
  bus.refuse_channels();
  EXPECT_EQ(receive_events(), nullptr);
  EXPECT_EQ(receive_commands(), nullptr);
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_events", L"could not get channel"), 2u);
  EXPECT_EQ(receive_management_events(), nullptr);
  EXPECT_EQ(
      log.count(4, L"cloud::comm::start_receiving_management_events", L"could not get channel"),
      1u);
  EXPECT_EQ(receive_actions<push_register>(), nullptr);
  EXPECT_EQ(receive_actions<push_unregister>(), nullptr);
  EXPECT_EQ(receive_actions<push_command_done>(), nullptr);
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_actions", L"could not get channel"), 3u);
  EXPECT_EQ(log.lines().size(), 6u);
}

TEST_F(Receiving, TellsThatThereIsNoBus) {
  bus.unload();
  EXPECT_EQ(receive_events(), nullptr);
  EXPECT_LOGGED(log, 4, L"cloud::comm::start_receiving_events", L"could not get channel");
}

TEST_F(Receiving, TellsThatItHasNoSubscription) {
  bus.refuse_subscriptions();
  EXPECT_EQ(receive_events(), nullptr);
  EXPECT_EQ(receive_commands(), nullptr);
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_events", L"could not get subscription"),
            2u);
  EXPECT_EQ(receive_management_events(), nullptr);
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_management_events",
                      L"could not get subscription"),
            1u);
  EXPECT_EQ(receive_actions<push_register>(), nullptr);
  EXPECT_EQ(receive_actions<push_unregister>(), nullptr);
  EXPECT_EQ(receive_actions<push_command_done>(), nullptr);
  EXPECT_EQ(log.count(4, L"cloud::comm::start_receiving_actions", L"could not get subscription"),
            3u);
  EXPECT_EQ(log.lines().size(), 6u);
  EXPECT_EQ(bus.count("SetCallback connect.events"), 0u);
}

TEST_F(Receiving, GivesAHandleButAnnouncesNothingIfTheCallbackIsRefused) {
  bus.set_callback_status(5);
  {
    const auto handle = receive_management_events();
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(bus.listeners(), Calls{});
  }
  // What was never announced is withdrawn all the same.
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.events", "Subscribe connect.events",
                                "SetCallback connect.events", "Unsubscribe connect.events",
                                "RemoveListener connect.events push_client"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Receiving, AnnouncesNothingIfTheSubscriptionHasNoChannel) {
  bus.hide_channels_of_subscriptions();
  { EXPECT_NE(receive_management_events(), nullptr); }
  EXPECT_EQ(bus.calls(), (Calls{"GetChannel connect.events", "Subscribe connect.events",
                                "SetCallback connect.events"}));
}

// Answers.

TEST_F(Receiving, AnswersEachActionWithTheResultAndTheEcho) {
  const auto registrations = receive_actions<push_register>();
  const auto unregistrations = receive_actions<push_unregister>();
  const auto completions = receive_actions<push_command_done>();
  heard.result = -87;
  for (const char* const method : {"push_register", "push_unregister", "push_command_done"}) {
    heard.lines.clear();
    const auto reply = bus.deliver("connect.actions", action_message(method));
    EXPECT_EQ(heard.lines, Calls{"action of app"}) << method;
    ASSERT_TRUE(reply) << method;
    // Neither the topic nor the command's identifier and outcome.
    EXPECT_EQ(*reply, (BusFields{{"module", "connect_requests"},
                                 {"err", -87},
                                 {"module", "push"},
                                 {"method", method},
                                 {"source_app_id", "app"},
                                 {"source_device_id", "device"},
                                 {"source_token", "token"},
                                 {"dest_app_id", "other app"},
                                 {"dest_device_id", "other"}}));
  }
}

TEST_F(Receiving, EchoesOnlyWhatTheCallbackCopies) {
  const auto handle = cloud::comm::start_receiving_actions(
      [](push_register&, push_register&, void*) { return 0; }, nullptr);
  const auto reply = bus.deliver("connect.actions", action_message("push_register"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(*support::find_text(*reply, "source_app_id"), "");
  EXPECT_EQ(*support::find_text(*reply, "dest_device_id"), "");
}

TEST_F(Receiving, GetsTheChannelOfActionsForTheReplyButDoesNotSendOnIt) {
  const auto handle = receive_actions<push_register>();
  bus.forget_calls();
  bus.deliver("connect.actions", action_message("push_register"));
  EXPECT_EQ(bus.calls(),
            (Calls{"GetChannel connect.actions", "CreateMessage", "SetReply connect.actions"}));
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(Receiving, ModulesOfRequestAndResponseArePushBeforeAnythingIsRead) {
  static std::string modules;
  modules.clear();
  const auto handle = cloud::comm::start_receiving_actions(
      [](push_command_done& request, push_command_done& response, void*) {
        modules = std::string(request.module) + " " + response.module;
        return 0;
      },
      nullptr);
  bus.deliver("connect.actions", action_message("push_command_done"));
  EXPECT_EQ(modules, "push push");
}

TEST_F(Receiving, DoesNotAnswerWhatIsNotItsAction) {
  const auto handle = receive_actions<push_register>();
  EXPECT_FALSE(bus.deliver("connect.actions", action_message("push_unregister")));
  EXPECT_FALSE(bus.deliver("connect.actions", {{"module", "push"}}));
  EXPECT_EQ(heard.lines, Calls{});
}

TEST_F(Receiving, CallsBackButCannotAnswerWithoutAMessage) {
  const auto handle = receive_actions<push_register>();
  bus.refuse_messages();
  EXPECT_FALSE(bus.deliver("connect.actions", action_message("push_register")));
  EXPECT_EQ(heard.lines, Calls{"action of app"});
}

TEST_F(Receiving, CallsBackButCannotAnswerWithoutTheChannel) {
  const auto handle = receive_actions<push_register>();
  bus.refuse_channel("connect.actions");
  EXPECT_FALSE(bus.deliver("connect.actions", action_message("push_register")));
  EXPECT_EQ(heard.lines, Calls{"action of app"});
}

TEST_F(Receiving, AnswersACompletionThatNobodyWaitsFor) {
  const auto handle = receive_actions<push_command_done>();
  const auto reply = bus.deliver("connect.actions", action_message("push_command_done"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(*support::find_text(*reply, "method"), "push_command_done");
}

}  // namespace
