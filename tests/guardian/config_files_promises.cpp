// Where the guardian's settings come from, and which file wins.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "guardian/config_files.h"
#include "guardian/config_text.h"
#include "guardian/files_test.h"
#include "platform/file.h"
#include "support/GuardianFolder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace cloud::guardian;
using nlohmann::json;
using support::has_line;

class ConfigFiles : public testing::Test {
 protected:
  static inline const std::filesystem::path settings = "settings";

  void package(const std::string& content) {
    folder.write(settings / "cloud_guardian_settings.json", content);
  }
  void cache(const std::string& content) {
    folder.write(settings / "cloud" / "cloud_guardian_settings_cache.json", content);
  }
  static guardian_paths paths() { return support::GuardianFolder::paths(); }

  support::RecordingLog log;
  support::ModuleFolder folder;
};

// paths

TEST_F(ConfigFiles, GivePathsWithDefaultsForTwoOfThem) {
  package(R"({"storage_folder": "profiles", "storage_filename": "circuits.json"})");
  const auto paths = load_paths_from_file();
  ASSERT_TRUE(paths);
  EXPECT_EQ(paths.value().storage_folder, L"profiles");
  EXPECT_EQ(paths.value().storage_filename, L"circuits.json");
  EXPECT_EQ(paths.value().admin_storage_folder, (settings / "cloud").wstring());
  EXPECT_EQ(paths.value().config_storage_filename, L"cloud_guardian_settings_cache.json");
}

TEST_F(ConfigFiles, GiveAllFourPathsWhereTheyAreSet) {
  package(R"({"storage_folder": "a", "storage_filename": "b", "config_storage_filename": "c",
              "admin_storage_folder": "d", "unknown": [1]})");
  const auto paths = load_paths_from_file();
  ASSERT_TRUE(paths);
  EXPECT_EQ(paths.value().storage_folder, L"a");
  EXPECT_EQ(paths.value().storage_filename, L"b");
  EXPECT_EQ(paths.value().config_storage_filename, L"c");
  EXPECT_EQ(paths.value().admin_storage_folder, L"d");
}

TEST_F(ConfigFiles, GivePathsInUtf8AsWideTexts) {
  package("{\"storage_folder\": \"d\xc3\xa9\xe4\xb8\xad\", \"storage_filename\": \"\"}");
  const auto paths = load_paths_from_file();
  ASSERT_TRUE(paths);
  EXPECT_EQ(paths.value().storage_folder, L"d\u00e9\u4e2d");
  EXPECT_EQ(paths.value().storage_filename, L"");
}

TEST_F(ConfigFiles, RequireFolderAndNameOfTheServicesFile) {
  package(R"({"storage_filename": "b", "config_storage_filename": "c"})");
  expect_error(load_paths_from_file(), 1006, L"invalid config file");
  package(R"({"storage_folder": "a", "config_storage_filename": "c"})");
  expect_error(load_paths_from_file(), 1006, L"invalid config file");
}

TEST_F(ConfigFiles, RefusePathsThatAreNoTexts) {
  for (const char* key :
       {"storage_folder", "storage_filename", "config_storage_filename", "admin_storage_folder"}) {
    json content = {{"storage_folder", "a"}, {"storage_filename", "b"}};
    content[key] = 5;
    package(content.dump());
    SCOPED_TRACE(key);
    expect_error(load_paths_from_file(), 1006, L"invalid config file");
  }
}

TEST_F(ConfigFiles, GivePathsWithoutAConfiguration) {
  package(R"({"storage_folder": "a", "storage_filename": "b"})");
  EXPECT_TRUE(load_paths_from_file());
  expect_error(load_config_from_file(paths()), 1006, L"invalid config file");
}

TEST_F(ConfigFiles, GiveAConfigurationWithoutPaths) {
  package(with_config(good_config));
  EXPECT_TRUE(load_config_from_file(paths()));
  expect_error(load_paths_from_file(), 1006, L"invalid config file");
}

TEST_F(ConfigFiles, TellOfAPackagedFileThatIsNotThere) {
  expect_error(load_paths_from_file(), 1011, L"open config file failed");
  expect_error(load_config_from_file(paths()), 1011, L"open config file failed");
}

TEST_F(ConfigFiles, RefusePathsFromWhatIsNoObject) {
  for (const char* content : {"", "{", "[]", "null", "\"text\"", "{}x"}) {
    package(content);
    SCOPED_TRACE(content);
    expect_error(load_paths_from_file(), 1006, L"invalid config file");
  }
}

TEST_F(ConfigFiles, AreNowhereWithoutTheModulesFolder) {
  folder.seam().set_own_module_name(L"", 126);
  expect_error(load_paths_from_file(), 126, L"dll::get_foldername");
  expect_error(load_config_from_file(paths()), 126, L"dll::get_foldername");
  expect_error(get_config_cache_path(paths()), 126, L"dll::get_foldername");
  EXPECT_TRUE(has_line(log, 4, L"load_config_cache_file err=126 dll::get_foldername"));
}

TEST_F(ConfigFiles, HaveTheCacheInTheAdministratorsFolder) {
  guardian_paths where = paths();
  const auto usual = get_config_cache_path(where);
  ASSERT_TRUE(usual);
  EXPECT_EQ(std::filesystem::path(usual.value()),
            folder.path() / "settings" / "cloud" / "cloud_guardian_settings_cache.json");
  where.admin_storage_folder = L"elsewhere";
  where.config_storage_filename = L"c.json";
  const auto other = get_config_cache_path(where);
  ASSERT_TRUE(other);
  EXPECT_EQ(std::filesystem::path(other.value()), folder.path() / "elsewhere" / "c.json");
}

TEST_F(ConfigFiles, HaveTheCacheAnywhereByAnAbsoluteFolder) {
  const support::TemporaryFolder other;
  guardian_paths where = paths();
  where.admin_storage_folder = platform::wide_text(other.path());
  const auto path = get_config_cache_path(where);
  ASSERT_TRUE(path);
  EXPECT_EQ(std::filesystem::path(path.value()), other / "cloud_guardian_settings_cache.json");
}

TEST_F(ConfigFiles, AreNowhereByAModulesNameWithoutAFolder) {
  folder.seam().set_own_module_name(L"cloudsplicer.dll");
  expect_error(load_paths_from_file(), 31, L"dll::get_foldername");
}

TEST_F(ConfigFiles, AreOpenedForReadingAlone) {
  folder.write("some.json", "text");
  auto stream = load_config_cache_file((folder.path() / "some.json").wstring());
  ASSERT_TRUE(stream);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream.value()), {}), "text");
  expect_error(load_config_cache_file((folder.path() / "none.json").wstring()), 1011,
               L"open config file failed");
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "none.json"));
}

// precedence

TEST_F(ConfigFiles, PreferTheCacheAndMergeNothing) {
  package(with_config(R"({"threshold": 1, "intervals": [], "reset_threshold": 1})",
                      R"(, "services": ["a"])"));
  cache(with_config(good_config));
  const auto config = load_config_from_file(paths());
  ASSERT_TRUE(config);
  EXPECT_EQ(config.value().threshold, 4u);
  EXPECT_EQ(config.value().intervals, (std::vector<break_interval>{{1, 2}, {30, 40}}));
  EXPECT_EQ(config.value().reset_threshold, 9);
  EXPECT_FALSE(config.value().services);
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(ConfigFiles, FallBackToThePackagedFileWithOneLineWithoutACache) {
  package(with_config(good_config, R"(, "services": ["x", "y"])"));
  const auto config = load_config_from_file(paths());
  ASSERT_TRUE(config);
  EXPECT_EQ(config.value().threshold, 4u);
  EXPECT_EQ(config.value().services, (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(
      log.texts(),
      (std::vector<std::wstring>{L"load_config_cache_file err=1011 open config file failed"}));
  EXPECT_EQ(log.lines(4).size(), 1u);
}

TEST_F(ConfigFiles, FallBackToThePackagedFileWithOneLineForABadCache) {
  package(with_config(good_config));
  for (const char* bad : {"{}", R"({"services": []})", "", "{", "[]", R"({"circuit_config": 5})"}) {
    log.clear();
    cache(bad);
    const auto config = load_config_from_file(paths());
    ASSERT_TRUE(config) << bad;
    EXPECT_EQ(config.value().threshold, 4u);
    EXPECT_EQ(log.texts(),
              (std::vector<std::wstring>{L"load_config_from_file err=1006 invalid config file"}));
    EXPECT_EQ(log.lines(4).size(), 1u);
  }
}

TEST_F(ConfigFiles, GiveThePackagedFilesErrorWhereBothAreBad) {
  cache("{}");
  expect_error(load_config_from_file(paths()), 1011, L"open config file failed");
  package("{");
  expect_error(load_config_from_file(paths()), 1006, L"invalid config file");
  std::filesystem::remove(folder.path() / "settings" / "cloud" /
                          "cloud_guardian_settings_cache.json");
  expect_error(load_config_from_file(paths()), 1006, L"invalid config file");
}

TEST_F(ConfigFiles, LookForTheCacheWhereThePathsSay) {
  package(with_config(R"({"threshold": 1, "intervals": [], "reset_threshold": 1})"));
  guardian_paths where = paths();
  where.admin_storage_folder = L"other";
  where.config_storage_filename = L"c.json";
  folder.write(std::filesystem::path("other") / "c.json", with_config(good_config));
  const auto config = load_config_from_file(where);
  ASSERT_TRUE(config);
  EXPECT_EQ(config.value().threshold, 4u);
}

}  // namespace
