// In the place of the services file, the cache and the lock file there is something that is no file
// or that can't be opened: met by a breaker that runs and by one that begins.

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>

#include "guardian/circuit_breaker.h"
#include "guardian/file_lock.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"
#include "support/campaign.h"
#include "support/guardian_inside.h"

namespace {

using cloud::guardian::circuit_breaker;
using platform::Call;
using support::GuardianFolder;

enum class Obstacle { folder, link_to_nowhere, link_to_itself, full_folder };

class FaultsObstacles : public testing::TestWithParam<Obstacle> {
 protected:
  FaultsObstacles() {
    // The test brings the news itself.
    folder.seam().fail_calls(Call::watch, 5);
  }

  /// False where the system has no such thing.
  static bool put(const std::filesystem::path& place) {
    std::error_code error;
    std::filesystem::remove_all(place);
    switch (GetParam()) {
      case Obstacle::folder:
        std::filesystem::create_directory(place, error);
        break;
      case Obstacle::full_folder:
        std::filesystem::create_directories(place / "more", error);
        break;
      case Obstacle::link_to_nowhere:
        std::filesystem::create_symlink(place.parent_path() / "nowhere" / "file", place, error);
        break;
      case Obstacle::link_to_itself:
        std::filesystem::create_symlink(place, place, error);
        break;
    }
    return !error;
  }
  /// A folder is as good a lock as a file, where the system lets it be locked.
  bool locks_all_the_same() const {
    try {
      const std::wstring path = folder.lock_file().wstring();
      cloud::guardian::file_lock lock(path);
      lock.lock();
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  }
  static void clear(const std::filesystem::path& place) { std::filesystem::remove_all(place); }

  bool ask() { return breaker->IsSendAllowed("svc"); }
  void fail() { breaker->process_request_server_error("svc"); }
  const service_info& remembered() const {
    return support::storage_in(*breaker).circuits().at("svc");
  }
  void make_breaker() {
    breaker = std::make_unique<circuit_breaker>();
    fail();
  }

  support::RecordingLog log;
  GuardianFolder folder{GuardianFolder::config(), support::TemporaryFolder::fast_base()};
  std::unique_ptr<circuit_breaker> breaker;
};

TEST_P(FaultsObstacles, InThePlaceOfTheServicesFileCostARunningBreakerNothing) {
  make_breaker();
  if (!put(folder.services_file())) GTEST_SKIP() << "there is no such thing here";
  support::storage_in(*breaker).on_modified(L"folder", L"services.json");
  log.clear();
  EXPECT_TRUE(ask());
  EXPECT_EQ(support::complaints(log).size(), 1u);
  EXPECT_TRUE(support::has_line_beginning(log, 4, L"reload services from file failed; err = 10"));
  EXPECT_EQ(remembered().counter, 1u);

  log.clear();
  fail();
  EXPECT_EQ(remembered().counter, 2u);
  EXPECT_EQ(support::complaints(log).size(), 1u);
  EXPECT_TRUE(
      support::has_line(log, 4, L"failed to write to file " + folder.services_file().wstring()));
  clear(folder.services_file());
  fail();
  EXPECT_FALSE(ask());
  EXPECT_EQ(folder.circuit("svc").at("state"), 1);
}

TEST_P(FaultsObstacles, InThePlaceOfTheServicesFileAreAnEmptyHistory) {
  if (!put(folder.services_file())) GTEST_SKIP() << "there is no such thing here";
  make_breaker();
  EXPECT_TRUE(support::has_line_beginning(
      log, 8, L"Failed to load cloud guardian services info from file "));
  EXPECT_TRUE(ask());
  EXPECT_EQ(remembered().counter, 1u);
  clear(folder.services_file());
  fail();
  EXPECT_EQ(folder.circuit("svc").at("counter"), 2);
}

TEST_P(FaultsObstacles, InThePlaceOfTheCacheLeaveTheConfigurationAsItWas) {
  make_breaker();
  if (!put(folder.cache_file())) GTEST_SKIP() << "there is no such thing here";
  support::storage_in(*breaker).on_modified(L"folder", L"cloud_guardian_settings_cache.json");
  log.clear();
  EXPECT_TRUE(ask());
  EXPECT_TRUE(support::has_line_beginning(log, 4, L"reload config from file failed; err = 10"));
  EXPECT_EQ(*support::config_in(support::storage_in(*breaker)), GuardianFolder::config());
  EXPECT_EQ(remembered().counter, 0u);

  // A new one can't be written, yet it counts.
  guardian_config strict = GuardianFolder::config();
  strict.threshold = 1;
  log.clear();
  breaker->OnSettingsChanged(support::config_text(strict).c_str());
  EXPECT_TRUE(
      support::has_line(log, 4, L"failed to write to file " + folder.cache_file().wstring()));
  fail();
  EXPECT_FALSE(ask());
}

TEST_P(FaultsObstacles, InThePlaceOfTheCacheLeaveThePackagedConfiguration) {
  if (!put(folder.cache_file())) GTEST_SKIP() << "there is no such thing here";
  make_breaker();
  EXPECT_EQ(support::complaints(log).size(), 1u);
  EXPECT_EQ(*support::config_in(support::storage_in(*breaker)), GuardianFolder::config());
  EXPECT_TRUE(ask());
}

TEST_P(FaultsObstacles, InThePlaceOfTheLockFileOpenTheWay) {
  folder.plant("svc", support::stored_circuit(circuit_state::open));
  breaker = std::make_unique<circuit_breaker>();
  if (!put(folder.lock_file())) GTEST_SKIP() << "there is no such thing here";
  if (locks_all_the_same()) GTEST_SKIP() << "it can be locked here";
  const support::CallCount count(folder.seam());
  log.clear();
  EXPECT_TRUE(ask());
  EXPECT_TRUE(support::has_line_beginning(log, 4, L"ex: failed to lock"));
  fail();
  breaker->process_request_server_error("svc", {"500", 0, "up"});
  breaker->process_request_succeded("svc");
  breaker->OnSettingsChanged(support::config_text(GuardianFolder::config({"a"})).c_str());
  EXPECT_TRUE(support::has_line_beginning(log, 4, L"ex failed to lock"));
  EXPECT_EQ(support::complaints(log).size(), 5u);
  EXPECT_EQ(count.reads() + count.writes(), 0u);
  EXPECT_EQ(remembered().state, circuit_state::open);

  clear(folder.lock_file());
  EXPECT_FALSE(ask());
}

TEST_P(FaultsObstacles, InThePlaceOfTheLockFileLeaveABeginnerWithoutAGuard) {
  if (!put(folder.lock_file())) GTEST_SKIP() << "there is no such thing here";
  if (locks_all_the_same()) GTEST_SKIP() << "it can be locked here";
  folder.plant("svc", support::stored_circuit(circuit_state::open));
  EXPECT_THROW(circuit_breaker(), std::system_error);
}

INSTANTIATE_TEST_SUITE_P(Of, FaultsObstacles,
                         testing::Values(Obstacle::folder, Obstacle::full_folder,
                                         Obstacle::link_to_nowhere, Obstacle::link_to_itself),
                         [](const auto& chosen) {
                           switch (chosen.param) {
                             case Obstacle::folder:
                               return "EmptyFolder";
                             case Obstacle::full_folder:
                               return "FullFolder";
                             case Obstacle::link_to_nowhere:
                               return "LinkToNowhere";
                             case Obstacle::link_to_itself:
                               return "LinkToItself";
                           }
                           return "";
                         });

/// Calls of the system that fail, as for a file that is nobody's to read.
class FaultsRefusals : public testing::Test {
 protected:
  FaultsRefusals() {
    folder.seam().fail_calls(Call::watch, 5);
    folder.plant("svc", support::stored_circuit(circuit_state::open));
    breaker = std::make_unique<circuit_breaker>();
    log.clear();
  }

  bool ask() { return breaker->IsSendAllowed("svc"); }
  const service_info& remembered() const {
    return support::storage_in(*breaker).circuits().at("svc");
  }

  support::RecordingLog log;
  GuardianFolder folder{GuardianFolder::config(), support::TemporaryFolder::fast_base()};
  std::unique_ptr<circuit_breaker> breaker;
};

TEST_F(FaultsRefusals, OfTheServicesFileCostARunningBreakerNothing) {
  for (const Call call : {Call::open, Call::read}) {
    support::storage_in(*breaker).on_modified(L"folder", L"services.json");
    log.clear();
    folder.seam().fail_call(call, 5, call == Call::open ? 2 : 1);
    EXPECT_FALSE(ask());
    EXPECT_EQ(support::complaints(log).size(), 1u);
    EXPECT_TRUE(support::has_line(
        log, 4,
        call == Call::open
            ? L"reload services from file failed; err = 1011 open services info file failed"
            : L"reload services from file failed; err = 1006 invalid services info file"));
  }
  EXPECT_EQ(folder.circuit("svc").at("blocked"), 2);
}

TEST_F(FaultsRefusals, OfTheCacheLeaveTheConfigurationAndOpenTheWay) {
  support::storage_in(*breaker).on_modified(L"folder", L"cloud_guardian_settings_cache.json");
  log.clear();
  folder.seam().fail_call(Call::open, 5, 2);
  EXPECT_TRUE(ask());
  EXPECT_TRUE(support::has_line(
      log, 4, L"reload config from file failed; err = 1011 open config file failed"));
  EXPECT_EQ(*support::config_in(support::storage_in(*breaker)), GuardianFolder::config());
}

TEST_F(FaultsRefusals, OfTheLockOpenTheWayAndLoseTheOutcome) {
  for (const Call call : {Call::open, Call::lock}) {
    log.clear();
    folder.seam().fail_calls(call, 5);
    EXPECT_TRUE(ask());
    EXPECT_TRUE(support::has_line_beginning(log, 4, L"ex: failed to lock"));
    breaker->process_request_succeded("svc");
    breaker->process_request_server_error("svc");
    breaker->process_request_server_error("svc", {"500", 0, "up"});
    breaker->OnSettingsChanged(support::config_text(GuardianFolder::config({"a"})).c_str());
    EXPECT_EQ(support::complaints(log).size(), 5u);
    EXPECT_EQ(remembered().state, circuit_state::open);
    EXPECT_EQ(remembered().allowed, 0u);
    folder.seam().let_calls_through(call);
    EXPECT_FALSE(ask());
  }
}

TEST_F(FaultsRefusals, OfEachCallInTurnStopNoRequestThatIsAllowed) {
  folder.plant("svc", support::stored_circuit());
  std::size_t refused = 0;
  for (const Call call : {Call::open, Call::read, Call::write, Call::lock}) {
    for (std::size_t nth = 1; nth <= 4; ++nth) {
      for (const wchar_t* const news : {L"services.json", L"cloud_guardian_settings_cache.json"}) {
        SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << ", " << nth);
        breaker = std::make_unique<circuit_breaker>();
        support::storage_in(*breaker).on_modified(L"folder", news);
        folder.seam().fail_call(call, 5, nth);
        EXPECT_TRUE(ask());
        breaker->process_request_server_error("svc");
        EXPECT_TRUE(ask());
        breaker->process_request_succeded("svc");
        folder.seam().let_calls_through(call);
        breaker->process_request_server_error("svc");
        EXPECT_EQ(folder.circuit("svc").at("counter"), remembered().counter);
        breaker->process_request_succeded("svc");
        ++refused;
      }
    }
  }
  std::cout << refused << " sequences with a refused call, each answered\n";
}

}  // namespace
