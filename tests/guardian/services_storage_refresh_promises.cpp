// How a storage follows its files: what the watcher tells it, and what it does about that.

#include <gtest/gtest.h>

#include "support/ForkedChild.h"
#include "support/StorageTest.h"

namespace {

using support::CallCount;
using support::count_lines;
using support::GuardianFolder;
using support::has_line;
using support::stored_circuit;
using support::stored_failure;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;
constexpr const wchar_t* cache_name = L"cloud_guardian_settings_cache.json";

class StorageRefresh : public support::StorageTest {
 protected:
  void make_storage_with(const nlohmann::json& circuit) {
    folder.plant("svc", circuit);
    make_storage();
  }
  /// All news are the test's own.
  void make_unwatched_storage_with(const nlohmann::json& circuit) {
    folder.seam().fail_calls(platform::Call::watch, 5);
    make_storage_with(circuit);
  }
};

TEST_F(StorageRefresh, ReadsNothingWhileNothingChanged) {
  make_storage_with(stored_circuit());
  const CallCount count(folder.seam());
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(refresh());
  EXPECT_EQ(count.reads(), 0u);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(StorageRefresh, ReadsModifiedServicesOnce) {
  make_unwatched_storage_with(stored_circuit());
  folder.plant("svc", stored_circuit(open, GuardianFolder::start_seconds + 5));
  tell_of_services();
  EXPECT_EQ(circuit().state, closed);
  EXPECT_FALSE(refresh());
  EXPECT_EQ(circuit().state, open);
  EXPECT_TRUE(has_line(log, 16, L"services cache modified"));
}

TEST_F(StorageRefresh, ReplacesTheWholeMapByTheFiles) {
  folder.write_services(
      nlohmann::json{{"svc", stored_circuit()}, {"gone", stored_circuit()}}.dump());
  make_storage();
  folder.plant("svc", stored_circuit());
  tell_of_services();
  EXPECT_FALSE(refresh());
  EXPECT_EQ(storage->circuits().count("gone"), 0u);
}

TEST_F(StorageRefresh, KeepsItsMapIfTheFileIsInvalid) {
  make_storage_with(stored_circuit(open, GuardianFolder::start_seconds + 5));
  folder.write_services("{\"svc\":");
  tell_of_services();
  EXPECT_FALSE(refresh());
  EXPECT_EQ(circuit().state, open);
  EXPECT_TRUE(
      has_line(log, 4, L"reload services from file failed; err = 1006 invalid services info file"));
  save();
  EXPECT_EQ(folder.circuit("svc"), stored_circuit(open, GuardianFolder::start_seconds + 5));
}

TEST_F(StorageRefresh, KeepsItsMapIfTheFileIsGone) {
  make_storage_with(stored_circuit(open, GuardianFolder::start_seconds + 5));
  std::filesystem::remove(folder.services_file());
  tell_of_services();
  EXPECT_FALSE(refresh());
  EXPECT_EQ(circuit().state, open);
  EXPECT_TRUE(has_line(
      log, 4, L"reload services from file failed; err = 1011 open services info file failed"));
}

TEST_F(StorageRefresh, ANewServicesFileIsNoModification) {
  make_unwatched_storage_with(stored_circuit());
  folder.plant("svc", stored_circuit(open));
  storage->on_created(L"folder", L"services.json");
  refresh();
  EXPECT_EQ(circuit().state, closed);
}

TEST_F(StorageRefresh, ANewCacheIsAModification) {
  make_unwatched_storage_with(stored_circuit());
  folder.write_cache(support::config_text(GuardianFolder::config({"other"})));
  storage->on_created(L"folder", cache_name);
  EXPECT_TRUE(has_line(log, 16, L"config cache modified"));
  refresh();
  EXPECT_EQ(config(), GuardianFolder::config({"other"}));
}

TEST_F(StorageRefresh, RemovalsAndRenamesDoNothing) {
  make_unwatched_storage_with(stored_circuit());
  folder.plant("svc", stored_circuit(open));
  folder.write_cache(support::config_text(GuardianFolder::config({"other"})));
  for (const wchar_t* name : {L"services.json", cache_name}) {
    storage->on_removed(L"folder", name);
    storage->on_renamed(L"folder", L"services.json", name);
    storage->on_renamed(L"folder", name, cache_name);
  }
  refresh();
  EXPECT_EQ(circuit().state, closed);
  EXPECT_EQ(config(), GuardianFolder::config());
}

TEST_F(StorageRefresh, NamesHaveToBeExact) {
  make_unwatched_storage_with(stored_circuit());
  const CallCount count(folder.seam());
  for (const std::wstring_view name :
       {L"Services.json", L"services.jso", L"services.json ", L"services.json.tmp", L"",
        L"cloud_guardian_lock.lock", L"CLOUD_guardian_settings_cache.json"}) {
    storage->on_modified(L"folder", name);
    storage->on_created(L"folder", name);
  }
  refresh();
  EXPECT_EQ(count.reads(), 0u);
}

TEST_F(StorageRefresh, OneNameForBothFilesMeansBoth) {
  guardian_paths paths = GuardianFolder::paths();
  paths.config_storage_filename = paths.storage_filename;
  storage = std::make_unique<cloud::guardian::services_storage>(paths);
  tell_of_services();
  EXPECT_TRUE(has_line(log, 16, L"services cache modified"));
  EXPECT_TRUE(has_line(log, 16, L"config cache modified"));
}

TEST_F(StorageRefresh, ANewConfigurationClosesAllCircuitsInSilence) {
  folder.write_services(
      nlohmann::json{{"svc", stored_circuit(open)}, {"two", stored_circuit(open)}}.dump());
  make_storage();
  folder.write_cache(support::config_text(GuardianFolder::config({"svc"})));
  tell_of_cache();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(circuit("svc").state, closed);
  EXPECT_EQ(circuit("two").state, closed);
  EXPECT_TRUE(events.posted().empty());
  EXPECT_EQ(config(), GuardianFolder::config({"svc"}));
}

TEST_F(StorageRefresh, ABadCacheClosesAllCircuitsAsWell) {
  make_storage_with(stored_circuit(open));
  folder.write_cache("{}");
  tell_of_cache();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(circuit().state, closed);
  EXPECT_EQ(config(), GuardianFolder::config());
  EXPECT_TRUE(has_line(log, 4, L"reload config from file failed; err = 1006 invalid config file"));
}

TEST_F(StorageRefresh, AMissingCacheIsNotReplacedByThePackagedFile) {
  folder.write_cache(support::config_text(GuardianFolder::config({"cached"})));
  make_storage();
  std::filesystem::remove(folder.cache_file());
  tell_of_cache();
  refresh();
  EXPECT_EQ(config(), GuardianFolder::config({"cached"}));
  EXPECT_TRUE(
      has_line(log, 4, L"reload config from file failed; err = 1011 open config file failed"));
}

TEST_F(StorageRefresh, TheConfigurationComesBeforeTheServices) {
  make_storage_with(stored_circuit());
  folder.write_cache("no configuration");
  folder.write_services("no services");
  tell_of_services();
  tell_of_cache();
  refresh();
  std::vector<std::wstring> failures;
  for (const auto& line : log.lines(4)) {
    if (line.text.starts_with(L"reload ")) failures.push_back(line.text.substr(0, 15));
  }
  EXPECT_EQ(failures, (std::vector<std::wstring>{L"reload config f", L"reload services"}));
}

TEST_F(StorageRefresh, WhatAnotherSavedReplacesTheReset) {
  make_storage_with(stored_circuit(open));
  folder.plant("svc", stored_circuit(open, GuardianFolder::start_seconds + 77));
  folder.write_cache(support::config_text(GuardianFolder::config({"svc"})));
  tell_of_services();
  tell_of_cache();
  refresh();
  EXPECT_EQ(circuit().state, open);
  EXPECT_EQ(circuit().next_request_time, GuardianFolder::start + 77 * ticks_per_second);
}

TEST_F(StorageRefresh, AServiceThatIsNotMonitoredGetsNoCircuit) {
  folder.package(GuardianFolder::config({"other"}));
  make_storage();
  EXPECT_FALSE(refresh());
  EXPECT_TRUE(storage->circuits().empty());
}

TEST_F(StorageRefresh, AResetIsReportedEvenForAServiceThatIsNotMonitored) {
  make_storage_with(stored_circuit(open));
  folder.write_cache(support::config_text(GuardianFolder::config({"other"})));
  tell_of_cache();
  EXPECT_TRUE(refresh());
}

TEST_F(StorageRefresh, AResetThatChangesNothingIsNotReported) {
  make_storage_with(stored_circuit());
  folder.write_cache(support::config_text(GuardianFolder::config({"svc"})));
  tell_of_cache();
  EXPECT_FALSE(refresh());
}

TEST_F(StorageRefresh, AReadBackTimeHasLostItsFraction) {
  folder.seam().hold_clock(GuardianFolder::start + 9'999'999);
  make_storage();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(circuit().next_request_time, GuardianFolder::start + 9'999'999);
  save();
  tell_of_services();
  EXPECT_FALSE(refresh());
  EXPECT_EQ(circuit().next_request_time, GuardianFolder::start);
}

// With the real watcher.

TEST_F(StorageRefresh, FollowsAnothersWrites) {
  make_storage_with(stored_circuit());
  ASSERT_TRUE(watcher_reports());
  folder.plant("svc", stored_circuit(open, GuardianFolder::start_seconds + 5));
  EXPECT_TRUE(waiting::until([this] {
    refresh();
    return circuit().state == open;
  }));
}

TEST_F(StorageRefresh, FollowsAnothersConfiguration) {
  make_storage_with(stored_circuit(open, GuardianFolder::start_seconds + 5));
  ASSERT_TRUE(watcher_reports());
  folder.write_cache(support::config_text(GuardianFolder::config({"svc"})));
  EXPECT_TRUE(waiting::until([this] {
    refresh();
    return config().services.has_value();
  }));
  EXPECT_TRUE(has_line(log, 16, L"config cache modified"));
  EXPECT_TRUE(events.posted().empty());
}

TEST_F(StorageRefresh, TellsItsTwoFilesApartInOneFolder) {
  make_storage_with(stored_circuit());
  ASSERT_TRUE(watcher_reports());
  EXPECT_EQ(count_lines(log, 16, L"config cache modified"), 0u);
}

TEST_F(StorageRefresh, KeepsItsConfigurationWhenTheCacheIsDeleted) {
  folder.write_cache(support::config_text(GuardianFolder::config({"svc"})));
  make_storage_with(stored_circuit(open, GuardianFolder::start_seconds + 5));
  // The folder is open and the first read was asked for.
  ASSERT_TRUE(waiting::until([this] { return folder.calls(platform::Call::watch) == 2; }));
  std::filesystem::remove(folder.cache_file());
  // Reports keep the order of what happened, so the removal was seen by then.
  ASSERT_TRUE(watcher_reports());
  refresh();
  EXPECT_EQ(count_lines(log, 16, L"config cache modified"), 0u);
  EXPECT_EQ(config(), GuardianFolder::config({"svc"}));
  EXPECT_EQ(circuit().state, open);
}

TEST_F(StorageRefresh, OutlivesAProcessKilledWithinASave) {
  if (!support::ForkedChild::possible()) GTEST_SKIP() << "processes can't be copied here";
  make_storage_with(stored_circuit(open, GuardianFolder::start_seconds + 5));
  ASSERT_TRUE(watcher_reports());
  support::ForkedChild child([this](const auto& ready) {
    const std::wstring file = folder.lock_file().wstring();
    cloud::guardian::file_lock lock(file);
    lock.lock();
    folder.write_services("{\"svc\":{\"al");
    ready();
  });
  child.kill();
  EXPECT_TRUE(waiting::until([this] {
    refresh();
    return count_lines(log, 4,
                       L"reload services from file failed; err = 1006 invalid services info "
                       L"file") != 0;
  }));
  EXPECT_EQ(circuit().state, open);
  EXPECT_EQ(folder.content(folder.services_file()), "{\"svc\":{\"al");
}

}  // namespace
