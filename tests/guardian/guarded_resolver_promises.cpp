// The order of question, request and report, and what a report says.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "guardian/guarded_resolver.h"
#include "guardian/guarded_resolver_test.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::guarded_resolver;
using support::count_lines;
using support::has_line;
using support::has_line_beginning;
using Lines = std::vector<std::string>;

/// Answers as it is told and notes what happens to it.
class ScriptedResolver final : public cloud::IRequestResolver {
 public:
  explicit ScriptedResolver(Lines& lines) : lines_(lines) {}
  ~ScriptedResolver() override { lines_.push_back("resolver ends"); }

  std::uint32_t resolve(const cloud::upload_request& request,
                        cloud::upload_observer* observer) override {
    lines_.push_back("upload " + std::string(request.service.c_str()) +
                     (observer != nullptr ? " observed" : ""));
    return upload_result;
  }
  cloud::request_status resolve(const cloud::technology_request& request,
                                cloud::request_reply& reply) override {
    return send("technology " + std::string(request.service.c_str()), reply);
  }
  cloud::request_status resolve(const cloud::connect_request& request,
                                cloud::request_reply& reply) override {
    return send("connect " + std::string(request.service.c_str()), reply);
  }
  std::uint32_t set_proxy(const cloud::proxy_settings& settings,
                          cloud::proxy_target target) override {
    lines_.push_back("set_proxy " + std::string(settings.host.c_str()) + " " +
                     std::to_string(static_cast<std::uint32_t>(target)));
    return 71;
  }
  std::uint32_t disable_proxy(cloud::proxy_target target) override {
    lines_.push_back("disable_proxy " + std::to_string(static_cast<std::uint32_t>(target)));
    return 72;
  }

  cloud::request_status status;
  cloud::request_reply answer;
  std::uint32_t upload_result = 0;

 private:
  cloud::request_status send(std::string line, cloud::request_reply& reply) {
    lines_.push_back(std::move(line));
    reply = answer;
    return status;
  }

  Lines& lines_;
};

/// Notes questions and outcomes in the same place.
class NotingBreaker final : public cloud::guardian::ICircuitBreaker {
 public:
  explicit NotingBreaker(Lines& lines) : lines_(lines) {}
  ~NotingBreaker() override { lines_.push_back("breaker ends"); }

  void process_request_succeded(const char* service) override {
    lines_.push_back("success " + std::string(service));
  }
  void process_request_server_error(const char* service, const request_failure& failure) override {
    lines_.push_back("failure " + std::string(service) + " " + std::to_string(failure.field) + " " +
                     failure.value + " " + failure.method);
  }
  void process_request_server_error(const char* service) override {
    lines_.push_back("failure " + std::string(service));
  }
  bool IsSendAllowed(const std::string& service) override {
    lines_.push_back("allowed? " + service);
    return allow;
  }

  bool allow = true;

 private:
  Lines& lines_;
};

class GuardedResolver : public testing::Test {
 protected:
  GuardedResolver() {
    auto made_inner = std::make_unique<ScriptedResolver>(lines);
    auto made_breaker = std::make_unique<NotingBreaker>(lines);
    inner = made_inner.get();
    breaker = made_breaker.get();
    resolver = std::make_unique<guarded_resolver>(std::move(made_inner), std::move(made_breaker));
    reply.text = "untouched";
    reply.code = 12345;
  }

  cloud::request_status connect(const char* service = "svc", const char* method = "do") {
    cloud::connect_request request;
    if (service != nullptr) request.service = service;
    if (method != nullptr) request.request_method = method;
    return resolver->resolve(request, reply);
  }
  cloud::request_status technology(const char* service = "svc") {
    cloud::technology_request request;
    if (service != nullptr) request.service = service;
    return resolver->resolve(request, reply);
  }
  std::uint32_t upload(const char* service = "svc") {
    cloud::upload_request request;
    if (service != nullptr) request.service = service;
    request.path = "file";
    return resolver->resolve(request, &progress);
  }
  /// The outcome of a connect request that ends so.
  std::string outcome(cloud::request_status status, std::int32_t code = 0, const char* text = "") {
    lines.clear();
    inner->status = status;
    inner->answer.code = code;
    inner->answer.text = text;
    const cloud::request_status got = connect();
    EXPECT_TRUE(is(got, status.error_type, status.code)) << "the caller gets what came";
    EXPECT_EQ(lines.size(), 3u);
    return lines.back();
  }

  Lines lines;
  ScriptedResolver* inner = nullptr;
  NotingBreaker* breaker = nullptr;
  std::unique_ptr<guarded_resolver> resolver;
  cloud::request_reply reply;
  CountingUpload progress;
};

TEST_F(GuardedResolver, AsksThenSendsThenReports) {
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_EQ(lines, (Lines{"allowed? svc", "connect svc", "success svc"}));
  lines.clear();
  EXPECT_TRUE(is(technology(), 0, 0));
  EXPECT_EQ(lines, (Lines{"allowed? svc", "technology svc", "success svc"}));
  lines.clear();
  EXPECT_EQ(upload(), 0u);
  EXPECT_EQ(lines, (Lines{"allowed? svc", "upload svc observed", "success svc"}));
}

TEST_F(GuardedResolver, GoesNoFurtherThanTheQuestionWhenRefused) {
  support::RecordingLog log;
  breaker->allow = false;
  EXPECT_TRUE(is(connect(), 1, 5));
  EXPECT_TRUE(is(technology(), 1, 5));
  EXPECT_EQ(upload(), 5u);
  EXPECT_EQ(lines, (Lines{"allowed? svc", "allowed? svc", "allowed? svc"}));
  EXPECT_STREQ(reply.text.c_str(), "untouched");
  EXPECT_EQ(reply.code, 12345);
  EXPECT_EQ(count_lines(log, 8, L"open circuit for service svc"), 3u);
  EXPECT_EQ(log.texts().size(), 3u);
}

TEST_F(GuardedResolver, ReadsAServiceThatIsNullAsAnEmptyOne) {
  support::RecordingLog log;
  connect(nullptr);
  technology(nullptr);
  upload(nullptr);
  EXPECT_EQ(lines, (Lines{"allowed? ", "connect ", "success ", "allowed? ", "technology ",
                          "success ", "allowed? ", "upload  observed", "success "}));
  breaker->allow = false;
  connect(nullptr);
  EXPECT_TRUE(has_line(log, 8, L"open circuit for service "));
}

TEST_F(GuardedResolver, HasAFailureOnThisSideForASuccess) {
  EXPECT_EQ(outcome({1, 13}), "success svc");
  EXPECT_EQ(outcome({1, 20011}), "success svc");
}

TEST_F(GuardedResolver, HasAFailureOfTheClientForOneOfTheServer) {
  for (const std::uint32_t code : {20014u, 20013u, 20011u, 20031u, 20032u, 20029u, 20012u}) {
    EXPECT_EQ(outcome({2, code}), "failure svc 0 " + std::to_string(code) + " do");
  }
}

TEST_F(GuardedResolver, HasAnyOtherNumberOfTheClientForASuccess) {
  for (const std::uint32_t code : {99u, 20010u, 20015u, 20030u, 20033u, 32003u}) {
    EXPECT_EQ(outcome({2, code}), "success svc");
  }
}

TEST_F(GuardedResolver, HasTwoCodesOfAReplyForFailures) {
  EXPECT_EQ(outcome({0, 0}, 32003), "failure svc 1 32003 do");
  EXPECT_EQ(outcome({0, 0}, 32004), "failure svc 1 32004 do");
  EXPECT_EQ(outcome({0, 0}, 32002), "success svc");
  EXPECT_EQ(outcome({0, 0}, -32003), "success svc");
}

TEST_F(GuardedResolver, HasADetailedCodeForAFailureByItsDetail) {
  for (const char* detail : {"1002", "1011", "1012", "1013"}) {
    const std::string text = R"({"code":)" + std::string(detail) + "}";
    EXPECT_EQ(outcome({0, 0}, 32005, text.c_str()),
              "failure svc 2 32005." + std::string(detail) + " do");
  }
  for (const char* text :
       {R"({"code":1})", R"({"code":1003})", R"({"code":"1011"})", R"({"code":1011.0})",
        R"({"data":{"code":1011}})", "[1011]", "", "{", "not JSON"}) {
    EXPECT_EQ(outcome({0, 0}, 32005, text), "success svc") << text;
  }
}

TEST_F(GuardedResolver, TakesADetailByItsLow32Bits) {
  EXPECT_EQ(outcome({0, 0}, 32005, R"({"code":4294968307})"), "failure svc 2 32005.1011 do");
  EXPECT_EQ(outcome({0, 0}, 32005, R"({"code":18446744073709551615})"), "success svc");
}

TEST_F(GuardedResolver, HasACodeThatNeedsNoDetailForAFailureWhateverTheDetail) {
  EXPECT_EQ(outcome({0, 0}, 32003, R"({"code":1011})"), "failure svc 1 32003 do");
  EXPECT_EQ(outcome({0, 0}, 32004, "not JSON"), "failure svc 1 32004 do");
}

TEST_F(GuardedResolver, GoesByTheReplyWhereTheStatusIsOfNoKnownKind) {
  EXPECT_EQ(outcome({3, 20011}, 32003), "failure svc 1 32003 do");
  EXPECT_EQ(outcome({3, 20011}), "success svc");
  EXPECT_EQ(outcome({0, 20011}), "success svc");
  EXPECT_EQ(outcome({2, 0}, 32003), "failure svc 1 32003 do");
  EXPECT_EQ(outcome({1, 0}, 32003), "failure svc 1 32003 do");
}

TEST_F(GuardedResolver, TracesTheSortingOnlyWhereThereIsSomethingToSort) {
  const support::RecordingLog log;
  const auto scopes = [&](const wchar_t* name) {
    std::size_t entries = 0;
    for (const support::LogLine& line : log.lines(32)) {
      entries += line.depth == 1 && line.function.ends_with(name) ? 1 : 0;
    }
    return entries;
  };
  outcome({0, 0});
  EXPECT_EQ(log.lines(32).size(), 0u);
  outcome({1, 13});
  EXPECT_EQ(scopes(L"on_generic_request_error"), 1u);
  outcome({2, 99});
  EXPECT_EQ(scopes(L"on_cirrel_request_error"), 1u);
  outcome({0, 0}, 32002);
  EXPECT_EQ(scopes(L"on_request_reply_error"), 1u);
  EXPECT_EQ(log.lines(32).size(), 6u);
}

TEST_F(GuardedResolver, DoesNotReadTheTextOfAReplyWithoutACode) {
  support::RecordingLog log;
  EXPECT_EQ(outcome({0, 0}, 0, "not JSON"), "success svc");
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_EQ(outcome({0, 0}, 32005, "not JSON"), "success svc");
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex: "));
}

TEST_F(GuardedResolver, TellsNoDetailOfOtherRequests) {
  inner->status = {2, 20011};
  technology();
  inner->status = {0, 0};
  inner->answer.code = 32003;
  technology();
  inner->answer.code = 32005;
  inner->answer.text = R"({"code":1011})";
  technology();
  inner->upload_result = 20012;
  EXPECT_EQ(upload(), 20012u);
  inner->upload_result = 87;
  EXPECT_EQ(upload(), 87u);
  std::erase_if(lines, [](const std::string& line) {
    return !line.starts_with("failure") && !line.starts_with("success");
  });
  EXPECT_EQ(lines,
            (Lines{"failure svc", "failure svc", "failure svc", "failure svc", "success svc"}));
}

TEST_F(GuardedResolver, CountsAConnectRequestWithoutAMethodWithAnEmptyOne) {
  inner->status = {2, 20011};
  connect("svc", "");
  EXPECT_EQ(lines.back(), "failure svc 0 20011 ");
}

TEST_F(GuardedResolver, PassesProxiesThroughUnasked) {
  breaker->allow = false;
  cloud::proxy_settings settings;
  settings.host = "proxy";
  EXPECT_EQ(resolver->set_proxy(settings, cloud::proxy_target::technology), 71u);
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::per_service), 72u);
  EXPECT_EQ(lines, (Lines{"set_proxy proxy 1", "disable_proxy 2"}));
}

TEST_F(GuardedResolver, EndsTheBreakerBeforeTheResolver) {
  resolver.reset();
  EXPECT_EQ(lines, (Lines{"breaker ends", "resolver ends"}));
}

}  // namespace
