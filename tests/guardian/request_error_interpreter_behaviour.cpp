#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "guardian/request_error_interpreter.h"
#include "support/OutcomeRecorder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::request_error_interpreter;
using Outcomes = std::vector<std::string>;

class Interpreter : public testing::Test {
 protected:
  void connect(std::uint32_t type, std::uint32_t code, std::int32_t reply_code = 0,
               const char* text = "") {
    interpreter.on_connect_result("svc", "do", {type, code}, reply(reply_code, text));
  }
  void technology(std::uint32_t type, std::uint32_t code, std::int32_t reply_code = 0,
                  const char* text = "") {
    interpreter.on_technology_result("svc", {type, code}, reply(reply_code, text));
  }
  static cloud::request_reply reply(std::int32_t code, const char* text) {
    cloud::request_reply made;
    made.code = code;
    made.text = text;
    return made;
  }

  /// Whether a scope whose name ends so was entered.
  bool traced(const std::wstring& function) const {
    for (const auto& line : log.lines(32)) {
      if (line.depth == 1 && line.text.ends_with(function + L"()")) return true;
    }
    return false;
  }
  bool exception_logged() const {
    for (const auto& line : log.lines(4)) {
      if (line.text.starts_with(L"ex: ") && line.text.size() > 4) return true;
    }
    return false;
  }

  support::RecordingLog log;
  support::OutcomeRecorder breaker;
  request_error_interpreter interpreter{&breaker};
};

TEST_F(Interpreter, TakesAPlainSuccessForOne) {
  connect(0, 0);
  technology(0, 0);
  interpreter.on_upload_result("svc", 0);
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"success svc", "success svc", "success svc"}));
}

TEST_F(Interpreter, TakesAFailureOfThisSystemForASuccess) {
  for (const std::uint32_t code : {5U, 13U, 31U, 232U, 1359U, 20011U}) {
    connect(1, code);
    technology(1, code);
  }
  EXPECT_EQ(breaker.outcomes(), Outcomes(12, "success svc"));
}

TEST_F(Interpreter, CountsEachKnownFailureOfTheClient) {
  for (const std::uint32_t code : {20011U, 20012U, 20013U, 20014U, 20029U, 20031U, 20032U}) {
    const std::string number = std::to_string(code);
    connect(2, code);
    technology(2, code);
    interpreter.on_upload_result("svc", code);
    EXPECT_EQ(breaker.take(),
              (Outcomes{"failure svc 0 " + number + " do", "failure svc", "failure svc"}));
  }
}

TEST_F(Interpreter, TakesEveryOtherNumberOfTheClientForASuccess) {
  for (const std::uint32_t code :
       {99U, 1U, 20010U, 20015U, 20028U, 20030U, 20033U, 32003U, 0xffffffffU}) {
    connect(2, code);
    technology(2, code);
    interpreter.on_upload_result("svc", code);
  }
  EXPECT_EQ(breaker.outcomes(), Outcomes(27, "success svc"));
}

TEST_F(Interpreter, CountsEachKnownFailureInAReply) {
  for (const std::int32_t code : {32003, 32004}) {
    const std::string number = std::to_string(code);
    connect(0, 0, code);
    technology(0, 0, code);
    EXPECT_EQ(breaker.take(), (Outcomes{"failure svc 1 " + number + " do", "failure svc"}));
  }
}

TEST_F(Interpreter, TakesEveryOtherNumberInAReplyForASuccess) {
  for (const std::int32_t code : {1, -32003, 32002, 32005, 32006, 20011, -2147483647 - 1}) {
    connect(0, 0, code);
    technology(0, 0, code);
  }
  EXPECT_EQ(breaker.outcomes(), Outcomes(14, "success svc"));
}

TEST_F(Interpreter, CountsADetailedFailureWithEachOfItsDetails) {
  for (const std::string detail : {"1002", "1011", "1012", "1013"}) {
    const std::string text = R"({"code":)" + detail + "}";
    connect(0, 0, 32005, text.c_str());
    technology(0, 0, 32005, text.c_str());
    EXPECT_EQ(breaker.take(), (Outcomes{"failure svc 2 32005." + detail + " do", "failure svc"}));
  }
}

TEST_F(Interpreter, TakesADetailedCodeWithoutOneOfItsDetailsForASuccess) {
  const std::vector<const char*> texts = {R"({"code":1})",
                                          R"({"code":1003})",
                                          R"({"code":-1011})",
                                          R"({"code":1011.0})",
                                          R"({"code":"1011"})",
                                          R"({"code":null})",
                                          R"({"code":[1011]})",
                                          R"({"Code":1011})",
                                          R"([{"code":1011}])",
                                          R"({"a":{"code":1011}})",
                                          "1011",
                                          ""};
  for (const char* text : texts) {
    connect(0, 0, 32005, text);
    EXPECT_EQ(breaker.take(), Outcomes{"success svc"}) << text;
  }
  EXPECT_FALSE(exception_logged());
}

TEST_F(Interpreter, TakesADetailedCodeWithATextThatIsNotJsonForASuccessAndSaysSo) {
  for (const std::string& text :
       {std::string("no json"), std::string(R"({"code":1011)"), std::string("{\"code\":1011}\xff"),
        std::string(5000, '['), std::string(1 << 20, 'x')}) {
    log.clear();
    connect(0, 0, 32005, text.c_str());
    EXPECT_EQ(breaker.take(), Outcomes{"success svc"});
    EXPECT_TRUE(exception_logged());
  }
}

TEST_F(Interpreter, CountsAReplyByItsCodeAloneIfItsTextIsNotJson) {
  connect(0, 0, 32003, "no json");
  EXPECT_EQ(breaker.outcomes(), Outcomes{"failure svc 1 32003 do"});
  EXPECT_TRUE(exception_logged());
}

TEST_F(Interpreter, DoesNotReadADetailThatItsCodeHasNoUseFor) {
  connect(0, 0, 32003, R"({"code":1011})");
  connect(0, 0, 7, R"({"code":1011})");
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"failure svc 1 32003 do", "success svc"}));
}

TEST_F(Interpreter, DoesNotParseTheTextOfAReplyWithoutACode) {
  connect(0, 0, 0, "no json");
  EXPECT_EQ(breaker.outcomes(), Outcomes{"success svc"});
  EXPECT_FALSE(exception_logged());
}

TEST_F(Interpreter, LooksAtTheReplyWhateverTheTypeIfTheStatusHasNoCode) {
  connect(1, 0, 32003);
  connect(2, 0, 32003);
  EXPECT_EQ(breaker.outcomes(), Outcomes(2, "failure svc 1 32003 do"));
}

TEST_F(Interpreter, LooksAtTheReplyForAStatusOfAnUnknownType) {
  connect(3, 20011, 32004);
  connect(0, 20011);
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"failure svc 1 32004 do", "success svc"}));
}

TEST_F(Interpreter, DoesNotLookAtTheReplyOfAFailedRequest) {
  connect(1, 13, 32003);
  connect(2, 99, 32003);
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"success svc", "success svc"}));
}

TEST_F(Interpreter, DoesNothingWithoutAServiceOrAMethod) {
  interpreter.on_upload_result(nullptr, 20011);
  interpreter.on_technology_result(nullptr, {2, 20011}, {});
  interpreter.on_connect_result(nullptr, "do", {2, 20011}, {});
  interpreter.on_connect_result("svc", nullptr, {2, 20011}, {});
  EXPECT_TRUE(breaker.outcomes().empty());
}

TEST_F(Interpreter, CountsForAnEmptyServiceAndMethod) {
  interpreter.on_upload_result("", 20011);
  interpreter.on_connect_result("", "", {2, 20011}, {});
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"failure ", "failure  0 20011 "}));
}

TEST_F(Interpreter, SettlesByTheStatusAloneIfThatSaysEnough) {
  EXPECT_FALSE(interpreter.on_generic_request_error("svc", "do", {0, 0}));
  EXPECT_FALSE(interpreter.on_generic_request_error("svc", "do", {1, 0}));
  EXPECT_FALSE(interpreter.on_generic_request_error("svc", "do", {0, 5}));
  EXPECT_FALSE(interpreter.on_generic_request_error("svc", "do", {3, 5}));
  EXPECT_TRUE(breaker.outcomes().empty());

  EXPECT_TRUE(interpreter.on_generic_request_error("svc", "do", {1, 5}));
  EXPECT_TRUE(interpreter.on_generic_request_error("svc", nullptr, {2, 20014}));
  EXPECT_EQ(breaker.outcomes(), (Outcomes{"success svc", "failure svc"}));
}

TEST_F(Interpreter, ReadsTheDetailOfAReply) {
  const auto detail = [](const char* text) {
    return request_error_interpreter::get_request_reply_detailed_error_code(reply(1, text));
  };
  EXPECT_EQ(detail(R"({"code":1011,"more":{}})"), 1011);
  EXPECT_EQ(detail(R"({"code":0})"), 0);
  EXPECT_EQ(detail(R"({"code":-7})"), -7);
  EXPECT_EQ(detail(R"({"code":2147483647})"), 2147483647);
  EXPECT_EQ(detail(""), std::nullopt);
  EXPECT_EQ(detail("{}"), std::nullopt);
  EXPECT_EQ(detail("null"), std::nullopt);
  EXPECT_EQ(detail(R"({"code":true})"), std::nullopt);
  EXPECT_EQ(detail(R"({"code":1.5})"), std::nullopt);
}

TEST_F(Interpreter, UsesADetailOnlyIfThereIsOne) {
  interpreter.on_request_reply_error("svc", "do", 32005, std::nullopt);
  interpreter.on_request_reply_error("svc", "do", 32005, 1002);
  interpreter.on_request_reply_error("svc", nullptr, 32005, 1013);
  interpreter.on_request_reply_error("svc", nullptr, 32004, std::nullopt);
  EXPECT_EQ(breaker.outcomes(),
            (Outcomes{"success svc", "failure svc 2 32005.1002 do", "failure svc", "failure svc"}));
}

TEST_F(Interpreter, TracesAGenericErrorOnlyForAFailureOfThisSystem) {
  interpreter.on_generic_request_error("svc", "do", {2, 20011});
  interpreter.on_generic_request_error("svc", "do", {0, 0});
  EXPECT_FALSE(traced(L"on_generic_request_error"));
  EXPECT_TRUE(traced(L"on_cirrel_request_error"));

  interpreter.on_generic_request_error("svc", "do", {1, 13});
  EXPECT_TRUE(traced(L"on_generic_request_error"));
}

TEST_F(Interpreter, TracesAnErrorInAReply) {
  connect(0, 0, 7);
  EXPECT_TRUE(traced(L"on_request_reply_error"));
  EXPECT_FALSE(traced(L"on_cirrel_request_error"));
}

}  // namespace
