#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "support/ConnectServerTest.h"

namespace {

std::string text(const zv::StringT<char>& string) {
  return std::string(string.view());
}

class ConnectServerMessages : public support::ConnectServerTest {
 protected:
  ConnectServerMessages() { EXPECT_EQ(init(), 0u); }

  /// The request that a message led to.
  cloud::connect_request request_of(const support::BusFields& fields) {
    requests.forget_asks();
    EXPECT_TRUE(ask(fields).has_value());
    const auto asks = requests.asks();
    EXPECT_EQ(asks.size(), 1u);
    return asks.empty() ? cloud::connect_request{} : asks[0].request;
  }
  void expect_left_alone(const support::BusFields& fields) {
    bus.forget_calls();
    EXPECT_FALSE(ask(fields).has_value());
    EXPECT_TRUE(requests.asks().empty());
    EXPECT_TRUE(bus.calls().empty());
  }
};

TEST_F(ConnectServerMessages, TakesEveryFieldOfTheMessage) {
  const cloud::connect_request request = request_of(message());
  EXPECT_EQ(text(request.service), "svc");
  EXPECT_EQ(request.timeout, 1234u);
  EXPECT_EQ(request.type, cloud::request_type::connect);
  EXPECT_EQ(text(request.request_method), "do");
  EXPECT_EQ(text(request.source.app_id), "their app");
  EXPECT_EQ(text(request.source.device_id), "their device");
  EXPECT_EQ(text(request.source.user_token), "their token");
  EXPECT_EQ(text(request.destination.app_id), "other app");
  EXPECT_EQ(text(request.destination.device_id), "other device");
  EXPECT_EQ(text(request.message), R"({"a": 1})");
}

TEST_F(ConnectServerMessages, TakesAbsentTextsForEmptyOnes) {
  const cloud::connect_request request =
      request_of({{"module", "connect_requests"}, {"method", "resolve_request"}});
  EXPECT_EQ(text(request.service), "");
  EXPECT_EQ(text(request.request_method), "");
  EXPECT_EQ(text(request.source.app_id), "");
  EXPECT_EQ(text(request.source.device_id), "");
  EXPECT_EQ(text(request.source.user_token), "");
  EXPECT_EQ(text(request.destination.app_id), "");
  EXPECT_EQ(text(request.destination.device_id), "");
  EXPECT_EQ(text(request.message), "");
}

TEST_F(ConnectServerMessages, LeavesAnAbsentTimeoutToTheBus) {
  EXPECT_EQ(request_of(message_without("timeout")).timeout, 0u);
  bus.set_absent_number(77);
  EXPECT_EQ(request_of(message_without("timeout")).timeout, 77u);
}

TEST_F(ConnectServerMessages, TakesATimeoutOfZeroAsItIs) {
  support::BusFields fields = message_without("timeout");
  fields.emplace_back("timeout", 0);
  EXPECT_EQ(request_of(fields).timeout, 0u);
}

TEST_F(ConnectServerMessages, PassesOnAnEmptyService) {
  requests.fail({1, 13});
  const auto reply = ask(message_with("service", ""));
  ASSERT_EQ(requests.asks().size(), 1u);
  EXPECT_EQ(text(requests.asks()[0].request.service), "");
  EXPECT_EQ(reply, failure(13, 1));
}

TEST_F(ConnectServerMessages, AsksForTheLocalIdentityAlways) {
  ask(message());
  ask({{"module", "connect_requests"}, {"method", "resolve_request"}});
  const auto asks = requests.asks();
  ASSERT_EQ(asks.size(), 2u);
  EXPECT_TRUE(asks[0].fill_source);
  EXPECT_TRUE(asks[1].fill_source);
}

TEST_F(ConnectServerMessages, BringsAFreshReplyEachTime) {
  requests.answer("[]", 6);
  ask(message());
  ask(message());
  const auto asks = requests.asks();
  ASSERT_EQ(asks.size(), 2u);
  for (const auto& each : asks) {
    EXPECT_EQ(each.reply_capacity, 64u);
    EXPECT_EQ(each.reply_code, 0);
  }
}

TEST_F(ConnectServerMessages, AnswersWithTheReplyAndNoError) {
  requests.answer(R"({"result": 1})");
  EXPECT_EQ(ask(message()), success(R"({"result": 1})", 0));
}

TEST_F(ConnectServerMessages, AnswersWithTheServersErrorBesideTheReply) {
  requests.answer(R"({"error": "no"})", 404);
  EXPECT_EQ(ask(message()), success(R"({"error": "no"})", 404));
  requests.answer("{}", -3);
  EXPECT_EQ(ask(message()), success("{}", -3));
}

TEST_F(ConnectServerMessages, AnswersANullReplyWithAnEmptyText) {
  requests.fail({0, 0});
  EXPECT_EQ(ask(message()), success("", 0));
  requests.answer_by([](const auto&, cloud::request_reply& reply) {
    reply.text = zv::StringT<char>();
    reply.code = 2;
    return cloud::request_status{};
  });
  EXPECT_EQ(ask(message()), success("", 2));
}

TEST_F(ConnectServerMessages, AnswersAFailureWithItsNumberAndItsKind) {
  requests.fail({2, 1001});
  EXPECT_EQ(ask(message()), failure(1001, 2));
}

TEST_F(ConnectServerMessages, AnswersAMissingIdentity) {
  requests.fail({1, 232});
  EXPECT_EQ(ask(message()), failure(232, 1));
}

TEST_F(ConnectServerMessages, AnswersARefusalOfTheBreaker) {
  requests.fail({1, 5});
  EXPECT_EQ(ask(message()), failure(5, 1));
}

TEST_F(ConnectServerMessages, LooksAtTheCodeAlone) {
  // An error's kind without a number is a success, and a kind of 0 beside a number is a failure.
  requests.answer_by([](const auto&, cloud::request_reply& reply) {
    reply.text = "[3]";
    return cloud::request_status{2, 0};
  });
  EXPECT_EQ(ask(message()), success("[3]", 0));
  requests.fail({0, 8});
  EXPECT_EQ(ask(message()), failure(8, 0));
}

TEST_F(ConnectServerMessages, LeavesAReplyOutOfAFailure) {
  requests.answer_by([](const auto&, cloud::request_reply& reply) {
    reply.text = "[3]";
    reply.code = 4;
    return cloud::request_status{2, 9};
  });
  EXPECT_EQ(ask(message()), failure(9, 2));
}

TEST_F(ConnectServerMessages, CarriesTextsInUtf8BothWays) {
  requests.answer("\xe2\x82\xac");
  EXPECT_EQ(ask(message_with("message", "\xc3\xa4")), success("\xe2\x82\xac", 0));
  EXPECT_EQ(text(requests.asks().at(0).request.message), "\xc3\xa4");
}

TEST_F(ConnectServerMessages, LeavesAnotherModulesMessagesAlone) {
  expect_left_alone({});
  expect_left_alone(message_without("module"));
  for (const char* const other : {"", "push", "connect_request", "connect_requestsx",
                                  "Connect_requests", "connect_requests ", "connect_requestz"}) {
    expect_left_alone(message_with("module", other));
  }
}

TEST_F(ConnectServerMessages, LeavesAnotherMethodOfItsModuleToOthers) {
  expect_left_alone(message_without("method"));
  for (const char* const other : {"", "push_register", "resolve_reques", "resolve_requests",
                                  "Resolve_request", "resolve_requesz"}) {
    expect_left_alone(message_with("method", other));
  }
  EXPECT_FALSE(log.traced(request_scope));
}

TEST_F(ConnectServerMessages, LeavesAMessageAloneWhoseModuleOrMethodIsANumber) {
  for (const char* const key : {"module", "method"}) {
    support::BusFields fields = message_without(key);
    fields.emplace_back(key, 1);
    expect_left_alone(fields);
  }
}

TEST_F(ConnectServerMessages, SendsNothingIfTheBusMakesNoMessage) {
  bus.refuse_messages();
  bus.forget_calls();
  EXPECT_FALSE(ask(message()).has_value());
  EXPECT_EQ(requests.asks().size(), 1u);
  EXPECT_EQ(bus.calls(), std::vector<std::string>{"CreateMessage"});
  bus.let_messages_pass();
  EXPECT_EQ(ask(message()), success("{}", 0));
}

TEST_F(ConnectServerMessages, MakesTheReplyAfterTheRequestAndSendsItOnce) {
  requests.answer_by([this](const auto&, cloud::request_reply&) {
    EXPECT_TRUE(bus.calls().empty());
    return cloud::request_status{};
  });
  bus.forget_calls();
  ask(message());
  EXPECT_EQ(bus.calls(), (std::vector<std::string>{"CreateMessage", "SetReply connect.actions"}));
  EXPECT_TRUE(bus.sent().empty());
}

TEST_F(ConnectServerMessages, GivesBackTheReplysMessage) {
  ask(message());
  EXPECT_EQ(bus.messages_alive(), 0u);
  requests.fail({1, 232});
  ask(message());
  EXPECT_EQ(bus.messages_alive(), 0u);
}

TEST_F(ConnectServerMessages, TracesARequest) {
  log.clear();
  ask(message());
  EXPECT_TRUE(log.traced(request_scope));
}

TEST_F(ConnectServerMessages, HoldsUpItsDeliveryForTheLengthOfARequest) {
  const waiting::Gate entered;
  const waiting::Gate leave;
  requests.answer_by([=](const auto&, cloud::request_reply& reply) {
    entered.open();
    leave.wait();
    reply.text = "late";
    return cloud::request_status{};
  });
  std::optional<Reply> reply;
  waiting::Attempt delivery([&] { reply = ask(message()); });
  ASSERT_TRUE(entered.wait());
  EXPECT_FALSE(delivery.is_done());
  leave.open();
  ASSERT_TRUE(delivery.ends());
  EXPECT_EQ(reply, success("late", 0));
}

TEST_F(ConnectServerMessages, HoldsNothingBetweenTwoRequests) {
  requests.answer("first", 5);
  EXPECT_EQ(ask(message()), success("first", 5));
  requests.answer("", 0);
  EXPECT_EQ(ask(message()), success("", 0));
  requests.fail({1, 2});
  EXPECT_EQ(ask(message()), failure(2, 1));
}

}  // namespace
