// How the breaker does its work: what an operation costs, what it locks, what it survives.

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "_base/waiting.h"
#include "guardian/file_lock.h"
#include "support/BreakerTest.h"
#include "support/log_call.h"

namespace {

using cloud::guardian::circuit_breaker;
using support::CallCount;
using support::GuardianFolder;
using support::has_line;
using support::has_line_beginning;
using support::stored_circuit;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;
constexpr auto half_open = circuit_state::half_open;

const request_failure failure{"32005", 1, "ask"};

class CircuitBreaker : public support::BreakerTest {
 protected:
  std::string failure_to_make() {
    try {
      make_breaker();
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }
};

// construction

TEST_F(CircuitBreaker, CannotBeBuiltWithoutPaths) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  EXPECT_EQ(failure_to_make(), "Failed to load cloud guardian paths from file");
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian paths from file open config file failed err = 1011"));
}

TEST_F(CircuitBreaker, CannotBeBuiltWithoutItsFolder) {
  std::filesystem::remove(folder.cloud_folder());
  folder.package(R"({"storage_folder":"g","storage_filename":"s","admin_storage_folder":"file"})");
  std::ofstream(folder.path() / "file") << "no folder";
  EXPECT_EQ(failure_to_make(), "Failed to create storage folder");
  EXPECT_TRUE(has_line_beginning(
      log, 4, L"Failed to create storage folder filesystem::create_directories err = "));
}

TEST_F(CircuitBreaker, CannotBeBuiltWithoutAConfiguration) {
  folder.package(R"({"storage_folder":"guardian","storage_filename":"services.json"})");
  EXPECT_EQ(failure_to_make(), "Failed to load cloud guardian config from file");
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian config from file invalid config file err = 1006"));
  const std::wstring file = folder.lock_file().wstring();
  cloud::guardian::file_lock lock(file);
  lock.lock();
}

TEST_F(CircuitBreaker, CannotBeBuiltWithoutItsLock) {
  folder.seam().fail_call(platform::Call::lock, 33);
  EXPECT_TRUE(failure_to_make().starts_with("failed to lock"));
}

TEST_F(CircuitBreaker, CreatesItsFolderAndTakesTheLockOnceToBegin) {
  std::filesystem::remove(folder.cloud_folder());
  const CallCount count(folder.seam());
  make_breaker();
  EXPECT_TRUE(std::filesystem::exists(folder.lock_file()));
  EXPECT_EQ(count.locks(), 1u);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(CircuitBreaker, WithoutAHostGetsAlongWithTheFiles) {
  breaker = std::make_unique<circuit_breaker>(nullptr);
  EXPECT_TRUE(has_line(log, 4, L"invalid serv main"));
  EXPECT_TRUE(ask());
}

// what an operation costs

TEST_F(CircuitBreaker, AnUnchangedRequestCostsTwoLockCyclesAndNoFile) {
  make_breaker(stored_circuit());
  const CallCount count(folder.seam());
  EXPECT_TRUE(ask());
  succeed();
  EXPECT_EQ(count.locks(), 2u);
  EXPECT_EQ(count.opens(), 2u);
  EXPECT_EQ(count.reads(), 0u);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(CircuitBreaker, ACountedOutcomeCostsOneWrite) {
  for (const circuit_state state : {closed, open, half_open}) {
    for (const bool success : {false, true}) {
      if (state == closed && success) continue;
      breaker.reset();
      make_breaker(stored_circuit(state, in_seconds(5)));
      const CallCount count(folder.seam());
      success ? succeed() : fail();
      EXPECT_EQ(count.locks(), 1u);
      EXPECT_EQ(count.opens(), 2u);
      EXPECT_EQ(count.reads(), 0u);
      EXPECT_EQ(count.writes(), 1u);
    }
  }
}

TEST_F(CircuitBreaker, ARefusalCostsOneWrite) {
  make_breaker(stored_circuit(open, in_seconds(5)));
  const CallCount count(folder.seam());
  EXPECT_FALSE(ask());
  EXPECT_EQ(count.locks(), 1u);
  EXPECT_EQ(count.writes(), 1u);
}

// services that aren't monitored

TEST_F(CircuitBreaker, AServiceOffTheListPasses) {
  folder.package(GuardianFolder::config({"other"}));
  make_breaker(stored_circuit(open, in_seconds(5)));
  const CallCount count(folder.seam());
  EXPECT_TRUE(ask());
  EXPECT_TRUE(has_line(log, 16, L"service svc not monitored"));
  EXPECT_EQ(count.locks(), 1u);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(CircuitBreaker, OutcomesOfAServiceOffTheListDoNotEvenTakeTheLock) {
  folder.package(GuardianFolder::config({"other"}));
  make_breaker(stored_circuit(open, in_seconds(5)));
  const CallCount count(folder.seam());
  succeed();
  fail();
  fail(failure);
  EXPECT_EQ(count.opens(), 0u);
  EXPECT_EQ(count.locks(), 0u);
  EXPECT_EQ(stored(), stored_circuit(open, in_seconds(5)));
}

TEST_F(CircuitBreaker, AskingForAServiceOffTheListSavesWhatElseChanged) {
  make_breaker(stored_circuit(open, in_seconds(5)));
  folder.write_cache(support::config_text(GuardianFolder::config({"other"})));
  support::storage_in(*breaker).on_modified(L"", L"cloud_guardian_settings_cache.json");
  EXPECT_TRUE(ask());
  EXPECT_TRUE(has_line(log, 16, L"service svc not monitored"));
  EXPECT_EQ(stored(), stored_circuit(closed));
}

// the lock

TEST_F(CircuitBreaker, WaitsForTheLock) {
  make_breaker(stored_circuit());
  const std::wstring file = folder.lock_file().wstring();
  cloud::guardian::file_lock lock(file);
  lock.lock();
  const CallCount count(folder.seam());
  waiting::Attempt asking([this] { ask(); });
  waiting::Attempt succeeding([this] { succeed(); });
  waiting::Attempt failing([this] { fail(); });
  EXPECT_TRUE(waiting::until([&] { return count.locks() == 3; }));
  EXPECT_FALSE(asking.is_done());
  EXPECT_FALSE(succeeding.is_done());
  EXPECT_FALSE(failing.is_done());
  EXPECT_EQ(count.reads() + count.writes(), 0u);
  lock.unlock();
  EXPECT_TRUE(asking.ends());
  EXPECT_TRUE(succeeding.ends());
  EXPECT_TRUE(failing.ends());
}

TEST_F(CircuitBreaker, CountsEveryOutcomeOfParallelThreads) {
  make_breaker(stored_circuit(open, in_seconds(5)));
  constexpr int rounds = 25;
  {
    const auto report = [this] {
      for (int i = 0; i < rounds; ++i) fail();
    };
    const auto refuse = [this] {
      for (int i = 0; i < rounds; ++i) EXPECT_FALSE(ask());
    };
    std::thread one(report);
    std::thread two(report);
    std::thread three(refuse);
    std::thread four(refuse);
    for (std::thread* thread : {&one, &two, &three, &four}) thread->join();
  }
  EXPECT_EQ(remembered().allowed, 2u * rounds);
  EXPECT_EQ(remembered().blocked, 2u * rounds);
}

TEST_F(CircuitBreaker, HoldsTheLockDuringATransition) {
  const std::wstring path = folder.lock_file().wstring();
  std::unique_ptr<waiting::Attempt> other;
  bool got_in = true;
  log.recorder().set_hook([&](const support::log_call& call) {
    if (std::wstring_view(call.text) != L"service svc circuit state open") return;
    const CallCount count(folder.seam());
    other = std::make_unique<waiting::Attempt>([path] {
      cloud::guardian::file_lock lock(path);
      lock.lock();
    });
    static_cast<void>(waiting::until([&] { return count.locks() == 1; }));
    got_in = other->is_done();
  });
  make_breaker(with(stored_circuit(), {{"counter", 2}}));
  fail();
  breaker.reset();  // its watcher logs too
  log.recorder().set_hook({});
  ASSERT_TRUE(other);
  EXPECT_FALSE(got_in);
  EXPECT_TRUE(other->ends());
}

// a guardian in trouble

TEST_F(CircuitBreaker, LetsPassWhatItCannotLockFor) {
  make_breaker(stored_circuit(open, in_seconds(5)));
  folder.seam().fail_call(platform::Call::lock, 33);
  EXPECT_TRUE(ask());
  EXPECT_TRUE(has_line_beginning(log, 4, L"ex: failed to lock"));
  EXPECT_FALSE(ask());
}

TEST_F(CircuitBreaker, LosesAnOutcomeThatItCannotLockFor) {
  make_breaker(stored_circuit());
  folder.seam().fail_calls(platform::Call::open, 5);
  succeed();
  fail();
  fail(failure);
  std::size_t lines = 0;
  for (const auto& line : log.lines(4)) lines += line.text.starts_with(L"ex failed to lock");
  EXPECT_EQ(lines, 3u);
  folder.seam().let_calls_through(platform::Call::open);
  EXPECT_EQ(stored(), stored_circuit());
}

TEST_F(CircuitBreaker, KeepsWhatItCouldNotSave) {
  make_breaker(stored_circuit());
  folder.seam().fail_call(platform::Call::write, 112);
  fail();
  EXPECT_TRUE(has_line_beginning(log, 4, L"failed to write to file "));
  EXPECT_EQ(remembered().counter, 1u);
}

TEST_F(CircuitBreaker, TransitsWithoutAnEventsClient) {
  events.fail(L"create", 14);
  make_breaker(with(stored_circuit(), {{"counter", 2}}));
  fail();
  EXPECT_EQ(stored(), stored_circuit(open, in_seconds(60)));
  EXPECT_TRUE(has_line(log, 4, L"Could not load the EC events DLL. Error 14"));
}

// several breakers on one folder

TEST_F(CircuitBreaker, SharesItsCircuitsWithAnother) {
  guardian_config config = GuardianFolder::config();
  config.threshold = 1;
  folder.package(config);
  make_breaker(stored_circuit());
  circuit_breaker other;
  EXPECT_TRUE(other.IsSendAllowed("svc"));
  // Again and again, since the other may not have opened the folder yet.
  EXPECT_TRUE(waiting::until([&] {
    fail();
    return !other.IsSendAllowed("svc");
  }));
}

TEST_F(CircuitBreaker, TheLastSaveWinsForTheWholeFile) {
  folder.write_services(
      nlohmann::json{{"svc", stored_circuit()}, {"other", stored_circuit()}}.dump());
  folder.seam().fail_calls(platform::Call::watch, 5);
  make_breaker();
  circuit_breaker unaware;
  fail();
  EXPECT_EQ(stored().at("counter"), 1);
  unaware.process_request_server_error("other");
  EXPECT_EQ(stored().at("counter"), 0);
  EXPECT_EQ(folder.circuit("other").at("counter"), 1);
}

TEST_F(CircuitBreaker, FindsItsCircuitsAgainAfterARestart) {
  make_breaker(stored_circuit());
  for (int i = 0; i < 3; ++i) fail();
  breaker.reset();
  make_breaker();
  EXPECT_FALSE(ask());
  EXPECT_EQ(stored(), with(stored_circuit(open, in_seconds(60)), {{"blocked", 1}}));
}

}  // namespace
