// What the file of all circuits may hold, and what becomes of one that holds something else.

#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "guardian/config_files.h"
#include "guardian/files_test.h"
#include "guardian/guardian_json.h"
#include "support/ModuleFolder.h"

namespace {

using cloud::guardian::load_services_info;
using nlohmann::json;

constexpr std::int64_t second = 10'000'000;

class ServicesFile : public testing::Test {
 protected:
  std::wstring services(const std::string& content) {
    folder.write("services.json", content);
    return (folder.path() / "services.json").wstring();
  }

  support::ModuleFolder folder;
};

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

TEST_F(ServicesFile, GiveTheCircuitsOfAllServices) {
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

TEST_F(ServicesFile, GiveAnEmptyMapForAnEmptyObject) {
  const auto map = load_services_info(services("{}"));
  ASSERT_TRUE(map);
  EXPECT_TRUE(map.value().empty());
}

TEST_F(ServicesFile, TellOfAServicesFileThatIsNotThere) {
  expect_error(load_services_info((folder.path() / "none").wstring()), 1011,
               L"open services info file failed");
}

TEST_F(ServicesFile, RefuseAServicesFileThatIsNoObject) {
  for (const char* bad : {"", "{", "[]", "null", "5", "\"a\"", "[{}]", "{}{}"}) {
    SCOPED_TRACE(bad);
    expect_error(load_services_info(services(bad)), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, TakeACircuitWithoutItsTwoCounts) {
  json old = without("blocked");
  old.erase("allowed");
  const auto map = load_services_info(services(json{{"a", old}}.dump()));
  ASSERT_TRUE(map);
  EXPECT_EQ(map.value().at("a").blocked, 0u);
  EXPECT_EQ(map.value().at("a").allowed, 0u);
  EXPECT_EQ(map.value().at("a").counter, 2u);
}

TEST_F(ServicesFile, RefuseAllCircuitsForOneThatLacksSomething) {
  for (const char* key : {"state", "counter", "index", "next_request_time", "errors"}) {
    const std::string text = json{{"a", circuit()}, {"b", without(key)}}.dump();
    SCOPED_TRACE(key);
    expect_error(load_services_info(services(text)), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, RefuseErrorsThatAreNoArray) {
  for (const char* errors :
       {"{}", "null", "5", "\"a\"", R"({"method": "m", "field": 0, "value": "1"})"}) {
    const std::string text = json{{"a", circuit({{"errors", json::parse(errors)}})}}.dump();
    SCOPED_TRACE(errors);
    expect_error(load_services_info(services(text)), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, RequireAllOfAnError) {
  for (const char* key : {"method", "field", "value"}) {
    json failure = {{"method", "m"}, {"field", 0}, {"value", "1"}};
    failure.erase(key);
    const std::string text = json{{"a", circuit({{"errors", {failure}}})}}.dump();
    SCOPED_TRACE(key);
    expect_error(load_services_info(services(text)), 1006, L"invalid services info file");
  }
  const std::string number = json{{"a", circuit({{"errors", {5}}})}}.dump();
  expect_error(load_services_info(services(number)), 1006, L"invalid services info file");
}

TEST_F(ServicesFile, TakeATimeInAnyKindOfNumber) {
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

TEST_F(ServicesFile, RefuseATimeThatIsNoNumber) {
  for (const char* value : {"true", "null", "\"1700000000\"", "[]"}) {
    const std::string text =
        json{{"a", circuit({{"next_request_time", json::parse(value)}})}}.dump();
    SCOPED_TRACE(value);
    expect_error(load_services_info(services(text)), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, ReadBackWhatIsWrittenButForAFractionOfASecond) {
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
