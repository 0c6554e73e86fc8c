// What a storage writes, and how it takes a configuration.

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/file.h"
#include "support/StorageTest.h"
#include "support/throttling_reports.h"

namespace {

using support::CallCount;
using support::count_lines;
using support::GuardianFolder;
using support::has_line;
using support::line_that_begins;
using support::Reports;
using support::stored_circuit;
using support::stored_failure;
using support::throttling_reports;

constexpr auto closed = circuit_state::closed;
constexpr auto open = circuit_state::open;

class Storage : public support::StorageTest {};

// which services are monitored

TEST_F(Storage, MonitorsEveryServiceWithoutAList) {
  make_storage();
  EXPECT_TRUE(storage->is_monitored("svc"));
  EXPECT_TRUE(storage->is_monitored(""));
}

TEST_F(Storage, MonitorsNoServiceWithAnEmptyList) {
  folder.package(GuardianFolder::config(std::vector<std::string>{}));
  make_storage();
  EXPECT_FALSE(storage->is_monitored("svc"));
  EXPECT_FALSE(storage->is_monitored(""));
}

TEST_F(Storage, MonitorsExactlyWhatIsListed) {
  folder.package(GuardianFolder::config({"connect/commands", "svc"}));
  make_storage();
  EXPECT_TRUE(storage->is_monitored("svc"));
  EXPECT_TRUE(storage->is_monitored("connect/commands"));
  for (const char* other : {"Svc", "sv", "svc ", "connect", ""}) {
    EXPECT_FALSE(storage->is_monitored(other)) << other;
  }
}

// saving

TEST_F(Storage, SavesCompactlyWithSortedKeys) {
  auto stored = stored_circuit(open);
  stored.update({{"blocked", 3}, {"index", 1}});
  stored["errors"].push_back(stored_failure("5", 0, "m"));
  folder.plant("svc", stored);
  make_storage();
  save();
  EXPECT_EQ(folder.content(folder.services_file()),
            R"({"svc":{"allowed":0,"blocked":3,"counter":0,"errors":[{"field":0,"method":"m",)"
            R"("value":"5"}],"index":1,"next_request_time":1700000000,"state":1}})");
}

TEST_F(Storage, SavesNamesBeyondAsciiAsTheyAre) {
  make_storage();
  EXPECT_TRUE(refresh("d\xc3\xbc"));
  save();
  EXPECT_NE(folder.content(folder.services_file()).find("\"d\xc3\xbc\""), std::string::npos);
}

TEST_F(Storage, SavesTheWholeMap) {
  folder.write_services(
      nlohmann::json{{"one", stored_circuit(open)}, {"two", stored_circuit()}}.dump());
  make_storage();
  EXPECT_TRUE(refresh("three"));
  save();
  EXPECT_EQ(folder.services(), (nlohmann::json{{"one", stored_circuit(open)},
                                               {"two", stored_circuit()},
                                               {"three", stored_circuit()}}));
}

TEST_F(Storage, LeavesNoOtherFileBehindASave) {
  make_storage();
  refresh();
  save();
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.cloud_folder())) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"cloud_guardian_lock.lock", "services.json"}));
}

TEST_F(Storage, KeepsItsMapWhenAWriteFailsAndTriesAgain) {
  make_storage();
  EXPECT_TRUE(refresh());
  folder.seam().fail_call(platform::Call::write, 112);
  save();
  const auto line = line_that_begins(log, 4, L"failed to write to file ");
  ASSERT_TRUE(line);
  EXPECT_EQ(platform::file_path(line->substr(24)), folder.services_file());
  EXPECT_EQ(storage->circuits().size(), 1u);
  save();
  EXPECT_EQ(folder.circuit("svc"), stored_circuit());
}

TEST_F(Storage, LogsAFileThatCannotBeOpenedForWriting) {
  make_storage();
  refresh();
  std::filesystem::create_directory(folder.services_file());
  save();
  const auto line = line_that_begins(log, 4, L"failed to write to file ");
  ASSERT_TRUE(line);
  EXPECT_EQ(platform::file_path(line->substr(24)), folder.services_file());
}

TEST_F(Storage, LeavesATruncatedFileAfterANameThatIsNotUtf8) {
  folder.plant("svc", stored_circuit());
  make_storage();
  EXPECT_TRUE(refresh("bad\xff"));
  save();
  EXPECT_EQ(folder.content(folder.services_file()), "");
  const auto line = line_that_begins(log, 4, L"failed to save file ");
  ASSERT_TRUE(line);
  EXPECT_NE(line->find(L" [json.exception.type_error.316]"), std::wstring::npos);
  EXPECT_EQ(storage->circuits().size(), 2u);
}

// a configuration from the cloud

TEST_F(Storage, CachesANewConfigurationAndAppliesIt) {
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"a", "b"})));
  EXPECT_EQ(folder.content(folder.cache_file()),
            R"({"circuit_config":{"intervals":[{"max":60,"min":60},{"max":120,"min":120},)"
            R"({"max":300,"min":300}],"reset_threshold":30,"threshold":3},"services":["a","b"]})");
  EXPECT_EQ(config(), GuardianFolder::config({"a", "b"}));
}

TEST_F(Storage, CachesNoListWhereThereIsNone) {
  make_storage();
  guardian_config config = GuardianFolder::config();
  config.threshold = 4;
  EXPECT_TRUE(reload(config));
  EXPECT_EQ(folder.content(folder.cache_file()).find("services"), std::string::npos);
}

TEST_F(Storage, CachesAnEmptyListAsOne) {
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config(std::vector<std::string>{})));
  EXPECT_NE(folder.content(folder.cache_file()).find("\"services\":[]"), std::string::npos);
}

TEST_F(Storage, DoesNothingForTheSameConfiguration) {
  folder.plant("svc", stored_circuit(open));
  make_storage();
  const CallCount count(folder.seam());
  EXPECT_FALSE(reload(GuardianFolder::config()));
  EXPECT_EQ(count_lines(log, 16, L"same config"), 1u);
  EXPECT_EQ(count.writes(), 0u);
  EXPECT_EQ(circuit().state, open);
  EXPECT_FALSE(std::filesystem::exists(folder.cache_file()));
}

TEST_F(Storage, TakesAReorderedListForANewConfiguration) {
  folder.package(GuardianFolder::config({"a", "svc"}));
  folder.plant("svc", stored_circuit(open));
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"svc", "a"})));
  EXPECT_EQ(circuit().state, closed);
  EXPECT_EQ(folder.circuit("svc"), stored_circuit());
}

TEST_F(Storage, ReportsEachCircuitThatANewConfigurationCloses) {
  auto half = stored_circuit(circuit_state::half_open);
  half.update({{"blocked", 4}, {"allowed", 2}});
  folder.write_services(nlohmann::json{{"svc", half}, {"calm", stored_circuit()}}.dump());
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  EXPECT_EQ(throttling_reports(events), Reports{L"svc disabled"});
  EXPECT_EQ(events.posted()[0].integers.at(L"blocked_requests"), 4);
  EXPECT_EQ(events.posted()[0].integers.at(L"allowed_requests"), 2);
  EXPECT_TRUE(has_line(log, 16, L"service svc circuit state closed"));
  EXPECT_FALSE(line_that_begins(log, 16, L"service calm"));
}

TEST_F(Storage, ClearsAllOfACircuitThatANewConfigurationCloses) {
  auto stored = stored_circuit(open, GuardianFolder::start_seconds + 5);
  stored.update({{"counter", 1}, {"index", 2}, {"blocked", 4}, {"allowed", 2}});
  folder.plant("svc", stored);
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  EXPECT_EQ(folder.circuit("svc"), stored_circuit());
}

TEST_F(Storage, ForgetsTheFailuresOfClosedCircuitsWithANewConfiguration) {
  const std::int64_t before = GuardianFolder::start_seconds - 60;
  auto counted = stored_circuit(closed, before);
  counted["counter"] = 2;
  auto remembered = stored_circuit(closed, before);
  remembered["errors"].push_back(stored_failure("5", 0, "m"));
  folder.write_services(nlohmann::json{{"counted", counted}, {"remembered", remembered}}.dump());
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  EXPECT_EQ(folder.services(), (nlohmann::json{{"counted", stored_circuit()},
                                               {"remembered", stored_circuit(closed, before)}}));
  EXPECT_TRUE(events.posted().empty());
}

TEST_F(Storage, SavesTheServicesOnlyIfANewConfigurationChangedOne) {
  folder.plant("svc", stored_circuit());
  make_storage();
  const CallCount count(folder.seam());
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  EXPECT_EQ(count.writes(), 1u);
}

TEST_F(Storage, AppliesAConfigurationThatCannotBeCached) {
  folder.plant("svc", stored_circuit(open));
  make_storage();
  folder.seam().fail_call(platform::Call::write, 5);
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  const auto line = line_that_begins(log, 4, L"failed to write to file ");
  ASSERT_TRUE(line);
  EXPECT_EQ(platform::file_path(line->substr(24)), folder.cache_file());
  EXPECT_EQ(config(), GuardianFolder::config({"svc"}));
  EXPECT_EQ(folder.circuit("svc"), stored_circuit());
}

TEST_F(Storage, SurvivesARestartWithTheCachedConfiguration) {
  make_storage();
  EXPECT_TRUE(reload(GuardianFolder::config({"svc"})));
  storage.reset();
  make_storage();
  EXPECT_EQ(config(), GuardianFolder::config({"svc"}));
}

}  // namespace
