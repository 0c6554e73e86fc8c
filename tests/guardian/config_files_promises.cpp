// What the guardian's files may hold, and what becomes of those that hold something else.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>
#include <utility>

#include "_base/win_error.h"
#include "guardian/config_files.h"
#include "guardian/guardian_json.h"
#include "support/GuardianFolder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

using namespace cloud::guardian;
using nlohmann::json;
using support::has_line;

constexpr std::int64_t second = 10'000'000;

const char* const good_config =
    R"({"threshold": 4, "intervals": [{"min": 1, "max": 2}, {"min": 30, "max": 40}],
        "reset_threshold": 9})";

template <class Value>
testing::AssertionResult fails(const loaded<Value>& result, std::uint32_t code,
                               const std::wstring& message) {
  if (!result.has_error()) return testing::AssertionFailure() << "it succeeded";
  const error_record& error = result.error();
  if (error.code == winapi::make_error_code(code) && error.message == message &&
      std::string(error.code.category().name()) == "win_error") {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure()
         << error.code.category().name() << " " << error.code.value() << ", "
         << std::string(error.message.begin(), error.message.end());
}

std::string with_config(const std::string& config, const std::string& more = "") {
  return R"({"circuit_config": )" + config + more + "}";
}
std::string with_threshold(const std::string& value) {
  return with_config(R"({"intervals": [], "reset_threshold": 0, "threshold": )" + value + "}");
}

class ConfigFiles : public testing::Test {
 protected:
  static inline const std::filesystem::path settings = "settings";

  void package(const std::string& content) {
    folder.write(settings / "cloud_guardian_settings.json", content);
  }
  void cache(const std::string& content) {
    folder.write(settings / "cloud" / "cloud_guardian_settings_cache.json", content);
  }
  std::wstring services(const std::string& content) {
    folder.write("services.json", content);
    return (folder.path() / "services.json").wstring();
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
  EXPECT_TRUE(fails(load_paths_from_file(), 1006, L"invalid config file"));
  package(R"({"storage_folder": "a", "config_storage_filename": "c"})");
  EXPECT_TRUE(fails(load_paths_from_file(), 1006, L"invalid config file"));
}

TEST_F(ConfigFiles, RefusePathsThatAreNoTexts) {
  for (const char* key :
       {"storage_folder", "storage_filename", "config_storage_filename", "admin_storage_folder"}) {
    json content = {{"storage_folder", "a"}, {"storage_filename", "b"}};
    content[key] = 5;
    package(content.dump());
    EXPECT_TRUE(fails(load_paths_from_file(), 1006, L"invalid config file")) << key;
  }
}

TEST_F(ConfigFiles, GivePathsWithoutAConfiguration) {
  package(R"({"storage_folder": "a", "storage_filename": "b"})");
  EXPECT_TRUE(load_paths_from_file());
  EXPECT_TRUE(fails(load_config_from_file(paths()), 1006, L"invalid config file"));
}

TEST_F(ConfigFiles, GiveAConfigurationWithoutPaths) {
  package(with_config(good_config));
  EXPECT_TRUE(load_config_from_file(paths()));
  EXPECT_TRUE(fails(load_paths_from_file(), 1006, L"invalid config file"));
}

TEST_F(ConfigFiles, TellOfAPackagedFileThatIsNotThere) {
  EXPECT_TRUE(fails(load_paths_from_file(), 1011, L"open config file failed"));
  EXPECT_TRUE(fails(load_config_from_file(paths()), 1011, L"open config file failed"));
}

TEST_F(ConfigFiles, RefusePathsFromWhatIsNoObject) {
  for (const char* content : {"", "{", "[]", "null", "\"text\"", "{}x"}) {
    package(content);
    EXPECT_TRUE(fails(load_paths_from_file(), 1006, L"invalid config file")) << content;
  }
}

TEST_F(ConfigFiles, AreNowhereWithoutTheModulesFolder) {
  folder.seam().set_own_module_name(L"", 126);
  EXPECT_TRUE(fails(load_paths_from_file(), 126, L"dll::get_foldername"));
  EXPECT_TRUE(fails(load_config_from_file(paths()), 126, L"dll::get_foldername"));
  EXPECT_TRUE(fails(get_config_cache_path(paths()), 126, L"dll::get_foldername"));
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

TEST_F(ConfigFiles, AreOpenedForReadingAlone) {
  folder.write("some.json", "text");
  auto stream = load_config_cache_file((folder.path() / "some.json").wstring());
  ASSERT_TRUE(stream);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream.value()), {}), "text");
  EXPECT_TRUE(fails(load_config_cache_file((folder.path() / "none.json").wstring()), 1011,
                    L"open config file failed"));
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
  EXPECT_TRUE(fails(load_config_from_file(paths()), 1011, L"open config file failed"));
  package("{");
  EXPECT_TRUE(fails(load_config_from_file(paths()), 1006, L"invalid config file"));
  std::filesystem::remove(folder.path() / "settings" / "cloud" /
                          "cloud_guardian_settings_cache.json");
  EXPECT_TRUE(fails(load_config_from_file(paths()), 1006, L"invalid config file"));
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

// a configuration's text

TEST(GuardianConfigText, GivesTheWholeConfiguration) {
  const auto config = load_config_from_string(with_config(
      R"({"threshold": 5, "intervals": [{"min": 60, "max": 90, "step": 1}],
          "reset_threshold": -3, "extra": {}})",
      R"(, "services": ["b", "a"], "more": 1)"));
  ASSERT_TRUE(config);
  guardian_config expected;
  expected.threshold = 5;
  expected.intervals = {{60, 90}};
  expected.reset_threshold = -3;
  expected.services = {"b", "a"};
  EXPECT_EQ(config.value(), expected);
}

TEST(GuardianConfigText, IsRefusedInOneWay) {
  for (const char* bad : {"", "{", "[]", "{}", "null", "7", R"({"circuit_config": []})",
                          R"({"circuit_config": {"threshold": 1, "intervals": []}})",
                          R"({"circuit_config": {"threshold": 1, "reset_threshold": 1}})",
                          R"({"circuit_config": {"intervals": [], "reset_threshold": 1}})"}) {
    EXPECT_TRUE(fails(load_config_from_string(bad), 1006, L"invalid config str")) << bad;
  }
}

TEST(GuardianConfigText, RequiresBothEndsOfAnInterval) {
  for (const char* interval :
       {R"({"min": 1})", R"({"max": 1})", "{}", "5", R"({"min": 1, "max": "2"})"}) {
    const std::string text = with_config(
        R"({"threshold": 1, "reset_threshold": 1, "intervals": [)" + std::string(interval) + "]}");
    EXPECT_TRUE(fails(load_config_from_string(text), 1006, L"invalid config str")) << interval;
  }
}

TEST(GuardianConfigText, TakesAnyNumberOrBoolean) {
  const auto threshold = [](const char* value) {
    return load_config_from_string(with_threshold(value)).value().threshold;
  };
  EXPECT_EQ(threshold("5"), 5u);
  EXPECT_EQ(threshold("5.9"), 5u);
  EXPECT_EQ(threshold("true"), 1u);
  EXPECT_EQ(threshold("false"), 0u);
  EXPECT_EQ(threshold("4294967295"), 4294967295u);
}

TEST(GuardianConfigText, RefusesWhatIsNoNumber) {
  for (const char* value : {"\"5\"", "null", "[]", "{}"}) {
    EXPECT_TRUE(fails(load_config_from_string(with_threshold(value)), 1006, L"invalid config str"))
        << value;
  }
}

TEST(GuardianConfigText, IsNotTestedForSense) {
  const auto config = load_config_from_string(
      with_config(R"({"threshold": 0, "intervals": [], "reset_threshold": -5})"));
  ASSERT_TRUE(config);
  EXPECT_EQ(config.value().threshold, 0u);
  EXPECT_TRUE(config.value().intervals.empty());
  EXPECT_EQ(config.value().reset_threshold, -5);
  const auto reversed = load_config_from_string(with_config(
      R"({"threshold": 1, "intervals": [{"min": 9, "max": 3}], "reset_threshold": 1})"));
  ASSERT_TRUE(reversed);
  EXPECT_EQ(reversed.value().intervals, (std::vector<break_interval>{{9, 3}}));
}

TEST(GuardianConfigText, TellsAnEmptyListOfServicesFromNone) {
  const auto empty = load_config_from_string(with_config(good_config, R"(, "services": [])"));
  ASSERT_TRUE(empty);
  ASSERT_TRUE(empty.value().services);
  EXPECT_TRUE(empty.value().services->empty());
  EXPECT_EQ(json(empty.value()).at("services").dump(), "[]");

  const auto none = load_config_from_string(with_config(good_config));
  ASSERT_TRUE(none);
  EXPECT_FALSE(none.value().services);
  EXPECT_FALSE(json(none.value()).contains("services"));
}

TEST(GuardianConfigText, RefusesAListOfServicesThatIsNone) {
  for (const char* list : {"{}", "5", "\"a\"", "[1]", "[\"a\", null]"}) {
    const std::string text = with_config(good_config, R"(, "services": )" + std::string(list));
    EXPECT_TRUE(fails(load_config_from_string(text), 1006, L"invalid config str")) << list;
  }
}

TEST(GuardianConfigText, IsWrittenCompactInTheOrderOfItsKeys) {
  guardian_config config;
  config.threshold = 4000000000;
  config.intervals = {{7, 8}, {4294967295, 0}};
  config.reset_threshold = -2;
  EXPECT_EQ(json(config).dump(),
            R"({"circuit_config":{"intervals":[{"max":8,"min":7},{"max":0,"min":4294967295}],)"
            R"("reset_threshold":-2,"threshold":4000000000}})");
  config.services = {"z", "a\xc3\xa9"};
  EXPECT_EQ(json(config).dump(),
            R"({"circuit_config":{"intervals":[{"max":8,"min":7},{"max":0,"min":4294967295}],)"
            "\"reset_threshold\":-2,\"threshold\":4000000000},\"services\":[\"z\",\"a\xc3\xa9\"]}");
}

TEST(GuardianConfigText, SurvivesItsOwnWriting) {
  guardian_config config;
  config.threshold = 3;
  config.intervals = {{1, 2}};
  config.reset_threshold = 4;
  for (const auto& services :
       {std::optional<std::vector<std::string>>(), std::optional(std::vector<std::string>()),
        std::optional(std::vector<std::string>{"a", "b"})}) {
    config.services = services;
    const auto again = load_config_from_string(json(config).dump());
    ASSERT_TRUE(again);
    EXPECT_EQ(again.value(), config);
  }
}

TEST(GuardianConfig, EqualsOnlyWhatIsTheSameThroughout) {
  guardian_config config;
  config.threshold = 3;
  config.intervals = {{1, 2}, {3, 4}};
  config.reset_threshold = 4;
  config.services = {"a", "b"};
  EXPECT_EQ(config, guardian_config(config));
  const auto differs = [&](auto change) {
    guardian_config other = config;
    change(other);
    return !(other == config);
  };
  EXPECT_TRUE(differs([](guardian_config& c) { c.threshold = 2; }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.reset_threshold = 5; }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.intervals.pop_back(); }));
  EXPECT_TRUE(differs([](guardian_config& c) { std::swap(c.intervals[0], c.intervals[1]); }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.intervals[1].min = 0; }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.intervals[1].max = 0; }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.services.reset(); }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.services = {"b", "a"}; }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.services->push_back("c"); }));
  EXPECT_TRUE(differs([](guardian_config& c) { c.services = {"a", "B"}; }));
}

// the services file

json circuit(const json& changes = json::object()) {
  json made = {{"state", 1},
               {"counter", 2},
               {"index", 3},
               {"errors", json::array()},
               {"next_request_time", 1700000000},
               {"blocked", 4},
               {"allowed", 5}};
  made.update(changes);
  return made;
}
json without(const char* key) {
  json made = circuit();
  made.erase(key);
  return made;
}

TEST_F(ConfigFiles, GiveTheCircuitsOfAllServices) {
  json failure = {{"method", "m"}, {"field", 2}, {"value", "32005.1011"}, {"more", 1}};
  const auto map = load_services_info(services(json{
      {"a", circuit({{"errors", {failure}}, {"unknown", 1}})},
      {"b", circuit({{"state", 0}})}}.dump()));
  ASSERT_TRUE(map);
  ASSERT_EQ(map.value().size(), 2u);
  const service_info& a = map.value().at("a");
  EXPECT_EQ(a.state, circuit_state::open);
  EXPECT_EQ(a.counter, 2u);
  EXPECT_EQ(a.index, 3u);
  EXPECT_EQ(a.next_request_time, 1700000000 * second);
  EXPECT_EQ(a.blocked, 4u);
  EXPECT_EQ(a.allowed, 5u);
  ASSERT_EQ(a.errors.size(), 1u);
  EXPECT_EQ(a.errors[0].method, "m");
  EXPECT_EQ(a.errors[0].field, 2);
  EXPECT_EQ(a.errors[0].value, "32005.1011");
  EXPECT_EQ(map.value().at("b").state, circuit_state::closed);
  EXPECT_EQ(map.value().max_load_factor(), 1.0F);
}

TEST_F(ConfigFiles, GiveAnEmptyMapForAnEmptyObject) {
  const auto map = load_services_info(services("{}"));
  ASSERT_TRUE(map);
  EXPECT_TRUE(map.value().empty());
}

TEST_F(ConfigFiles, TellOfAServicesFileThatIsNotThere) {
  EXPECT_TRUE(fails(load_services_info((folder.path() / "none").wstring()), 1011,
                    L"open services info file failed"));
}

TEST_F(ConfigFiles, RefuseAServicesFileThatIsNoObject) {
  for (const char* bad : {"", "{", "[]", "null", "5", "\"a\"", "[{}]", "{}{}"}) {
    EXPECT_TRUE(fails(load_services_info(services(bad)), 1006, L"invalid services info file"))
        << bad;
  }
}

TEST_F(ConfigFiles, TakeACircuitWithoutItsTwoCounts) {
  json old = without("blocked");
  old.erase("allowed");
  const auto map = load_services_info(services(json{{"a", old}}.dump()));
  ASSERT_TRUE(map);
  EXPECT_EQ(map.value().at("a").blocked, 0u);
  EXPECT_EQ(map.value().at("a").allowed, 0u);
  EXPECT_EQ(map.value().at("a").counter, 2u);
}

TEST_F(ConfigFiles, RefuseAllCircuitsForOneThatLacksSomething) {
  for (const char* key : {"state", "counter", "index", "next_request_time", "errors"}) {
    const std::string text = json{{"a", circuit()}, {"b", without(key)}}.dump();
    EXPECT_TRUE(fails(load_services_info(services(text)), 1006, L"invalid services info file"))
        << key;
  }
}

TEST_F(ConfigFiles, RefuseErrorsThatAreNoArray) {
  for (const char* errors :
       {"{}", "null", "5", "\"a\"", R"({"method": "m", "field": 0, "value": "1"})"}) {
    const std::string text = json{{"a", circuit({{"errors", json::parse(errors)}})}}.dump();
    EXPECT_TRUE(fails(load_services_info(services(text)), 1006, L"invalid services info file"))
        << errors;
  }
}

TEST_F(ConfigFiles, RequireAllOfAnError) {
  for (const char* key : {"method", "field", "value"}) {
    json failure = {{"method", "m"}, {"field", 0}, {"value", "1"}};
    failure.erase(key);
    const std::string text = json{{"a", circuit({{"errors", {failure}}})}}.dump();
    EXPECT_TRUE(fails(load_services_info(services(text)), 1006, L"invalid services info file"))
        << key;
  }
  const std::string number = json{{"a", circuit({{"errors", {5}}})}}.dump();
  EXPECT_TRUE(fails(load_services_info(services(number)), 1006, L"invalid services info file"));
}

TEST_F(ConfigFiles, TakeATimeInAnyKindOfNumber) {
  const auto time = [&](const std::string& value) {
    json entry = circuit();
    entry["next_request_time"] = json::parse(value);
    return load_services_info(services(json{{"a", entry}}.dump()))
        .value()
        .at("a")
        .next_request_time;
  };
  EXPECT_EQ(time("1700000000"), 1700000000 * second);
  EXPECT_EQ(time("1700000000.9"), 1700000000 * second);
  EXPECT_EQ(time("-5"), -5 * second);
  EXPECT_EQ(time("0"), 0);
}

TEST_F(ConfigFiles, RefuseATimeThatIsNoNumber) {
  for (const char* value : {"true", "null", "\"1700000000\"", "[]"}) {
    const std::string text =
        json{{"a", circuit({{"next_request_time", json::parse(value)}})}}.dump();
    EXPECT_TRUE(fails(load_services_info(services(text)), 1006, L"invalid services info file"))
        << value;
  }
}

TEST_F(ConfigFiles, ReadBackWhatIsWrittenButForAFractionOfASecond) {
  folder.seam().hold_clock(1700000123 * second + 7654321);
  service_info info;
  EXPECT_EQ(info.next_request_time, 1700000123 * second + 7654321);
  info.state = circuit_state::half_open;
  info.blocked = 4294967295;
  info.errors = {{"20011", 0, "m\xc3\xa9"}};
  const auto map = load_services_info(services(json(services_map{{"s\xc3\xa9", info}}).dump()));
  ASSERT_TRUE(map);
  const service_info& again = map.value().at("s\xc3\xa9");
  EXPECT_EQ(again.state, circuit_state::half_open);
  EXPECT_EQ(again.blocked, 4294967295u);
  EXPECT_EQ(again.next_request_time, 1700000123 * second);
  ASSERT_EQ(again.errors.size(), 1u);
  EXPECT_EQ(again.errors[0].method, "m\xc3\xa9");
}

TEST(ServiceInfo, IsClosedAndUncountedAtFirst) {
  const service_info info;
  EXPECT_EQ(info.state, circuit_state::closed);
  EXPECT_EQ(info.counter, 0u);
  EXPECT_EQ(info.index, 0u);
  EXPECT_TRUE(info.errors.empty());
  EXPECT_EQ(info.blocked, 0u);
  EXPECT_EQ(info.allowed, 0u);
}

TEST(ServiceInfo, IsWrittenCompactWithAllItsKeys) {
  service_info info;
  info.state = circuit_state::half_open;
  info.counter = 4294967295;
  info.index = 6;
  info.next_request_time = 1234 * second + 9999999;
  info.blocked = 8;
  EXPECT_EQ(json(info).dump(),
            R"({"allowed":0,"blocked":8,"counter":4294967295,"errors":[],"index":6,)"
            R"("next_request_time":1234,"state":2})");
  info.errors = {{"32003", 1, "a"}, {"20011", 0, "b"}};
  EXPECT_EQ(
      json(info).at("errors").dump(),
      R"([{"field":1,"method":"a","value":"32003"},{"field":0,"method":"b","value":"20011"}])");
}

TEST(ServiceInfo, HasItsTimeCutTowardsZero) {
  service_info info;
  const auto written = [&](std::int64_t ticks) {
    info.next_request_time = ticks;
    return json(info).at("next_request_time").dump();
  };
  EXPECT_EQ(written(19999999), "1");
  EXPECT_EQ(written(-1), "0");
  EXPECT_EQ(written(-19999999), "-1");
  EXPECT_EQ(written(-20000000), "-2");
}

}  // namespace
