#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "support/ConnectServerTest.h"

namespace {

using support::BusFields;
using Calls = std::vector<std::string>;
using HostCalls = std::vector<std::wstring>;

class ConnectRequestsServer : public support::ConnectServerTest {};

TEST_F(ConnectRequestsServer, FailsWithABusThatDoesNotAnswer) {
  bus.refuse_bus();
  EXPECT_EQ(init(), 31U);
  EXPECT_EQ(log.count(4, init_scope, L"Failed to get bus"), 1U);
}

TEST_F(ConnectRequestsServer, FindsTheBusInTheModulesOwnFolderAlone) {
  bus.unload();
  const support::TemporaryFolder elsewhere;
  bus.load(elsewhere.path());
  EXPECT_EQ(init(), 31U);
  EXPECT_EQ(bus.visits(), 0U);
  bus.unload();
}

TEST_F(ConnectRequestsServer, WritesTheFieldsOfItsReplyOnceAndInTheirOrder) {
  EXPECT_EQ(init(), 0U);
  requests.answer("oops", -32601);
  EXPECT_EQ(bus.deliver(channel, message()), (BusFields{{"reply", "oops"}, {"err", -32601}}));
  requests.fail({2, 12007});
  EXPECT_EQ(bus.deliver(channel, message()), (BusFields{{"err", 12007}, {"error_type", 2}}));
}

TEST_F(ConnectRequestsServer, BearsUnInitAgainAndAgain) {
  plugin->UnInit();
  EXPECT_EQ(init(), 0U);
  plugin->UnInit();
  host.clear();
  bus.forget_calls();
  plugin->UnInit();
  EXPECT_TRUE(host.calls().empty());
  EXPECT_TRUE(bus.calls().empty());
}

TEST_F(ConnectRequestsServer, RunsEachInitInFullAndDropsWhatTheFirstHeld) {
  EXPECT_EQ(init(), 0U);
  host.clear();
  bus.forget_calls();
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(bus.calls(), (Calls{"Unsubscribe connect.actions", "GetChannel connect.actions",
                                "Subscribe connect.actions", "SetCallback connect.actions"}));
  EXPECT_EQ(host.calls(), (HostCalls{L"release_plugin connect_integrator", L"get_execution_service",
                                     L"get_plugin_manager", L"get_plugin connect_integrator"}));
  EXPECT_EQ(bus.subscriptions_alive(channel), 1U);
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 1);
  requests.forget_asks();
  ask(message());
  EXPECT_EQ(requests.asks().size(), 1U);
  plugin->UnInit();
  EXPECT_EQ(host.plugins_out(L"connect_integrator"), 0);
}

TEST_F(ConnectRequestsServer, LeavesNoSubscriptionToAnObjectThatIsGone) {
  EXPECT_EQ(init(), 0U);
  bus.forget_calls();
  host.clear();
  bool unsubscribed_first = false;
  bus.set_hook([&](const std::string&) { unsubscribed_first = host.calls().empty(); });
  plugin.reset();
  EXPECT_TRUE(unsubscribed_first) << "a message may arrive until then, and needs the plug-in";
  EXPECT_EQ(bus.calls(), Calls{"Unsubscribe connect.actions"});
  EXPECT_EQ(host.calls(), HostCalls{L"release_plugin connect_integrator"});
  EXPECT_FALSE(ask(message()));
}

TEST_F(ConnectRequestsServer, HasNothingToStartOrStop) {
  EXPECT_EQ(init(), 0U);
  bus.forget_calls();
  EXPECT_EQ(plugin->Start(), 0U);
  plugin->Stop();
  EXPECT_TRUE(bus.calls().empty());
  EXPECT_TRUE(ask(message()));
}

TEST_F(ConnectRequestsServer, AnswersACallerThatWaitsOnTheBus) {
  EXPECT_EQ(init(), 0U);
  bus.loop_messages();
  requests.answer("answer");
  IBusChannel* const actions = bus.bus()->Core()->GetChannel(channel);
  IBusMessage* const message = bus.bus()->Core()->CreateMessage(0);
  support::write_fields(*message, this->message());
  IBusMessage* reply = nullptr;
  ASSERT_EQ(actions->SendAndWait(message, &reply, 60000), 0U);
  EXPECT_STREQ(reply->GetString("reply"), "answer");
  reply->Release();
  message->Release();
  bus.wait_idle();
}

}  // namespace
