// The real breaker behind the requests, and its stand-in.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "guardian/guarded_resolver.h"
#include "guardian/guarded_resolver_test.h"
#include "support/EventsRecorder.h"
#include "support/FakeCloudClient.h"
#include "support/FakeHost.h"
#include "support/FakeQuerier.h"
#include "support/GuardianFolder.h"
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

class GuardedResolverWithABreaker : public testing::Test {
 protected:
  GuardedResolverWithABreaker() : events(folder.path()) {
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
  CountingUpload progress;
};

TEST_F(GuardedResolverWithABreaker, SendsNothingForAnOpenCircuit) {
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

TEST_F(GuardedResolverWithABreaker, SendsNothingForAHalfOpenCircuitBeforeItsTime) {
  plant_open(circuit_state::half_open);
  make();
  EXPECT_TRUE(is(connect(), 1, 5));
  EXPECT_EQ(sent(), 0u);
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 1);
  EXPECT_EQ(folder.circuit("svc").at("state"), 2);
}

TEST_F(GuardedResolverWithABreaker, RefusesOnlyTheServiceThatIsOpen) {
  plant_open();
  make();
  EXPECT_TRUE(is(connect("other"), 0, 0));
  EXPECT_EQ(sent(), 1u);
}

TEST_F(GuardedResolverWithABreaker, OpensTheCircuitOfAServiceThatFails) {
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

TEST_F(GuardedResolverWithABreaker, RemembersAFailureWithItsDetail) {
  make();
  client.answer(answer_failure(20011));
  connect();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 1);
  EXPECT_EQ(folder.circuit("svc").at("errors"),
            nlohmann::json::array({support::stored_failure("20011", 0, "do")}));
}

TEST_F(GuardedResolverWithABreaker, CountsFailuresOfOtherRequestsWithoutDetail) {
  make();
  client.answer(answer_failure(20011));
  technology();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 1);
  client.set_upload_result(20012);
  upload();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 2);
  EXPECT_EQ(folder.circuit("svc").at("errors"), nlohmann::json::array());
}

TEST_F(GuardedResolverWithABreaker, ForgetsFailuresAtAFailureOnThisSide) {
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

TEST_F(GuardedResolverWithABreaker, HalfOpensAfterTheProbeThatSucceeds) {
  plant_open();
  make();
  folder.seam().jump_clock_seconds(61);
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_EQ(folder.circuit("svc").at("state"), 2);
  EXPECT_EQ(folder.circuit("svc").at("allowed"), 1);
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 0);
}

TEST_F(GuardedResolverWithABreaker, SetsProxiesWhileACircuitIsOpen) {
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

TEST_F(GuardedResolverWithABreaker, BuildsItsResolverBeforeItsBreaker) {
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

TEST_F(GuardedResolverWithABreaker, LetsRequestsPassWhileTheLockFails) {
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

TEST_F(GuardedResolverWithABreaker, DoesWithoutAGuardianWhereThePathsAreMissing) {
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

TEST_F(GuardedResolverWithABreaker, DoesWithoutAGuardianWhereTheConfigurationIsMissing) {
  folder.package(R"({"storage_folder": "guardian", "storage_filename": "services.json"})");
  make();
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian config from file invalid config file err = 1006"));
  EXPECT_EQ(lines_after(L"Failed to load cloud guardian config"), 0u);
  expect_no_guardian();
}

TEST_F(GuardedResolverWithABreaker, DoesWithoutAGuardianWhereItsFolderCannotBe) {
  std::filesystem::remove_all(folder.cloud_folder());
  std::ofstream(folder.cloud_folder()) << "in the way";
  make();
  EXPECT_TRUE(has_line_beginning(
      log, 4, L"Failed to create storage folder filesystem::create_directories err = "));
  EXPECT_EQ(lines_after(L"Failed to create storage folder"), 0u);
  client.answer(answer_failure(20011));
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(is(connect(), 2, 20011));
}

TEST_F(GuardedResolverWithABreaker, DoesWithoutAGuardianWhereTheLockFailsAtFirst) {
  plant_open();
  folder.seam().fail_calls(platform::Call::lock, 33);
  make();
  folder.seam().let_calls_through(platform::Call::lock);
  expect_no_guardian();
}

TEST_F(GuardedResolverWithABreaker, StaysWithoutAGuardianWhenTheCauseIsGone) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  folder.package(GuardianFolder::config());
  expect_no_guardian();
}

TEST_F(GuardedResolverWithABreaker, LogsNothingMoreForRequestsWithoutAGuardian) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  log.clear();
  EXPECT_TRUE(is(connect(), 0, 0));
  EXPECT_TRUE(log.nothing_logged(4));
  EXPECT_TRUE(log.nothing_logged(8));
}

TEST_F(GuardedResolverWithABreaker, SetsProxiesWithoutAGuardian) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make();
  client.forget_calls();
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::connect), 0u);
  EXPECT_EQ(client.calls(), Lines{"set_option shared 12 '' '' ''"});
}

// with a host

class GuardedResolverWithAHost : public GuardedResolverWithABreaker {
 protected:
  GuardedResolverWithAHost() {
    host.set_plugin_manager(&plugins);
    host.set_execution_service(&execution);
  }
  ~GuardedResolverWithAHost() override { resolver.reset(); }

  support::CallRecord record;
  support::FakeHost host;
  support::FakeExecution execution{record};
  support::FakeQuerier querier{record};
  support::QuerierPlugins plugins{record, &querier};
};

TEST_F(GuardedResolverWithAHost, FollowsTheConfigurationFromTheCloud) {
  querier.settings = support::config_text(GuardianFolder::config({"other"}));
  make(&host);
  EXPECT_EQ(record.calls(), (Lines{"make_serial_execution", "get_plugin cloud_guardian_querier",
                                   "enqueue_task cloud_config_init"}));
  client.answer(answer_failure(20011));
  execution.run();
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(is(connect(), 2, 20011)) << "it isn't monitored any more";
  EXPECT_TRUE(has_line(log, 16, L"service svc not monitored"));
}

TEST_F(GuardedResolverWithAHost, GivesTheHostsThingsBack) {
  make(&host);
  execution.run();
  record.clear();
  resolver.reset();
  EXPECT_EQ(record.calls(), (Lines{"release_serial_execution", "remove_observer 0",
                                   "release_plugin cloud_guardian_querier"}));
}

TEST_F(GuardedResolverWithAHost, RefusesThoughTheHostHasNoQuerier) {
  plugins.status = 1168;
  plant_open();
  make(&host);
  EXPECT_TRUE(has_line(log, 4, L"get_plugin cloud_guardian_querier err=1168"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverWithAHost, RefusesThoughTheHostLacksItsServices) {
  host.set_plugin_manager(nullptr);
  plant_open();
  make(&host);
  EXPECT_TRUE(has_line(log, 4, L"invalid serv main"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverWithAHost, RefusesThoughTheHostIsNull) {
  plant_open();
  make(nullptr);
  EXPECT_TRUE(has_line(log, 4, L"invalid serv main"));
  EXPECT_TRUE(is(connect(), 1, 5));
}

TEST_F(GuardedResolverWithAHost, AsksNoHostWithoutPaths) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  make(&host);
  EXPECT_EQ(record.calls(), Lines{});
  EXPECT_TRUE(is(connect(), 0, 0));
}

TEST_F(GuardedResolverWithAHost, GivesTheHostsThingsBackWithoutAStorage) {
  folder.package(R"({"storage_folder": "guardian", "storage_filename": "services.json"})");
  make(&host);
  const Lines calls = record.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_serial_execution"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_plugin cloud_guardian_querier"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "enqueue_task cloud_config_init"), 0);
  EXPECT_TRUE(is(connect(), 0, 0));
}

}  // namespace
