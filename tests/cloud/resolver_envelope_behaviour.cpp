#include <gtest/gtest.h>

#include <string>

#include "support/ResolverTest.h"

namespace {

using support::is_status;

/// The envelope of a connect request, byte for byte: the client library sends it as it is.
class Envelope : public support::ResolverTest {
 protected:
  Envelope() {
    make_resolver();
    request.service = "svc";
    request.request_method = "do";
  }

  std::string envelope() {
    EXPECT_TRUE(is_status(resolver->resolve(request, reply), 0, 0));
    return client.last_ask().body;
  }

  void expect_refused() {
    const std::size_t asked = client.asks().size();
    EXPECT_TRUE(is_status(resolver->resolve(request, reply), 1, 13));
    EXPECT_EQ(client.asks().size(), asked);
  }

  cloud::connect_request request;
};

TEST_F(Envelope, OfNothingButAMethodHasEmptyParams) {
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {}})");
}

TEST_F(Envelope, WithoutIdentitiesHasTheMessageAlone) {
  request.message = R"({"a":1})";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {"a": 1}})");
}

TEST_F(Envelope, HasSourceThenDestinationThenMessage) {
  request.source.app_id = "app";
  request.source.device_id = "dev";
  request.source.user_token = "tok";
  request.destination.device_id = "to_dev";
  request.destination.app_id = "to_app";
  request.message = R"({"x": [1, 2.5, "t", null, true, {"y": {}}]})";

  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {)"
            R"("connect_source": {"app_id": "app", "user_token": "tok", "device_id": "dev"}, )"
            R"("connect_destination": {"app_id": "to_app", "device_id": "to_dev"}, )"
            R"("x": [1, 2.5, "t", null, true, {"y": {}}]}})");
}

TEST_F(Envelope, OfAnEmptyMessageHoldsTheIdentityAlone) {
  request.source.app_id = "app";
  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {)"
            R"("connect_source": {"app_id": "app", "user_token": "", "device_id": ""}}})");
}

TEST_F(Envelope, OfASourceWithADeviceAloneHasAllThreeKeys) {
  request.source.device_id = "dev";
  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {)"
            R"("connect_source": {"app_id": "", "user_token": "", "device_id": "dev"}}})");
}

TEST_F(Envelope, OfASourceWithATokenAloneHasAllThreeKeys) {
  request.source.user_token = "tok";
  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {)"
            R"("connect_source": {"app_id": "", "user_token": "tok", "device_id": ""}}})");
}

TEST_F(Envelope, OfADestinationWithOneHalfHasBothKeys) {
  request.destination.device_id = "dev";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {)"
                        R"("connect_destination": {"app_id": "", "device_id": "dev"}}})");
  request.destination.device_id = "";
  request.destination.app_id = "app";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 2, "params": {)"
                        R"("connect_destination": {"app_id": "app", "device_id": ""}}})");
}

TEST_F(Envelope, OfAnArrayAddsNothing) {
  request.message = "[1]";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {}})");
}

TEST_F(Envelope, TakesTheMembersOfTheMessageInTheOrderOfTheirKeys) {
  request.message = R"({"b": 1, "\u00e9": 2, "a": 3, "Z": 4, "aa": 5, "": 6})";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": )"
                        "{\"\": 6, \"Z\": 4, \"a\": 3, \"aa\": 5, \"b\": 1, \"\xc3\xa9\": 2}}");
}

TEST_F(Envelope, LeavesTheOrderInsideAMemberAlone) {
  request.message = R"({"m": {"z": 1, "a": 2}})";
  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {"m": {"z": 1, "a": 2}}})");
}

TEST_F(Envelope, LetsTheMessageReplaceTheIdentities) {
  request.source.app_id = "app";
  request.destination.app_id = "to_app";
  request.message = R"({"connect_destination": null, "connect_source": "mine"})";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": )"
                        R"({"connect_source": "mine", "connect_destination": null}})");
}

TEST_F(Envelope, DoesNotTakeTheMessagesOwnParams) {
  request.message = R"({"id": 99, "jsonrpc": "1", "params": {"p": 1}})";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": )"
                        R"({"id": 99, "jsonrpc": "1", "params": {"p": 1}}})");
}

TEST_F(Envelope, CarriesTextOfAnyScriptAndEscapesWhatItMust) {
  request.request_method = "m\"\\/\n\xe4\xb8\xad";
  request.source.app_id = "\xf0\x9f\x98\x80";
  EXPECT_EQ(envelope(),
            "{\"jsonrpc\": \"2.0\", \"method\": \"m\\\"\\\\/\\n\xe4\xb8\xad\", \"id\": 1, "
            "\"params\": {\"connect_source\": {\"app_id\": \"\xf0\x9f\x98\x80\", "
            "\"user_token\": \"\", \"device_id\": \"\"}}}");
}

TEST_F(Envelope, OfAnEmptyMethodKeepsTheKey) {
  request.request_method = "";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "", "id": 1, "params": {}})");
}

TEST_F(Envelope, GoesToTheServiceWithTimeoutAndFormat) {
  request.timeout = 4294967295U;
  const std::string body = envelope();

  const support::Ask ask = client.last_ask();
  EXPECT_EQ(ask.service, "svc");
  EXPECT_EQ(ask.timeout, 4294967295U);
  EXPECT_EQ(ask.format, 1U);
  EXPECT_EQ(ask.instance, "shared");
  EXPECT_EQ(ask.body.size(), body.size());
}

TEST_F(Envelope, OfANamelessServiceGoesToAnEmptyName) {
  request.service = cloud::text();
  envelope();
  EXPECT_EQ(client.last_ask().service, "");
}

TEST_F(Envelope, IsLoggedWithItsService) {
  const std::string body = envelope();
  EXPECT_LOGGED(log, 16, L"cloud::CirrelResolver::resolve",
                L"service: svc request: " + std::wstring(body.begin(), body.end()));
  EXPECT_TRUE(log.traced(L"cloud::CirrelResolver::resolve"));
}

TEST_F(Envelope, IsNumberedFromOneAndARefusedMessageSpendsNoNumber) {
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {}})");
  request.message = "5";
  expect_refused();
  request.message = "";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 2, "params": {}})");
}

TEST_F(Envelope, IsNumberedByEachResolverForItself) {
  envelope();
  make_resolver();
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": {}})");
}

TEST_F(Envelope, IsNumberedAlsoWhenTheLibraryFails) {
  client.answer_next(support::answer_failure(7));
  EXPECT_TRUE(is_status(resolver->resolve(request, reply), 2, 7));
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 2, "params": {}})");
}

// The number is taken before the envelope is packed.
TEST_F(Envelope, ThatCannotBeWrittenIsRefusedButSpendsItsNumber) {
  request.request_method = "\xff\xfe";
  expect_refused();
  request.request_method = "do";
  EXPECT_EQ(envelope(), R"({"jsonrpc": "2.0", "method": "do", "id": 2, "params": {}})");
}

TEST_F(Envelope, OfASourceThatIsNotUtf8NeverCarriesIt) {
  request.source.app_id = "\xff";
  resolver->resolve(request, reply);
  for (const support::Ask& ask : client.asks()) {
    EXPECT_EQ(ask.body.find('\xff'), std::string::npos);
  }
}

TEST_F(Envelope, OfAMessageOfSeveralMegabytesArrivesWhole) {
  const std::string value(4 << 20, 'x');
  const std::string message = R"({"v": ")" + value + R"("})";
  request.message = message.c_str();
  EXPECT_EQ(envelope(),
            R"({"jsonrpc": "2.0", "method": "do", "id": 1, "params": )" + message + "}");
}

struct Message {
  const char* name;
  std::string text;
};

class MessageThatIsNotJson : public Envelope, public testing::WithParamInterface<Message> {};

TEST_P(MessageThatIsNotJson, IsRefusedWithALineAndNothingIsSent) {
  request.message = GetParam().text.c_str();
  expect_refused();
  EXPECT_LOGGED(log, 4, L"cloud::CirrelResolver::generate_request_json",
                L"request message is not a valid json");
}

INSTANTIATE_TEST_SUITE_P(
    , MessageThatIsNotJson,
    testing::Values(Message{"ANumber", "5"}, Message{"AString", "\"text\""},
                    Message{"True", "true"}, Message{"Null", "null"}, Message{"Blank", " "},
                    Message{"Words", "not json"}, Message{"CutShort", R"({"a": )"},
                    Message{"WithATail", R"({"a": 1} x)"}, Message{"TwoObjects", "{}{}"},
                    Message{"SingleQuotes", "{'a': 1}"}, Message{"NotUtf8", "{\"a\": \"\xff\"}"},
                    Message{"HalfASurrogate", R"({"a": "\ud800"})"},
                    Message{"ANulInText", R"({"a\u0000": 1})"},
                    Message{"FiveThousandLevels", std::string(5000, '[') + std::string(5000, ']')},
                    Message{"FiveThousandLevelsInside",
                            "{\"a\": " + std::string(5000, '[') + std::string(5000, ']') + "}"}),
    [](const auto& message) { return message.param.name; });

TEST_F(Envelope, LogsNoInvalidMessageForAnEmptyOne) {
  envelope();
  EXPECT_TRUE(log.nothing_logged(4));
}

}  // namespace
