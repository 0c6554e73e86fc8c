// What stands between a request and the cloud: the real breaker, its stand-in, and the reports.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guardian/guarded_resolver.h"
#include "support/EventsRecorder.h"
#include "support/FakeCloudClient.h"
#include "support/FakeHost.h"
#include "support/FakeQuerier.h"
#include "support/GuardianFolder.h"
#include "support/OutcomeRecorder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::guarded_resolver;
using support::answer_failure;
using support::count_lines;
using support::GuardianFolder;
using support::has_line;
using support::has_line_beginning;
using support::stored_circuit;
using Lines = std::vector<std::string>;

bool is(const cloud::request_status& status, std::uint32_t type, std::uint32_t code) {
  return status.error_type == type && status.code == code;
}

struct NoUpload final : cloud::upload_observer {
  void on_progress(const cloud::upload_progress&) override { ++calls; }
  int calls = 0;
};

// the order of things, with given parts

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

class GuardedResolverParts : public testing::Test {
 protected:
  GuardedResolverParts() {
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
  NoUpload progress;
};

TEST_F(GuardedResolverParts, AsksThenSendsThenReports) {
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_EQ(lines, (Lines{"allowed? svc", "connect svc", "success svc"}));
  lines.clear();
  EXPECT_TRUE(is(technology(), 0, 0));
  EXPECT_EQ(lines, (Lines{"allowed? svc", "technology svc", "success svc"}));
  lines.clear();
  EXPECT_EQ(upload(), 0u);
  EXPECT_EQ(lines, (Lines{"allowed? svc", "upload svc observed", "success svc"}));
}

TEST_F(GuardedResolverParts, GoesNoFurtherThanTheQuestionWhenRefused) {
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

TEST_F(GuardedResolverParts, ReadsAServiceThatIsNullAsAnEmptyOne) {
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

TEST_F(GuardedResolverParts, HasAFailureOnThisSideForASuccess) {
  EXPECT_EQ(outcome({1, 13}), "success svc");
  EXPECT_EQ(outcome({1, 20011}), "success svc");
}

TEST_F(GuardedResolverParts, HasAFailureOfTheClientForOneOfTheServer) {
  for (const std::uint32_t code : {20014u, 20013u, 20011u, 20031u, 20032u, 20029u, 20012u}) {
    EXPECT_EQ(outcome({2, code}), "failure svc 0 " + std::to_string(code) + " do");
  }
}

TEST_F(GuardedResolverParts, HasAnyOtherNumberOfTheClientForASuccess) {
  for (const std::uint32_t code : {99u, 20010u, 20015u, 20030u, 20033u, 32003u}) {
    EXPECT_EQ(outcome({2, code}), "success svc");
  }
}

TEST_F(GuardedResolverParts, HasTwoCodesOfAReplyForFailures) {
  EXPECT_EQ(outcome({0, 0}, 32003), "failure svc 1 32003 do");
  EXPECT_EQ(outcome({0, 0}, 32004), "failure svc 1 32004 do");
  EXPECT_EQ(outcome({0, 0}, 32002), "success svc");
  EXPECT_EQ(outcome({0, 0}, -32003), "success svc");
}

TEST_F(GuardedResolverParts, HasADetailedCodeForAFailureByItsDetail) {
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

TEST_F(GuardedResolverParts, DoesNotReadTheTextOfAReplyWithoutACode) {
  support::RecordingLog log;
  EXPECT_EQ(outcome({0, 0}, 0, "not JSON"), "success svc");
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_EQ(outcome({0, 0}, 32005, "not JSON"), "success svc");
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex: "));
}

TEST_F(GuardedResolverParts, TellsNoDetailOfOtherRequests) {
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

TEST_F(GuardedResolverParts, CountsAConnectRequestWithoutAMethodWithAnEmptyOne) {
  inner->status = {2, 20011};
  connect("svc", "");
  EXPECT_EQ(lines.back(), "failure svc 0 20011 ");
}

TEST_F(GuardedResolverParts, PassesProxiesThroughUnasked) {
  breaker->allow = false;
  cloud::proxy_settings settings;
  settings.host = "proxy";
  EXPECT_EQ(resolver->set_proxy(settings, cloud::proxy_target::technology), 71u);
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::per_service), 72u);
  EXPECT_EQ(lines, (Lines{"set_proxy proxy 1", "disable_proxy 2"}));
}

TEST_F(GuardedResolverParts, EndsTheBreakerBeforeTheResolver) {
  resolver.reset();
  EXPECT_EQ(lines, (Lines{"breaker ends", "resolver ends"}));
}

// with the breaker that it builds itself

class GuardedResolver : public testing::Test {
 protected:
  GuardedResolver() : events(folder.path()) {
    client.load_library();
    std::ofstream(folder.path() / "settings" / "cloud_services_settings.json")
        << R"({"categories": {}, "services": {}})";
    reply.text = "untouched";
  }

  void make() {
    resolver = std::make_unique<guarded_resolver>(client.table(), client.shared_instance());
  }
  void make(IServMain* host) {
    resolver = std::make_unique<guarded_resolver>(client.table(), client.shared_instance(), host);
  }

  cloud::request_status connect(const char* service = "svc") {
    cloud::connect_request request;
    request.service = service;
    request.request_method = "do";
    return resolver->resolve(request, reply);
  }
  cloud::request_status technology() {
    cloud::technology_request request;
    request.service = "svc";
    request.message = "body";
    return resolver->resolve(request, reply);
  }
  std::uint32_t upload() {
    cloud::upload_request request;
    request.service = "svc";
    request.path = "file";
    return resolver->resolve(request, &progress);
  }
  std::size_t sent() const { return client.asks().size() + client.uploads().size(); }

  /// A circuit that refuses for a while.
  void plant_open(circuit_state state = circuit_state::open) {
    folder.plant("svc", stored_circuit(state, GuardianFolder::start_seconds + 60));
  }
  /// Nothing was built that would refuse.
  void expect_no_guardian() {
    plant_open();
    client.answer(answer_failure(20011));
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(is(connect(), 2, 20011));
    EXPECT_TRUE(is(technology(), 2, 20011));
    client.set_upload_result(20012);
    EXPECT_EQ(upload(), 20012u);
    EXPECT_EQ(sent(), 7u);
    EXPECT_EQ(folder.circuit("svc"),
              stored_circuit(circuit_state::open, GuardianFolder::start_seconds + 60));
    EXPECT_TRUE(events.posted().empty());
  }
  /// The lines behind the first one that begins so.
  std::optional<std::size_t> lines_after(const std::wstring& beginning) const {
    const std::vector<std::wstring> texts = log.texts();
    const auto found = std::find_if(texts.begin(), texts.end(), [&](const std::wstring& text) {
      return text.starts_with(beginning);
    });
    if (found == texts.end()) return std::nullopt;
    return static_cast<std::size_t>(texts.end() - found - 1);
  }

  support::RecordingLog log;
  GuardianFolder folder;
  support::EventsRecorder events;
  support::FakeCloudClient client;
  std::unique_ptr<guarded_resolver> resolver;
  cloud::request_reply reply;
  NoUpload progress;
};

TEST_F(GuardedResolver, SendsNothingForAnOpenCircuit) {
  plant_open();
  make();
  EXPECT_TRUE(is(connect(), 1, 5));
  EXPECT_TRUE(is(technology(), 1, 5));
  EXPECT_EQ(upload(), 5u);
  EXPECT_EQ(sent(), 0u);
  EXPECT_STREQ(reply.text.c_str(), "untouched");
  EXPECT_EQ(progress.calls, 0);
  EXPECT_EQ(count_lines(log, 8, L"open circuit for service svc"), 3u);
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 3);
  EXPECT_EQ(folder.circuit("svc").at("allowed"), 0);
  EXPECT_EQ(folder.circuit("svc").at("state"), 1);
}

TEST_F(GuardedResolver, SendsNothingForAHalfOpenCircuitBeforeItsTime) {
  plant_open(circuit_state::half_open);
  make();
  EXPECT_TRUE(is(connect(), 1, 5));
  EXPECT_EQ(sent(), 0u);
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 1);
  EXPECT_EQ(folder.circuit("svc").at("state"), 2);
}

TEST_F(GuardedResolver, RefusesOnlyTheServiceThatIsOpen) {
  plant_open();
  make();
  EXPECT_TRUE(is(connect("other"), 0, 0));
  EXPECT_EQ(sent(), 1u);
}

TEST_F(GuardedResolver, OpensTheCircuitOfAServiceThatFails) {
  make();
  client.answer(answer_failure(20011));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(is(connect(), 2, 20011));
  EXPECT_TRUE(is(connect(), 1, 5));
  EXPECT_EQ(sent(), 3u);
  ASSERT_EQ(events.posted().size(), 1u);
  const auto errors = events.posted()[0].child_lists.at(L"errors");
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[0].strings.at(L"value"), L"20011");
  EXPECT_EQ(errors[0].strings.at(L"method"), L"do");
}

TEST_F(GuardedResolver, RemembersAFailureWithItsDetail) {
  make();
  client.answer(answer_failure(20011));
  connect();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 1);
  EXPECT_EQ(folder.circuit("svc").at("errors"),
            nlohmann::json::array({support::stored_failure("20011", 0, "do")}));
}

TEST_F(GuardedResolver, CountsFailuresOfOtherRequestsWithoutDetail) {
  make();
  client.answer(answer_failure(20011));
  technology();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 1);
  client.set_upload_result(20012);
  upload();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 2);
  EXPECT_EQ(folder.circuit("svc").at("errors"), nlohmann::json::array());
}

TEST_F(GuardedResolver, ForgetsFailuresAtAFailureOnThisSide) {
  make();
  client.answer(answer_failure(20011));
  connect();
  cloud::connect_request broken;
  broken.service = "svc";
  broken.request_method = "do";
  broken.message = "not JSON";
  const cloud::request_status status = resolver->resolve(broken, reply);
  EXPECT_TRUE(is(status, 1, 13));
  EXPECT_EQ(folder.circuit("svc").at("counter"), 0);
  EXPECT_EQ(folder.circuit("svc").at("errors"), nlohmann::json::array());
}

TEST_F(GuardedResolver, HalfOpensAfterTheProbeThatSucceeds) {
  plant_open();
  make();
  folder.seam().jump_clock_seconds(61);
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_EQ(folder.circuit("svc").at("state"), 2);
  EXPECT_EQ(folder.circuit("svc").at("allowed"), 1);
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 0);
}

TEST_F(GuardedResolver, SetsProxiesWhileACircuitIsOpen) {
  plant_open();
  make();
  client.forget_calls();
  cloud::proxy_settings settings;
  settings.host = "proxy";
  settings.port = 8080;
  EXPECT_EQ(resolver->set_proxy(settings, cloud::proxy_target::connect), 0u);
  EXPECT_EQ(client.calls(), Lines{"set_option shared 12 'proxy:8080' '' ''"});
  client.forget_calls();
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::connect), 0u);
  EXPECT_EQ(client.calls(), Lines{"set_option shared 12 '' '' ''"});
  settings.host = "";
  EXPECT_EQ(resolver->set_proxy(settings, cloud::proxy_target::connect), 13u);
}

TEST_F(GuardedResolver, BuildsItsResolverBeforeItsBreaker) {
  std::size_t instances = 0;
  log.recorder().set_hook([&](const support::log_call& call) {
    if (std::wstring(call.text).starts_with(L"services cache path ")) {
      instances = client.instances_alive();
    }
  });
  make();
  EXPECT_TRUE(has_line_beginning(log, 16, L"services cache path "));
  EXPECT_EQ(instances, 1u) << "the technology requests' instance";
}

TEST_F(GuardedResolver, LetsRequestsPassWhileTheLockFails) {
  plant_open();
  make();
  folder.seam().fail_calls(platform::Call::lock, 33);
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_EQ(sent(), 1u);
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex: failed to lock"));
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex failed to lock"));
  folder.seam().let_calls_through(platform::Call::lock);
  EXPECT_TRUE(is(connect(), 1, 5));
}

// the stand-in

TEST_F(GuardedResolver, DoesWithoutAGuardianWhereThePathsAreMissing) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  EXPECT_TRUE(has_line(log, 4,
                       L"Failed to load cloud guardian paths from file open config file failed "
                       L"err = 1011"));
  EXPECT_EQ(lines_after(L"Failed to load cloud guardian paths"), 0u);
  EXPECT_FALSE(std::filesystem::exists(folder.lock_file()));
  expect_no_guardian();
  EXPECT_FALSE(std::filesystem::exists(folder.lock_file()));
}

TEST_F(GuardedResolver, DoesWithoutAGuardianWhereTheConfigurationIsMissing) {
  folder.package(R"({"storage_folder": "guardian", "storage_filename": "services.json"})");
  make();
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian config from file invalid config file err = 1006"));
  EXPECT_EQ(lines_after(L"Failed to load cloud guardian config"), 0u);
  expect_no_guardian();
}

TEST_F(GuardedResolver, DoesWithoutAGuardianWhereItsFolderCannotBe) {
  std::filesystem::remove_all(folder.cloud_folder());
  std::ofstream(folder.cloud_folder()) << "in the way";
  make();
  EXPECT_TRUE(has_line_beginning(
      log, 4, L"Failed to create storage folder filesystem::create_directories err = "));
  EXPECT_EQ(lines_after(L"Failed to create storage folder"), 0u);
  client.answer(answer_failure(20011));
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(is(connect(), 2, 20011));
}

TEST_F(GuardedResolver, DoesWithoutAGuardianWhereTheLockFailsAtFirst) {
  plant_open();
  folder.seam().fail_calls(platform::Call::lock, 33);
  make();
  folder.seam().let_calls_through(platform::Call::lock);
  expect_no_guardian();
}

TEST_F(GuardedResolver, StaysWithoutAGuardianWhenTheCauseIsGone) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  folder.package(GuardianFolder::config());
  expect_no_guardian();
}

TEST_F(GuardedResolver, LogsNothingMoreForRequestsWithoutAGuardian) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  log.clear();
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_TRUE(log.nothing_logged(8));
}

TEST_F(GuardedResolver, SetsProxiesWithoutAGuardian) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  client.forget_calls();
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::connect), 0u);
  EXPECT_EQ(client.calls(), Lines{"set_option shared 12 '' '' ''"});
}

// with a host

class GuardedResolverOfAHost : public GuardedResolver {
 protected:
  GuardedResolverOfAHost() {
    host.set_plugin_manager(&plugins);
    host.set_execution_service(&execution);
  }
  ~GuardedResolverOfAHost() override { resolver.reset(); }

  support::CallRecord record;
  support::FakeHost host;
  support::FakeExecution execution{record};
  support::FakeQuerier querier{record};
  support::QuerierPlugins plugins{record, &querier};
};

TEST_F(GuardedResolverOfAHost, FollowsTheConfigurationFromTheCloud) {
  querier.settings = support::config_text(GuardianFolder::config({"other"}));
  make(&host);
  EXPECT_EQ(record.calls(), (Lines{"make_serial_execution", "get_plugin cloud_guardian_querier",
                                   "enqueue_task cloud_config_init"}));
  client.answer(answer_failure(20011));
  execution.run();
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(is(connect(), 2, 20011)) << "it isn't monitored any more";
  EXPECT_TRUE(has_line(log, 16, L"service svc not monitored"));
}

TEST_F(GuardedResolverOfAHost, GivesTheHostsThingsBack) {
  make(&host);
  execution.run();
  record.clear();
  resolver.reset();
  EXPECT_EQ(record.calls(), (Lines{"release_serial_execution", "remove_observer 0",
                                   "release_plugin cloud_guardian_querier"}));
}

TEST_F(GuardedResolverOfAHost, RefusesThoughTheHostHasNoQuerier) {
  plugins.status = 1168;
  plant_open();
  make(&host);
  EXPECT_TRUE(has_line(log, 4, L"get_plugin cloud_guardian_querier err=1168"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverOfAHost, RefusesThoughTheHostLacksItsServices) {
  host.set_plugin_manager(nullptr);
  plant_open();
  make(&host);
  EXPECT_TRUE(has_line(log, 4, L"invalid serv main"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverOfAHost, RefusesThoughTheHostIsNull) {
  plant_open();
  make(nullptr);
  EXPECT_TRUE(has_line(log, 4, L"invalid serv main"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverOfAHost, AsksNoHostWithoutPaths) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make(&host);
  EXPECT_EQ(record.calls(), Lines{});
  EXPECT_TRUE(is(connect(), 0, 0));
}

TEST_F(GuardedResolverOfAHost, GivesTheHostsThingsBackWithoutAStorage) {
  folder.package(R"({"storage_folder": "guardian", "storage_filename": "services.json"})");
  make(&host);
  const Lines calls = record.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_serial_execution"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_plugin cloud_guardian_querier"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "enqueue_task cloud_config_init"), 0);
  EXPECT_TRUE(is(connect(), 0, 0));
}

}  // namespace
