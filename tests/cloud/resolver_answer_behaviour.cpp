#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/ResolverTest.h"

namespace {

using support::answer_text;
using support::is_status;

class AnswerTest : public support::ResolverTest {
 protected:
  AnswerTest() {
    make_resolver();
    reply.text = "former";
    reply.code = -3;
  }

  void expect_reply(const cloud::request_status& status, const std::string& text,
                    std::int32_t code) {
    EXPECT_TRUE(is_status(status, 0, 0));
    EXPECT_EQ(std::string(reply.text.view()), text);
    EXPECT_EQ(reply.code, code);
  }

  void expect_untouched_reply(const cloud::request_status& status, std::uint32_t code) {
    EXPECT_TRUE(is_status(status, 1, code));
    EXPECT_EQ(std::string(reply.text.view()), "former");
    EXPECT_EQ(reply.code, -3);
  }

  void expect_all_wiped(std::size_t count) {
    const auto freed = client.freed();
    ASSERT_EQ(freed.size(), count);
    for (const auto& response : freed) {
      const std::string used = response.content.substr(0, response.size);
      EXPECT_EQ(used, std::string(used.size(), '\0'));
    }
  }
};

struct GoodAnswer {
  const char* name;
  std::string answer;
  std::string text;
  std::int32_t code;
};

class ConnectAnswer : public AnswerTest, public testing::WithParamInterface<GoodAnswer> {};

TEST_P(ConnectAnswer, FillsTheReply) {
  client.answer(answer_text(GetParam().answer));
  expect_reply(connect(), GetParam().text, GetParam().code);
  expect_all_wiped(1);
  EXPECT_TRUE(log.nothing_logged(4));
}

INSTANTIATE_TEST_SUITE_P(
    , ConnectAnswer,
    testing::Values(
        GoodAnswer{"ResultObject", R"({"result":{"b":1,"a":[true]}})", R"({"b": 1, "a": [true]})",
                   0},
        GoodAnswer{"ResultNumber", R"({"result": 5})", "5", 0},
        GoodAnswer{"ResultReal", R"({"result": 2.5})", "2.5", 0},
        GoodAnswer{"ResultText", R"({"result": "t"})", "\"t\"", 0},
        GoodAnswer{"ResultEmptyText", R"({"result": ""})", "\"\"", 0},
        GoodAnswer{"ResultFalse", R"({"result": false})", "false", 0},
        GoodAnswer{"ResultArray", R"({"result": []})", "[]", 0},
        GoodAnswer{"ResultNullIsTheWholeAnswer", R"({"result": null})", R"({"result": null})", 0},
        GoodAnswer{"ResultNullKeepsItsNeighbours", R"({"id":1,"result":null})",
                   R"({"id": 1, "result": null})", 0},
        GoodAnswer{"OtherProtocolVersion", R"({"jsonrpc": "1.0", "id": 77, "result": {}})", "{}",
                   0},
        GoodAnswer{"ErrorNumber", R"({"error": 7})", "", 7},
        GoodAnswer{"ErrorNegativeNumber", R"({"error": -32601})", "", -32601},
        GoodAnswer{"ErrorNumberBeforeResult", R"({"error": 7, "result": {"a": 1}})", "", 7},
        GoodAnswer{"ErrorCode", R"({"error": {"code": 7}})", "", 7},
        GoodAnswer{"ErrorCodeAndData", R"({"error": {"code": 7, "data": {"a": 1}}})", R"({"a": 1})",
                   7},
        GoodAnswer{"ErrorCodeZeroAndData", R"({"error": {"code": 0, "data": {"a": 1}}})",
                   R"({"a": 1})", 0},
        GoodAnswer{"ErrorRealCodeReadsAsZero", R"({"error": {"code": 7.9, "data": {"a": 1}}})",
                   R"({"a": 1})", 0},
        GoodAnswer{"ErrorEmptyData", R"({"error": {"code": 7, "data": {}}})", "{}", 7},
        GoodAnswer{"ErrorDataArrayIsNotTaken", R"({"error": {"code": 7, "data": [1]}})", "", 7},
        GoodAnswer{"ErrorDataNullIsNotTaken", R"({"error": {"code": 7, "data": null}})", "", 7},
        GoodAnswer{"Spaces", " \n{\"result\":\t{} }\r\n ", "{}", 0}),
    [](const auto& answer) { return answer.param.name; });

class TechnologyAnswer : public AnswerTest, public testing::WithParamInterface<GoodAnswer> {};

TEST_P(TechnologyAnswer, FillsTheReply) {
  client.answer(answer_text(GetParam().answer));
  expect_reply(technology(), GetParam().text, GetParam().code);
  expect_all_wiped(1);
}

INSTANTIATE_TEST_SUITE_P(
    , TechnologyAnswer,
    testing::Values(GoodAnswer{"Object", R"({"x":1})", R"({"x": 1})", 0},
                    GoodAnswer{"Array", "[1]", "[1]", 0}, GoodAnswer{"EmptyObject", "{}", "{}", 0},
                    GoodAnswer{"ResultIsNotInterpreted", R"({"result": {"a": 1}})",
                               R"({"result": {"a": 1}})", 0},
                    GoodAnswer{"ErrorNumber", R"({"error": 7})", "", 7},
                    GoodAnswer{"ErrorCodeAndData", R"({"error": {"code": 7, "data": {"a": 1}}})",
                               R"({"a": 1})", 7},
                    GoodAnswer{"ArrayWithAnError", R"([{"error": 7}])", R"([{"error": 7}])", 0}),
    [](const auto& answer) { return answer.param.name; });

struct BadAnswer {
  const char* name;
  std::string answer;
  std::uint32_t connect_code;
  std::uint32_t technology_code;
};

class UnusableAnswer : public AnswerTest, public testing::WithParamInterface<BadAnswer> {};

TEST_P(UnusableAnswer, EndsAConnectRequestAndLeavesTheReply) {
  client.answer(answer_text(GetParam().answer));
  expect_untouched_reply(connect(), GetParam().connect_code);
  expect_all_wiped(1);
}

TEST_P(UnusableAnswer, EndsATechnologyRequestAndLeavesTheReply) {
  client.answer(answer_text(GetParam().answer));
  expect_untouched_reply(technology(), GetParam().technology_code);
  expect_all_wiped(1);
}

INSTANTIATE_TEST_SUITE_P(
    , UnusableAnswer,
    testing::Values(
        BadAnswer{"Empty", "", 31, 31}, BadAnswer{"Blank", "  ", 31, 31},
        BadAnswer{"CutShort", R"({"result": {"a": )", 31, 31},
        BadAnswer{"WithATail", R"({"result": 1} x)", 31, 31}, BadAnswer{"Scalar", "5", 31, 31},
        BadAnswer{"Words", "<html></html>", 31, 31},
        BadAnswer{"NotUtf8", "{\"result\": \"\xc3\x28\"}", 31, 31},
        BadAnswer{"FiveThousandLevels", std::string(5000, '[') + std::string(5000, ']'), 31, 31},
        BadAnswer{"FiveThousandLevelsInside",
                  R"({"result": )" + std::string(5000, '[') + std::string(5000, ']') + "}", 31, 31},
        BadAnswer{"NulInside", std::string("{\"result\": {}\0}", 15), 31, 31},
        BadAnswer{"NulAtTheEnd", std::string("{\"result\": {}}\0", 15), 31, 31},
        BadAnswer{"ErrorNull", R"({"error": null})", 13, 13},
        BadAnswer{"ErrorText", R"({"error": "7"})", 13, 13},
        BadAnswer{"ErrorTrue", R"({"error": true})", 13, 13},
        BadAnswer{"ErrorArray", R"({"error": [7]})", 13, 13},
        BadAnswer{"ErrorEmpty", R"({"error": {}})", 13, 13},
        BadAnswer{"ErrorDataAlone", R"({"error": {"data": {}}})", 13, 13},
        BadAnswer{"ErrorCodeText", R"({"error": {"code": "7"}})", 13, 13},
        BadAnswer{"ErrorCodeNull", R"({"error": {"code": null}, "result": 1})", 13, 13},
        BadAnswer{"ErrorZero", R"({"error": 0})", 31, 31},
        BadAnswer{"ErrorRealReadsAsZero", R"({"error": 7.9})", 31, 31},
        BadAnswer{"ErrorCodeZero", R"({"error": {"code": 0}})", 31, 31}),
    [](const auto& answer) { return answer.param.name; });

TEST_F(AnswerTest, WithoutResultOrErrorIsUnusableToAConnectRequest) {
  client.answer(answer_text(R"({"x": 1})"));
  expect_untouched_reply(connect(), 31);
  client.answer(answer_text("{}"));
  expect_untouched_reply(connect(), 31);
}

TEST_F(AnswerTest, ThatIsAnArrayIsUnusableToAConnectRequest) {
  client.answer(answer_text("[1]"));
  expect_untouched_reply(connect(), 31);
}

TEST_F(AnswerTest, WithoutATextOrAResponseIsUnusableAndNothingIsFreed) {
  support::Answer no_text;
  client.answer(no_text);
  expect_untouched_reply(connect(), 31);
  expect_untouched_reply(technology(), 31);

  support::Answer no_response;
  no_response.has_response = false;
  client.answer(no_response);
  expect_untouched_reply(connect(), 31);
  expect_untouched_reply(technology(), 31);

  EXPECT_EQ(log.count(4, L"cloud::CirrelResolver::convert", L"Null response from server"), 4U);
  EXPECT_TRUE(client.freed().empty());
  kept_responses = 2;
}

TEST_F(AnswerTest, IsLoggedAsItCame) {
  client.answer(answer_text(R"({"result":{}})"));
  connect();
  EXPECT_LOGGED(log, 16, L"cloud::CirrelResolver::convert", L"server response: {\"result\":{}}");
}

TEST_F(AnswerTest, ThatFailsToBeReadIsLogged) {
  client.answer(answer_text(R"({"error": {}})"));
  connect();
  client.answer(answer_text("[]"));
  connect();
  EXPECT_EQ(
      log.count(16, L"cloud::CirrelResolver::parse_server_response", L"ParseServerResponse failed"),
      2U);
}

TEST_F(AnswerTest, ThatReadsAsNothingIsNotLoggedAsAFailure) {
  client.answer(answer_text(R"({"x": 1})"));
  connect();
  client.answer(answer_text("rubbish"));
  technology();
  EXPECT_EQ(
      log.count(16, L"cloud::CirrelResolver::parse_server_response", L"ParseServerResponse failed"),
      0U);
}

TEST_F(AnswerTest, IsTakenUpToItsSizeAndWipedUpToIt) {
  support::Answer answer = answer_text(R"({"result": 1}, and more)");
  answer.size = 13;
  client.answer(answer);

  expect_reply(connect(), "1", 0);

  const auto freed = client.freed();
  ASSERT_EQ(freed.size(), 1U);
  EXPECT_EQ(freed[0].content, std::string(13, '\0') + ", and more");
}

TEST_F(AnswerTest, OfSizeZeroIsEmptyWhateverItsText) {
  support::Answer answer = answer_text(R"({"result": 1})");
  answer.size = 0;
  client.answer(answer);

  expect_untouched_reply(connect(), 31);
  ASSERT_EQ(client.freed().size(), 1U);
  EXPECT_EQ(client.freed()[0].content, R"({"result": 1})");
}

// Compared without printing: a failure shall not fill the terminal.
TEST_F(AnswerTest, OfSeveralMegabytesIsReadAndWiped) {
  const std::string value = "\"" + std::string(5 << 20, 'y') + "\"";
  client.answer(answer_text(R"({"result": )" + value + "}"));
  EXPECT_TRUE(is_status(connect(), 0, 0));
  EXPECT_TRUE(reply.text.view() == value);

  client.answer(answer_text(std::string(5 << 20, 'z')));
  EXPECT_TRUE(is_status(technology(), 1, 31));
  EXPECT_TRUE(reply.text.view() == value);

  const auto freed = client.freed();
  ASSERT_EQ(freed.size(), 2U);
  for (const auto& response : freed) {
    EXPECT_TRUE(response.content == std::string(response.content.size(), '\0'));
  }
}

TEST_F(AnswerTest, GoesBackThroughTheClientThatGaveIt) {
  connect();
  technology();
  const auto freed = client.freed();
  ASSERT_EQ(freed.size(), 2U);
  EXPECT_EQ(freed[0].road, zvnc::Road::table);
  EXPECT_EQ(freed[1].road, zvnc::Road::library);
}

TEST_F(AnswerTest, IsNotLookedAtAfterAFailedAsk) {
  client.answer(support::answer_failure(20011));

  cloud::request_status status = connect();
  EXPECT_TRUE(is_status(status, 2, 20011));
  status = technology();
  EXPECT_TRUE(is_status(status, 2, 20011));

  EXPECT_EQ(log.count(16, L"cloud::CirrelResolver::resolve", L"cirrel ask failed with code 20011"),
            2U);
  EXPECT_EQ(std::string(reply.text.view()), "former");
  EXPECT_TRUE(client.freed().empty());
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(AnswerTest, LeavesAnyNumberOfTheLibraryAsItIs) {
  for (const std::uint32_t number : {1U, 5U, 0x80004005U, 0xffffffffU}) {
    client.answer(support::answer_failure(number));
    EXPECT_TRUE(is_status(connect(), 2, number));
  }
}

}  // namespace
