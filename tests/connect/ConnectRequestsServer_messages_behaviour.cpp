#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "support/ConnectRequestsServerTest.h"

namespace {

using support::BusFields;
using Calls = std::vector<std::string>;

std::string text(const zv::StringT<char>& string) {
  return std::string(string.view());
}

class ConnectRequestsServerMessages : public support::ConnectRequestsServerTest {};

TEST_F(ConnectRequestsServerMessages, ReadsEveryFieldOfARequest) {
  init();
  ask(full_request());
  const std::vector<support::ConnectAsk> asks = requests.asks();
  ASSERT_EQ(asks.size(), 1U);
  const cloud::connect_request& request = asks[0].request;
  EXPECT_EQ(text(request.service), "svc");
  EXPECT_EQ(text(request.request_method), "do");
  EXPECT_EQ(text(request.source.app_id), "src app");
  EXPECT_EQ(text(request.source.device_id), "src device");
  EXPECT_EQ(text(request.source.user_token), "src token");
  EXPECT_EQ(text(request.destination.app_id), "dst app");
  EXPECT_EQ(text(request.destination.device_id), "dst dev");
  EXPECT_EQ(text(request.message), R"({"a": 1})");
  EXPECT_EQ(request.timeout, 1234U);
  EXPECT_EQ(request.type, cloud::request_type::connect);
  EXPECT_TRUE(asks[0].fill_source) << "the source is this process's own";
  EXPECT_EQ(asks[0].reply_capacity, 64U);
  EXPECT_EQ(asks[0].reply_code, 0);
  EXPECT_TRUE(log.traced(L"cloud::connect::ConnectRequestsServer::on_request"));
}

TEST_F(ConnectRequestsServerMessages, TakesAbsentTextsForEmptyOnes) {
  init();
  EXPECT_TRUE(ask({{"module", "connect_requests"}, {"method", "resolve_request"}}));
  const cloud::connect_request request = requests.asks().at(0).request;
  EXPECT_EQ(text(request.service), "");
  EXPECT_EQ(text(request.request_method), "");
  EXPECT_EQ(text(request.source.app_id), "");
  EXPECT_EQ(text(request.source.device_id), "");
  EXPECT_EQ(text(request.source.user_token), "");
  EXPECT_EQ(text(request.destination.app_id), "");
  EXPECT_EQ(text(request.destination.device_id), "");
  EXPECT_EQ(text(request.message), "");
}

TEST_F(ConnectRequestsServerMessages, TakesForAnAbsentTimeoutWhateverTheBusGives) {
  init();
  ask(without(full_request(), "timeout"));
  EXPECT_EQ(requests.asks().at(0).request.timeout, 0U);
  bus.set_absent_number(77);
  ask(without(full_request(), "timeout"));
  EXPECT_EQ(requests.asks().at(1).request.timeout, 77U);
}

TEST_F(ConnectRequestsServerMessages, PassesAnEmptyServiceOn) {
  init();
  requests.fail({1, 87});
  EXPECT_EQ(ask(with(full_request(), {"service", ""})),
            (BusFields{{"err", 87}, {"error_type", 1}}));
  EXPECT_EQ(text(requests.asks().at(0).request.service), "");
}

TEST_F(ConnectRequestsServerMessages, RepliesWithTheAnswerAndNoError) {
  init();
  requests.answer(R"({"result": true})");
  EXPECT_EQ(ask(full_request()), (BusFields{{"reply", R"({"result": true})"}, {"err", 0}}));
}

TEST_F(ConnectRequestsServerMessages, RepliesWithTheServersErrorBesideTheAnswer) {
  init();
  requests.answer("oops", -32601);
  EXPECT_EQ(ask(full_request()), (BusFields{{"reply", "oops"}, {"err", -32601}}));
}

TEST_F(ConnectRequestsServerMessages, RepliesWithAnEmptyTextWhereThereIsNone) {
  init();
  requests.answer_by([](const auto&, auto&) { return cloud::request_status{}; });
  EXPECT_EQ(ask(full_request()), (BusFields{{"reply", ""}, {"err", 0}}));
}

TEST_F(ConnectRequestsServerMessages, RepliesWithCodeAndTypeOfAFailure) {
  init();
  for (const cloud::request_status status :
       {cloud::request_status{1, 232}, {1, 5}, {2, 12007}, {0, 9}}) {
    requests.fail(status);
    EXPECT_EQ(ask(full_request()),
              (BusFields{{"err", status.code}, {"error_type", status.error_type}}));
  }
}

TEST_F(ConnectRequestsServerMessages, TakesATypeWithoutACodeForASuccess) {
  init();
  requests.fail({2, 0});
  EXPECT_EQ(ask(full_request()), (BusFields{{"reply", ""}, {"err", 0}}));
}

TEST_F(ConnectRequestsServerMessages, SendsNothingIfNoReplyCanBeMade) {
  init();
  bus.refuse_messages();
  bus.forget_calls();
  EXPECT_FALSE(ask(full_request()));
  EXPECT_EQ(requests.asks().size(), 1U) << "the request is made all the same";
  EXPECT_EQ(bus.calls(), Calls{"CreateMessage"});
}

TEST_F(ConnectRequestsServerMessages, MakesTheReplyOnlyAfterTheRequest) {
  init();
  bus.forget_calls();
  requests.answer_by([this](const auto&, auto&) {
    EXPECT_TRUE(bus.calls().empty());
    return cloud::request_status{};
  });
  ask(full_request());
  EXPECT_EQ(bus.calls(), (Calls{"CreateMessage", "SetReply connect.actions"}));
}

TEST_F(ConnectRequestsServerMessages, LeavesAnotherMethodToOthers) {
  init();
  for (const char* method :
       {"push_register", "resolve_reques", "resolve_requests", "", "Resolve_request"}) {
    EXPECT_FALSE(ask(with(full_request(), {"method", method}))) << method;
  }
  EXPECT_FALSE(ask(without(full_request(), "method")));
  EXPECT_FALSE(ask(with(full_request(), {"method", 1})));
  EXPECT_TRUE(requests.asks().empty());
}

TEST_F(ConnectRequestsServerMessages, LeavesAnotherModuleToOthers) {
  init();
  for (const char* module : {"push", "connect_request", "connect_requests_", ""}) {
    EXPECT_FALSE(ask(with(full_request(), {"module", module}))) << module;
  }
  EXPECT_FALSE(ask(without(full_request(), "module")));
  EXPECT_FALSE(ask({}));
  EXPECT_TRUE(requests.asks().empty());
}

TEST_F(ConnectRequestsServerMessages, AnswersACallerThatWaitsOnTheBus) {
  init();
  bus.loop_messages();
  requests.answer("answer");
  IBusChannel* const channel = bus.bus()->Core()->GetChannel(actions);
  IBusMessage* const message = bus.bus()->Core()->CreateMessage(0);
  for (const support::BusField& field : full_request()) {
    if (const auto* const value = std::get_if<std::string>(&field.value)) {
      message->SetString(field.key.c_str(), value->c_str());
    } else {
      message->SetInt(field.key.c_str(), std::get<std::int64_t>(field.value));
    }
  }
  IBusMessage* reply = nullptr;
  ASSERT_EQ(channel->SendAndWait(message, &reply, 60000), 0U);
  EXPECT_STREQ(reply->GetString("reply"), "answer");
  reply->Release();
  message->Release();
  bus.wait_idle();
}

}  // namespace
