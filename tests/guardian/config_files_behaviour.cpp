#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guardian/config_files.h"
#include "guardian/files_test.h"
#include "guardian/guardian_json.h"
#include "platform/file.h"
#include "platform/library.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

using namespace cloud::guardian;

const std::filesystem::path packaged_file =
    std::filesystem::path("settings") / "cloud_guardian_settings.json";
const std::filesystem::path cache_file =
    std::filesystem::path("settings") / "cloud" / "cloud_guardian_settings_cache.json";
const wchar_t* const loader = L"cloud::guardian::load_config_from_file";

const char* const packaged = R"({
  "storage_folder": "guardian", "storage_filename": "services.json",
  "circuit_config": {"threshold": 5, "intervals": [{"min": 60, "max": 120}],
                     "reset_threshold": 30}})";
const guardian_config packaged_config{5, {{60, 120}}, 30, {}};

const char* const cached = R"({"circuit_config":{"intervals":[{"max":2,"min":1}],)"
                           R"("reset_threshold":3,"threshold":4},"services":["a","b"]})";
const guardian_config cached_config{4, {{1, 2}}, 3, std::vector<std::string>{"a", "b"}};

class GuardianFiles : public testing::Test {
 protected:
  guardian_paths paths() const {
    guardian_paths made;
    made.admin_storage_folder = std::wstring(L"settings") + platform::path_separator + L"cloud";
    made.config_storage_filename = L"cloud_guardian_settings_cache.json";
    return made;
  }
  std::wstring full(const std::filesystem::path& relative) const {
    return platform::wide_text(folder.path() / relative);
  }
  /// A folder where a file should be.
  void make_folder(const std::filesystem::path& relative) {
    std::filesystem::create_directories(folder.path() / relative);
  }
  std::vector<std::wstring> failures() const {
    std::vector<std::wstring> texts;
    for (const auto& line : log.lines(4)) {
      EXPECT_EQ(line.function, loader);
      texts.push_back(line.text);
    }
    return texts;
  }

  support::ModuleFolder folder;
  support::RecordingLog log;
};

using Texts = std::vector<std::wstring>;

template <class Value>
void expect_value(const loaded<Value>& result, const Value& expected) {
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.value(), expected);
}

// The packaged file, read for its paths.

TEST_F(GuardianFiles, GivePathsWithTheirDefaults) {
  folder.write(packaged_file, R"({"storage_folder": "guardian", "storage_filename": "s.json"})");
  const auto read = load_paths_from_file();
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().storage_folder, L"guardian");
  EXPECT_EQ(read.value().storage_filename, L"s.json");
  EXPECT_EQ(read.value().admin_storage_folder,
            std::wstring(L"settings") + platform::path_separator + L"cloud");
  EXPECT_EQ(read.value().config_storage_filename, L"cloud_guardian_settings_cache.json");
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(GuardianFiles, GivePathsAsTheyAreWritten) {
  folder.write(
      packaged_file,
      "{\"storage_folder\": \"d\u00f6ssier \u4e2d\", \"storage_filename\": \"\","
      "\"admin_storage_folder\": \"elsewhere\", \"config_storage_filename\": \"c\u00e4che\","
      "\"circuit_config\": 7, \"unknown\": null}");
  const auto read = load_paths_from_file();
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().storage_folder, L"d\u00f6ssier \u4e2d");
  EXPECT_EQ(read.value().storage_filename, L"");
  EXPECT_EQ(read.value().admin_storage_folder, L"elsewhere");
  EXPECT_EQ(read.value().config_storage_filename, L"c\u00e4che");
}

TEST_F(GuardianFiles, GiveNoPathsFromAnInvalidFile) {
  std::vector<std::string> invalid = damaged_files;
  for (const char* text :
       {R"({})", R"({"storage_folder": "a"})", R"({"storage_filename": "a"})",
        R"({"storage_folder": 1, "storage_filename": "a"})",
        R"({"storage_folder": "a", "storage_filename": null})",
        R"({"storage_folder": "a", "storage_filename": "b", "config_storage_filename": null})",
        R"({"storage_folder": "a", "storage_filename": "b", "admin_storage_folder": ["c"]})"}) {
    invalid.emplace_back(text);
  }
  for (const std::string& text : invalid) {
    SCOPED_TRACE(text);
    folder.write(packaged_file, text);
    expect_error(load_paths_from_file(), 1006, L"invalid config file");
  }
}

TEST_F(GuardianFiles, GiveNoPathsWithoutAFile) {
  expect_error(load_paths_from_file(), 1011, L"open config file failed");
}

TEST_F(GuardianFiles, GiveNoPathsFromAFileThatCannotBeRead) {
  folder.write(packaged_file, packaged);
  folder.seam().fail_call(platform::Call::read, 5);
  expect_error(load_paths_from_file(), 1006, L"invalid config file");
  EXPECT_TRUE(load_paths_from_file().has_value());
}

TEST_F(GuardianFiles, GiveNothingWithoutAModuleFolder) {
  folder.seam().set_own_module_name(L"", 5);
  expect_error(load_paths_from_file(), 5, L"dll::get_foldername");
  expect_error(get_config_cache_path(paths()), 5, L"dll::get_foldername");
  expect_error(load_config_from_file(paths()), 5, L"dll::get_foldername");
  EXPECT_EQ(failures(), (Texts{L"load_config_cache_file err=5 dll::get_foldername"}));
}

// The configuration and where it is taken from.

TEST_F(GuardianFiles, GiveTheCachedConfigurationBeforeThePackagedOne) {
  folder.write(packaged_file, packaged);
  folder.write(cache_file, cached);
  expect_value(load_config_from_file(paths()), cached_config);
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(GuardianFiles, GiveTheCachedConfigurationWithoutAPackagedFile) {
  folder.write(cache_file, cached);
  expect_value(load_config_from_file(paths()), cached_config);
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationWithoutACache) {
  folder.write(packaged_file, packaged);
  expect_value(load_config_from_file(paths()), packaged_config);
  EXPECT_EQ(failures(), (Texts{L"load_config_cache_file err=1011 open config file failed"}));
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationForACacheWithoutOne) {
  folder.write(packaged_file, packaged);
  folder.write(cache_file, R"({"services": ["a"]})");
  expect_value(load_config_from_file(paths()), packaged_config);
  EXPECT_EQ(failures(), (Texts{L"load_config_from_file err=1006 invalid config file"}));
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationForAnyDamagedCache) {
  folder.write(packaged_file, packaged);
  for (const std::string& text : damaged_files) {
    SCOPED_TRACE(text);
    log.clear();
    folder.write(cache_file, text);
    expect_value(load_config_from_file(paths()), packaged_config);
    EXPECT_EQ(failures(), (Texts{L"load_config_from_file err=1006 invalid config file"}));
  }
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationForEveryBeginningOfACache) {
  folder.write(packaged_file, packaged);
  const std::string whole = cached;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    folder.write(cache_file, whole.substr(0, size));
    expect_value(load_config_from_file(paths()), packaged_config);
  }
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationForACacheThatCannotBeRead) {
  folder.write(packaged_file, packaged);
  folder.write(cache_file, cached);
  folder.seam().fail_call(platform::Call::read, 5);
  expect_value(load_config_from_file(paths()), packaged_config);
  EXPECT_EQ(failures(), (Texts{L"load_config_from_file err=1006 invalid config file"}));
}

TEST_F(GuardianFiles, GiveThePackagedConfigurationForAFolderInTheCachesPlace) {
  folder.write(packaged_file, packaged);
  make_folder(cache_file);
  expect_value(load_config_from_file(paths()), packaged_config);
  // One system refuses to open a folder, another to read it.
  EXPECT_EQ(failures().size(), 1U);
}

TEST_F(GuardianFiles, MergeNothing) {
  folder.write(packaged_file,
               R"({"circuit_config": {"threshold": 5, "intervals": [], "reset_threshold": 30},
                   "services": ["packaged"]})");
  folder.write(cache_file,
               R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 2}})");
  expect_value(load_config_from_file(paths()), guardian_config{1, {}, 2, {}});
}

TEST_F(GuardianFiles, GiveThePackagedFilesErrorIfBothAreBad) {
  folder.write(packaged_file, "[");
  folder.write(cache_file, "]");
  expect_error(load_config_from_file(paths()), 1006, L"invalid config file");
  EXPECT_EQ(failures(), (Texts{L"load_config_from_file err=1006 invalid config file"}));
}

TEST_F(GuardianFiles, GiveThePackagedFilesErrorIfOnlyTheCacheIsThereAndBad) {
  folder.write(cache_file, "]");
  expect_error(load_config_from_file(paths()), 1011, L"open config file failed");
  EXPECT_EQ(failures(), (Texts{L"load_config_from_file err=1006 invalid config file"}));
}

TEST_F(GuardianFiles, GiveThePackagedFilesErrorIfOnlyThatIsThereAndBad) {
  folder.write(packaged_file, R"({"storage_folder": "a", "storage_filename": "b"})");
  EXPECT_TRUE(load_paths_from_file().has_value());
  expect_error(load_config_from_file(paths()), 1006, L"invalid config file");
  EXPECT_EQ(failures(), (Texts{L"load_config_cache_file err=1011 open config file failed"}));
}

TEST_F(GuardianFiles, GiveAConfigurationFromAPackagedFileWithoutPaths) {
  folder.write(packaged_file,
               R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 2}})");
  expect_error(load_paths_from_file(), 1006, L"invalid config file");
  expect_value(load_config_from_file(paths()), guardian_config{1, {}, 2, {}});
}

TEST_F(GuardianFiles, TakeEveryValueWithoutComplaint) {
  folder.write(packaged_file,
               R"({"circuit_config": {"threshold": 0, "intervals": [{"min": 9, "max": 1}],
                   "reset_threshold": -5}})");
  expect_value(load_config_from_file(paths()), guardian_config{0, {{9, 1}}, -5, {}});
}

TEST_F(GuardianFiles, KeepTheDifferenceBetweenNoListAndAnEmptyOne) {
  for (const auto& services : {std::optional<std::vector<std::string>>{},
                               std::optional<std::vector<std::string>>{std::in_place}}) {
    const guardian_config config{1, {{2, 3}}, 4, services};
    folder.write(cache_file, nlohmann::json(config).dump());
    expect_value(load_config_from_file(paths()), config);
  }
}

// The cache alone.

TEST_F(GuardianFiles, PlaceTheCacheBelowTheModule) {
  expect_value(get_config_cache_path(paths()), full(cache_file));
}

TEST_F(GuardianFiles, PlaceTheCacheWhereThePathsSay) {
  guardian_paths other = paths();
  other.admin_storage_folder = L"d\u00f6ssier";
  other.config_storage_filename = L"\u4e2d.json";
  expect_value(get_config_cache_path(other),
               full(std::filesystem::path(u8"d\u00f6ssier") / u8"\u4e2d.json"));

  folder.write(std::filesystem::path(u8"d\u00f6ssier") / u8"\u4e2d.json", cached);
  expect_value(load_config_from_file(other), cached_config);
}

TEST_F(GuardianFiles, OpenTheCacheForReading) {
  folder.write(cache_file, cached);
  auto file = load_config_cache_file(full(cache_file));
  ASSERT_TRUE(file.has_value());
  std::string text;
  EXPECT_TRUE(std::getline(file.value(), text));
  EXPECT_EQ(text, cached);
}

TEST_F(GuardianFiles, DoNotOpenACacheThatIsAbsentOrDenied) {
  expect_error(load_config_cache_file(full(cache_file)), 1011, L"open config file failed");
  expect_error(load_config_cache_file(L""), 1011, L"open config file failed");
  folder.write(cache_file, cached);
  folder.seam().fail_call(platform::Call::open, 5);
  expect_error(load_config_cache_file(full(cache_file)), 1011, L"open config file failed");
}

TEST_F(GuardianFiles, GiveTheCacheAloneWithoutFallingBack) {
  folder.write(packaged_file, packaged);
  expect_error(load_config_cache(full(cache_file)), 1011, L"open config file failed");
  folder.write(cache_file, "{}");
  expect_error(load_config_cache(full(cache_file)), 1006, L"invalid config file");
  folder.write(cache_file, cached);
  expect_value(load_config_cache(full(cache_file)), cached_config);
  EXPECT_TRUE(log.nothing_logged(4));
}

// A configuration as a text.

TEST_F(GuardianFiles, GiveAConfigurationFromAText) {
  expect_value(load_config_from_string(cached), cached_config);
  // Whatever else a packaged file has is of no interest.
  expect_value(load_config_from_string(packaged), packaged_config);
}

TEST_F(GuardianFiles, RefuseAnInvalidTextWithoutFallingBack) {
  folder.write(packaged_file, packaged);
  folder.write(cache_file, cached);
  std::vector<std::string> invalid = damaged_files;
  invalid.emplace_back("{}");
  invalid.emplace_back(R"({"circuit_config": {"threshold": 1, "intervals": []}})");
  invalid.emplace_back(std::string(cached) + "{}");
  for (const std::string& text : invalid) {
    SCOPED_TRACE(text);
    expect_error(load_config_from_string(text), 1006, L"invalid config str");
  }
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(GuardianFiles, DoNotTakeAFolderForAFile) {
  make_folder(packaged_file);
  EXPECT_TRUE(load_paths_from_file().has_error());
  EXPECT_TRUE(load_config_from_file(paths()).has_error());
}

TEST_F(GuardianFiles, RefuseNestingWithoutEnd) {
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  expect_error(load_config_from_string(deep), 1006, L"invalid config str");
}

}  // namespace
