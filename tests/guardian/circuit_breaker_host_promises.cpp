// The configuration from the cloud: the querier, the serial execution, the order of their end.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "guardian/file_lock.h"
#include "support/BreakerTest.h"
#include "support/FakeQuerier.h"

namespace {

using cloud::guardian::circuit_breaker;
using support::count_lines;
using support::GuardianFolder;
using support::has_line;
using support::has_line_beginning;
using support::stored_circuit;

using Calls = std::vector<std::string>;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;

class CircuitBreakerOfAHost : public support::BreakerTest {
 protected:
  CircuitBreakerOfAHost() {
    host.set_plugin_manager(&plugins);
    host.set_execution_service(&execution);
  }
  ~CircuitBreakerOfAHost() override { breaker.reset(); }

  void make_hosted() { breaker = std::make_unique<circuit_breaker>(&host); }
  /// A breaker that has asked the cloud and was told this.
  void make_told(const std::string& settings) {
    querier.settings = settings;
    make_hosted();
    execution.run();
  }
  guardian_config config() const { return *support::config_in(support::storage_in(*breaker)); }

  support::CallRecord record;
  support::FakeHost host;
  support::FakeExecution execution{record};
  support::FakeQuerier querier{record};
  support::QuerierPlugins plugins{record, &querier};
  const guardian_config cloud_config = GuardianFolder::config({"svc", "other"});
  const std::string cloud_text = support::config_text(cloud_config);
};

// construction

TEST_F(CircuitBreakerOfAHost, EnqueuesTheQuestionAndDoesNotAskItItself) {
  make_hosted();
  EXPECT_EQ(record.calls(), (Calls{"make_serial_execution", "get_plugin cloud_guardian_querier",
                                   "enqueue_task cloud_config_init"}));
  EXPECT_EQ(execution.waiting(), 1u);
}

TEST_F(CircuitBreakerOfAHost, ObservesTheQuerierBeforeItAsks) {
  make_hosted();
  record.clear();
  execution.run();
  EXPECT_EQ(record.calls(), (Calls{"add_observer 0", "get_settings"}));
  EXPECT_NE(querier.observer, nullptr);
}

TEST_F(CircuitBreakerOfAHost, AsksUnlocked) {
  bool free = false;
  querier.on_get_settings = [&] {
    waiting::Attempt other([path = folder.lock_file().wstring()] {
      cloud::guardian::file_lock lock(path);
      lock.lock();
    });
    free = other.ends();
  };
  make_told(cloud_text);
  EXPECT_TRUE(free);
}

TEST_F(CircuitBreakerOfAHost, LacksThePluginManager) {
  host.set_plugin_manager(nullptr);
  make_hosted();
  EXPECT_EQ(count_lines(log, 4, L"invalid serv main"), 1u);
  EXPECT_EQ(record.calls(), Calls{});
  EXPECT_TRUE(ask());
}

TEST_F(CircuitBreakerOfAHost, LacksTheExecutionService) {
  host.set_execution_service(nullptr);
  make_hosted();
  EXPECT_EQ(count_lines(log, 4, L"invalid serv main"), 1u);
  EXPECT_EQ(record.calls(), Calls{});
  EXPECT_TRUE(ask());
}

TEST_F(CircuitBreakerOfAHost, GetsNoSerialExecution) {
  execution.fail_make(1450);
  make_hosted();
  EXPECT_TRUE(has_line(log, 4, L"make_serial_execution err=1450"));
  EXPECT_EQ(record.calls(), Calls{"make_serial_execution"});
  breaker.reset();
  EXPECT_EQ(record.calls(), Calls{"make_serial_execution"});
}

TEST_F(CircuitBreakerOfAHost, GetsNoQuerierAndGivesTheExecutionBack) {
  plugins.status = 1168;
  make_hosted();
  EXPECT_TRUE(has_line(log, 4, L"get_plugin cloud_guardian_querier err=1168"));
  const Calls calls{"make_serial_execution", "get_plugin cloud_guardian_querier",
                    "release_serial_execution"};
  EXPECT_EQ(record.calls(), calls);
  EXPECT_TRUE(ask());
  breaker.reset();
  EXPECT_EQ(record.calls(), calls);
}

TEST_F(CircuitBreakerOfAHost, CannotEnqueueAndStillWorks) {
  execution.fail_enqueue(8);
  make_hosted();
  EXPECT_TRUE(has_line(log, 4, L"enqueue_task err=8"));
  EXPECT_TRUE(ask());
}

TEST_F(CircuitBreakerOfAHost, GivesAllBackIfTheStorageCannotBeBuilt) {
  folder.package(R"({"storage_folder":"guardian","storage_filename":"services.json"})");
  EXPECT_THROW(make_hosted(), std::exception);
  const Calls calls = record.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_serial_execution"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "release_plugin cloud_guardian_querier"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "enqueue_task cloud_config_init"), 0);
}

TEST_F(CircuitBreakerOfAHost, AsksForNothingWithoutPaths) {
  folder.package("{}");
  EXPECT_THROW(make_hosted(), std::exception);
  EXPECT_EQ(record.calls(), Calls{});
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian paths from file invalid config file err = 1006"));
}

// the first configuration

TEST_F(CircuitBreakerOfAHost, TakesTheConfigurationOfTheCloud) {
  folder.plant("svc", stored_circuit(open, in_seconds(5)));
  make_told(cloud_text);
  EXPECT_TRUE(
      has_line(log, 16, L"cloud config " + std::wstring(cloud_text.begin(), cloud_text.end())));
  EXPECT_EQ(config(), cloud_config);
  EXPECT_EQ(folder.content(folder.cache_file()), cloud_text);
  EXPECT_EQ(stored(), stored_circuit(closed));
  ASSERT_EQ(events.posted().size(), 1u);
  EXPECT_EQ(events.posted()[0].strings.at(L"throttling"), L"disabled");
}

TEST_F(CircuitBreakerOfAHost, SaysNothingAboutAnEmptyAnswer) {
  make_hosted();
  log.clear();
  execution.run();
  EXPECT_TRUE(log.texts().empty());
  EXPECT_EQ(config(), GuardianFolder::config());
}

TEST_F(CircuitBreakerOfAHost, KeepsItsConfigurationIfTheAnswerIsInvalid) {
  make_told("{\"services\":[]}");
  EXPECT_TRUE(has_line(log, 16, L"cloud config {\"services\":[]}"));
  EXPECT_TRUE(
      has_line(log, 4, L"load_config_from_string {\"services\":[]} err=1006 invalid config str"));
  EXPECT_EQ(config(), GuardianFolder::config());
  EXPECT_FALSE(std::filesystem::exists(folder.cache_file()));
}

TEST_F(CircuitBreakerOfAHost, SurvivesAQuerierThatThrows) {
  querier.on_get_settings = [] { throw std::runtime_error("no cloud today"); };
  make_told(cloud_text);
  EXPECT_TRUE(has_line(log, 4, L"ex no cloud today"));
  EXPECT_EQ(config(), GuardianFolder::config());
}

TEST_F(CircuitBreakerOfAHost, KeepsItsConfigurationIfItCannotLock) {
  make_hosted();
  querier.settings = cloud_text;
  folder.seam().fail_call(platform::Call::lock, 33);
  execution.run();
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex failed to lock"));
  EXPECT_EQ(config(), GuardianFolder::config());
}

TEST_F(CircuitBreakerOfAHost, TakesTheSameConfigurationForNoChange) {
  folder.plant("svc", stored_circuit(open, in_seconds(5)));
  make_told(support::config_text(GuardianFolder::config()));
  EXPECT_TRUE(has_line(log, 16, L"same config"));
  EXPECT_EQ(stored(), stored_circuit(open, in_seconds(5)));
  EXPECT_FALSE(std::filesystem::exists(folder.cache_file()));
}

// later configurations

TEST_F(CircuitBreakerOfAHost, FollowsChangesOfTheConfiguration) {
  folder.plant("svc", stored_circuit(open, in_seconds(5)));
  make_told("");
  const support::CallCount count(folder.seam());
  querier.observer->OnSettingsChanged(cloud_text.c_str());
  EXPECT_EQ(count.locks(), 1u);
  EXPECT_TRUE(has_line(log, 16, std::wstring(cloud_text.begin(), cloud_text.end())));
  EXPECT_EQ(config(), cloud_config);
  EXPECT_EQ(stored(), stored_circuit(closed));
  EXPECT_EQ(events.posted().size(), 1u);
}

TEST_F(CircuitBreakerOfAHost, IgnoresAnInvalidChange) {
  folder.plant("svc", stored_circuit(open, in_seconds(5)));
  make_told("");
  const support::CallCount count(folder.seam());
  querier.observer->OnSettingsChanged("nonsense");
  EXPECT_EQ(count.locks(), 0u);
  EXPECT_TRUE(has_line(log, 16, L"nonsense"));
  EXPECT_TRUE(has_line(log, 4, L"load_config_from_string err=1006 invalid config str"));
  EXPECT_EQ(stored(), stored_circuit(open, in_seconds(5)));
}

TEST_F(CircuitBreakerOfAHost, TakesAnEmptyChangeForAnInvalidOne) {
  make_told("");
  querier.observer->OnSettingsChanged("");
  EXPECT_TRUE(has_line(log, 4, L"load_config_from_string err=1006 invalid config str"));
}

TEST_F(CircuitBreakerOfAHost, IgnoresAChangeThatItCannotLockFor) {
  make_told("");
  folder.seam().fail_call(platform::Call::lock, 33);
  querier.observer->OnSettingsChanged(cloud_text.c_str());
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex failed to lock"));
  EXPECT_EQ(config(), GuardianFolder::config());
}

TEST_F(CircuitBreakerOfAHost, AChangedListRulesFromTheNextRequestOn) {
  make_told("");
  EXPECT_TRUE(ask());
  querier.observer->OnSettingsChanged(
      support::config_text(GuardianFolder::config({"other"})).c_str());
  const support::CallCount count(folder.seam());
  fail();
  EXPECT_EQ(count.locks(), 0u);
}

TEST_F(CircuitBreakerOfAHost, TellsTheOtherProcessesThroughTheCache) {
  folder.plant("svc", stored_circuit(open, in_seconds(5)));
  circuit_breaker follower;
  EXPECT_FALSE(follower.IsSendAllowed("svc"));
  make_told("");
  guardian_config next = cloud_config;
  // Another each time, since the follower may not have opened the folder yet. Before the news is
  // there it isn't asked: to count a refusal it would write the open circuit back.
  ASSERT_TRUE(waiting::until([&] {
    ++next.threshold;
    querier.observer->OnSettingsChanged(support::config_text(next).c_str());
    return support::has_news_of_config(support::storage_in(follower));
  }));
  EXPECT_TRUE(follower.IsSendAllowed("svc"));
  EXPECT_TRUE(support::config_in(support::storage_in(follower))->services.has_value());
}

// the end

TEST_F(CircuitBreakerOfAHost, EndsTheExecutionBeforeItLetsTheQuerierGo) {
  make_told(cloud_text);
  record.clear();
  breaker.reset();
  EXPECT_EQ(record.calls(), (Calls{"release_serial_execution", "remove_observer 0",
                                   "release_plugin cloud_guardian_querier"}));
}

TEST_F(CircuitBreakerOfAHost, EndsInTheSameOrderIfTheQuestionWasNeverAsked) {
  make_hosted();
  record.clear();
  breaker.reset();
  EXPECT_EQ(record.calls(), (Calls{"release_serial_execution", "remove_observer 0",
                                   "release_plugin cloud_guardian_querier"}));
  EXPECT_EQ(execution.waiting(), 0u);
}

TEST_F(CircuitBreakerOfAHost, RemovesTheObserverThatItAdded) {
  make_told("");
  breaker.reset();
  const Calls calls = record.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "of another observer"), 0);
  EXPECT_EQ(querier.observer, nullptr);
}

}  // namespace
