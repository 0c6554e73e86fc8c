// How a storage begins.

#include <gtest/gtest.h>

#include "support/StorageTest.h"
#include "support/log_call.h"

namespace {

using support::count_lines;
using support::has_line;
using support::line_that_begins;
using support::stored_circuit;
using support::stored_failure;

class StorageStart : public support::StorageTest {};

TEST_F(StorageStart, FailsWithoutAnyConfiguration) {
  folder.package(R"({"storage_folder":"guardian","storage_filename":"services.json"})");
  EXPECT_EQ(failure_to_make(), "Failed to load cloud guardian config from file");
  EXPECT_TRUE(has_line(
      log, 4, L"Failed to load cloud guardian config from file invalid config file err = 1006"));
}

TEST_F(StorageStart, FailsWithoutThePackagedFile) {
  std::filesystem::remove(folder.path() / "settings" / "cloud_guardian_settings.json");
  EXPECT_EQ(failure_to_make(), "Failed to load cloud guardian config from file");
  EXPECT_TRUE(
      has_line(log, 4,
               L"Failed to load cloud guardian config from file open config file failed err = "
               L"1011"));
}

TEST_F(StorageStart, TakesAnAbsentServicesFileForAnEmptyHistory) {
  make_storage();
  EXPECT_TRUE(storage->circuits().empty());
  EXPECT_TRUE(has_line(
      log, 8,
      L"Failed to load cloud guardian services info from file open services info file failed err = "
      L"1011"));
  EXPECT_FALSE(std::filesystem::exists(folder.services_file()));
}

TEST_F(StorageStart, TakesAnInvalidServicesFileForAnEmptyHistory) {
  folder.write_services(R"(["svc"])");
  make_storage();
  EXPECT_TRUE(storage->circuits().empty());
  EXPECT_TRUE(has_line(
      log, 8,
      L"Failed to load cloud guardian services info from file invalid services info file err = "
      L"1006"));
}

TEST_F(StorageStart, LeavesAnInvalidServicesFileToTheNextChange) {
  folder.write_services("{");
  make_storage();
  EXPECT_EQ(folder.content(folder.services_file()), "{");
  EXPECT_TRUE(refresh());
  save();
  EXPECT_EQ(folder.circuit("svc"), stored_circuit());
}

TEST_F(StorageStart, TakesTheCircuitsOfTheFile) {
  auto stored = stored_circuit(circuit_state::half_open, 1'600'000'000);
  stored.update({{"counter", 1}, {"index", 2}, {"blocked", 3}, {"allowed", 4}});
  stored["errors"].push_back(stored_failure("32005.1011", 2, "ask"));
  folder.plant("svc", stored);
  make_storage();
  ASSERT_EQ(storage->circuits().size(), 1u);
  EXPECT_EQ(circuit().state, circuit_state::half_open);
  EXPECT_EQ(circuit().counter, 1u);
  EXPECT_EQ(circuit().index, 2u);
  EXPECT_EQ(circuit().next_request_time, 1'600'000'000 * ticks_per_second);
  ASSERT_EQ(circuit().errors.size(), 1u);
  EXPECT_EQ(circuit().errors[0].value, "32005.1011");
  EXPECT_EQ(circuit().blocked, 3u);
  EXPECT_EQ(circuit().allowed, 4u);
}

TEST_F(StorageStart, TellsWhereItsFilesAre) {
  make_storage();
  const auto path_after = [this](const std::wstring& beginning) {
    const auto line = line_that_begins(log, 16, beginning);
    return line ? std::filesystem::path(line->substr(beginning.size())) : "";
  };
  EXPECT_EQ(path_after(L"services cache path "), folder.services_file());
  EXPECT_EQ(path_after(L"config cache path "), folder.cache_file());
}

TEST_F(StorageStart, PrefersTheCacheToThePackagedFile) {
  folder.write_cache(support::config_text(support::GuardianFolder::config({"cached"})));
  make_storage();
  EXPECT_EQ(config(), support::GuardianFolder::config({"cached"}));
}

TEST_F(StorageStart, WritesNothing) {
  const support::CallCount count(folder.seam());
  make_storage();
  EXPECT_EQ(count.writes(), 0u);
  EXPECT_EQ(count.locks(), 0u);
}

TEST_F(StorageStart, WatchesOneFolderOnce) {
  make_storage();
  storage.reset();
  // The folder is opened and a read started, before the watcher looks whether it is to stop.
  EXPECT_EQ(folder.calls(platform::Call::watch), 2u);
}

TEST_F(StorageStart, SurvivesAFolderThatCannotBeWatched) {
  folder.seam().fail_calls(platform::Call::watch, 5);
  make_storage();
  storage.reset();
  const auto line = line_that_begins(log, 4, L"make_directory_changes for ");
  ASSERT_TRUE(line);
  EXPECT_TRUE(line->ends_with(L" err=5")) << "other line";
}

class StorageWithoutCachePath : public StorageStart {
 protected:
  StorageWithoutCachePath() {
    // By then all else is known that depends on the module's name.
    log.recorder().set_hook([this](const support::log_call& call) {
      if (std::wstring_view(call.text).starts_with(L"services cache path ")) {
        folder.seam().set_own_module_name(L"", 126);
      }
    });
  }
  ~StorageWithoutCachePath() override {
    storage.reset();  // its watcher logs too
    log.recorder().set_hook({});
  }
};

TEST_F(StorageWithoutCachePath, IsBuiltAndSaysSo) {
  make_storage();
  EXPECT_TRUE(has_line(log, 8, L"Failed to get settings cache path dll::get_foldername err = 126"));
  EXPECT_FALSE(line_that_begins(log, 16, L"config cache path "));
}

TEST_F(StorageWithoutCachePath, DoesNotTakeAConfiguration) {
  folder.plant("svc", stored_circuit(circuit_state::open));
  make_storage();
  const support::CallCount count(folder.seam());
  EXPECT_FALSE(reload(support::GuardianFolder::config({"other"})));
  EXPECT_EQ(count_lines(log, 8, L"empty config cache path"), 1u);
  EXPECT_EQ(config(), support::GuardianFolder::config());
  EXPECT_EQ(circuit().state, circuit_state::open);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(StorageWithoutCachePath, StillWatchesTheServicesFile) {
  folder.plant("svc", stored_circuit());
  make_storage();
  EXPECT_TRUE(watcher_reports());
}

}  // namespace
