#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "guardian/guardian_json.h"
#include "guardian/json_records.h"
#include "support/TestSeam.h"

namespace {

using nlohmann::json;

constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();

/// A circuit whose member `name` is `value`, which is left out if it is empty.
std::string circuit_with(const std::string& name, const std::string& value) {
  json circuit = {{"state", 1},   {"counter", 2}, {"index", 3},  {"next_request_time", 4},
                  {"blocked", 5}, {"errors", {}}, {"allowed", 6}};
  circuit["errors"] = json::array();
  if (value.empty()) {
    circuit.erase(name);
  } else {
    circuit[name] = json::parse(value);
  }
  return circuit.dump();
}

std::int64_t ticks_of(const std::string& seconds) {
  return read<service_info>(circuit_with("next_request_time", seconds)).next_request_time;
}

TEST(ServiceInfoJson, IsWrittenInFull) {
  service_info info;
  info.state = circuit_state::open;
  info.index = 1;
  info.next_request_time = 17'000'000'009'999'999;
  info.blocked = 3;
  EXPECT_EQ(written(services_map{{"svc", info}}),
            R"({"svc":{"allowed":0,"blocked":3,"counter":0,"errors":[],"index":1,)"
            R"("next_request_time":1700000000,"state":1}})");
}

TEST(ServiceInfoJson, WritesTextsThatAreNotAsciiAsTheyAre) {
  service_info info;
  info.next_request_time = 0;
  info.errors = {{"32005.1011", request_failure::detailed_reply_code, "m\u00e9thode \"\u4e2d\""}};
  EXPECT_EQ(written(services_map{{"s\u00e9rvice", info}}),
            "{\"s\u00e9rvice\":{\"allowed\":0,\"blocked\":0,\"counter\":0,\"errors\":[{\"field\":2,"
            "\"method\":\"m\u00e9thode \\\"\u4e2d\\\"\",\"value\":\"32005.1011\"}],\"index\":0,"
            "\"next_request_time\":0,\"state\":0}}");
}

TEST(ServiceInfoJson, WritesTheKindsOfNumbersItPromises) {
  const json out = service_info{};
  for (const char* const count : {"counter", "index", "blocked", "allowed"}) {
    EXPECT_TRUE(out.at(count).is_number_unsigned()) << count;
  }
  for (const char* const number : {"state", "next_request_time"}) {
    EXPECT_TRUE(out.at(number).is_number_integer()) << number;
  }
}

TEST(ServiceInfoJson, CutsTheTimeTowardsZeroWhenItIsWritten) {
  const auto seconds = [](std::int64_t ticks) {
    service_info info;
    info.next_request_time = ticks;
    return json(info).at("next_request_time").get<std::int64_t>();
  };
  EXPECT_EQ(seconds(9'999'999), 0);
  EXPECT_EQ(seconds(10'000'000), 1);
  EXPECT_EQ(seconds(-9'999'999), 0);
  EXPECT_EQ(seconds(-10'000'000), -1);
  EXPECT_EQ(seconds(-19'999'999), -1);
  EXPECT_EQ(seconds(latest), 922'337'203'685);
  EXPECT_EQ(seconds(earliest), -922'337'203'685);
}

TEST(ServiceInfoJson, ComesBackButForTheFractionOfASecond) {
  service_info info;
  info.state = circuit_state::half_open;
  info.counter = 4'294'967'295U;
  info.index = 4'294'967'294U;
  info.next_request_time = -15'000'000;
  info.errors = {{"1", 0, "a"}, {"", -7, ""}};
  info.blocked = 4'294'967'293U;
  info.allowed = 4'294'967'292U;

  const auto back = read<service_info>(written(info));

  EXPECT_EQ(back.state, circuit_state::half_open);
  EXPECT_EQ(back.counter, 4'294'967'295U);
  EXPECT_EQ(back.index, 4'294'967'294U);
  EXPECT_EQ(back.next_request_time, -10'000'000);
  ASSERT_EQ(back.errors.size(), 2U);
  EXPECT_EQ(back.errors[0].value, "1");
  EXPECT_EQ(back.errors[0].field, 0);
  EXPECT_EQ(back.errors[0].method, "a");
  EXPECT_EQ(back.errors[1].field, -7);
  EXPECT_EQ(back.blocked, 4'294'967'293U);
  EXPECT_EQ(back.allowed, 4'294'967'292U);
}

TEST(ServiceInfoJson, ReadsTimesInAnyKindOfNumber) {
  EXPECT_EQ(ticks_of("1700000000"), 17'000'000'000'000'000);
  EXPECT_EQ(ticks_of("1700000000.9"), 17'000'000'000'000'000);
  EXPECT_EQ(ticks_of("-1"), -10'000'000);
  EXPECT_EQ(ticks_of("-1.9"), -10'000'000);
  EXPECT_EQ(ticks_of("-0.9"), 0);
  EXPECT_EQ(ticks_of("0"), 0);
}

TEST(ServiceInfoJson, ReadsTimesTooFarAwayAsTheFarthest) {
  EXPECT_EQ(ticks_of("922337203685"), 9'223'372'036'850'000'000);
  EXPECT_EQ(ticks_of("922337203686"), latest);
  EXPECT_EQ(ticks_of("9223372036854775807"), latest);
  EXPECT_EQ(ticks_of("9.3e18"), latest);
  EXPECT_EQ(ticks_of("1e300"), latest);
  EXPECT_EQ(ticks_of("-922337203685"), -9'223'372'036'850'000'000);
  EXPECT_EQ(ticks_of("-922337203686"), earliest);
  EXPECT_EQ(ticks_of("-9223372036854775808"), earliest);
  EXPECT_EQ(ticks_of("-9223372036854775808.0"), earliest);
  EXPECT_EQ(ticks_of("-1e300"), earliest);
}

TEST(ServiceInfoJson, HasNothingBlockedAndAllowedWhereTheFileDoesNotTell) {
  EXPECT_EQ(read<service_info>(circuit_with("blocked", "")).blocked, 0U);
  EXPECT_EQ(read<service_info>(circuit_with("blocked", "")).allowed, 6U);
  EXPECT_EQ(read<service_info>(circuit_with("allowed", "")).allowed, 0U);
  EXPECT_EQ(read<service_info>(circuit_with("allowed", "")).blocked, 5U);
}

TEST(ServiceInfoJson, NeedsAllOtherMembers) {
  for (const char* const name : {"state", "counter", "index", "next_request_time", "errors"}) {
    EXPECT_THROW(read<service_info>(circuit_with(name, "")), json::exception) << name;
  }
}

TEST(ServiceInfoJson, TakesOnlyWholeNumbersForCounts) {
  for (const char* const name : {"counter", "index", "blocked", "allowed"}) {
    for (const char* const value : {"-1", "1.0", "true", "null", "\"1\"", "[]", "{}"}) {
      EXPECT_THROW(read<service_info>(circuit_with(name, value)), json::exception)
          << name << " " << value;
    }
    EXPECT_NO_THROW(read<service_info>(circuit_with(name, "4294967295"))) << name;
  }
}

TEST(ServiceInfoJson, TakesOnlyAWholeNumberForTheState) {
  for (const char* const value : {"1.0", "true", "null", "\"1\"", "[]"}) {
    EXPECT_THROW(read<service_info>(circuit_with("state", value)), json::exception) << value;
  }
}

TEST(ServiceInfoJson, KeepsAStateItDoesNotKnow) {
  const auto info = read<service_info>(circuit_with("state", "-7"));
  EXPECT_EQ(static_cast<std::int32_t>(info.state), -7);
  EXPECT_EQ(json(info).at("state"), -7);
}

TEST(ServiceInfoJson, KeepsTheLowBitsOfCountsThatAreTooBig) {
  EXPECT_EQ(read<service_info>(circuit_with("counter", "4294967297")).counter, 1U);
  EXPECT_EQ(read<service_info>(circuit_with("counter", "18446744073709551615")).counter,
            4'294'967'295U);
}

TEST(ServiceInfoJson, TakesCountsThatAProgramPutTogether) {
  const json made = {{"state", 2},   {"counter", 3},
                     {"index", 0},   {"next_request_time", 5},
                     {"blocked", 6}, {"errors", json::array()}};
  EXPECT_EQ(made.get<service_info>().counter, 3U);
  EXPECT_EQ(made.get<service_info>().blocked, 6U);
}

TEST(ServiceInfoJson, TakesNoOtherTimeThanANumber) {
  for (const char* const value : {"true", "null", "\"1\"", "[]", "{}"}) {
    EXPECT_THROW(read<service_info>(circuit_with("next_request_time", value)), json::exception)
        << value;
  }
}

TEST(ServiceInfoJson, NeedsAnArrayOfFailures) {
  for (const char* const value :
       {"null", "{}", "\"\"", "0", "[1]", "[null]", "[{}]", R"([{"field": 0, "value": "1"}])",
        R"([{"method": "m", "value": "1"}])", R"([{"method": "m", "field": 0}])",
        R"([{"method": 1, "field": 0, "value": "1"}])",
        R"([{"method": "m", "field": "0", "value": "1"}])",
        R"([{"method": "m", "field": 0.5, "value": "1"}])",
        R"([{"method": "m", "field": 0, "value": 1}])"}) {
    EXPECT_THROW(read<service_info>(circuit_with("errors", value)), json::exception) << value;
  }
}

TEST(ServiceInfoJson, IgnoresMembersItDoesNotKnow) {
  EXPECT_EQ(read<service_info>(circuit_with("more", "{}")).counter, 2U);
  const auto info = read<service_info>(circuit_with(
      "errors", R"([{"method": "m", "field": 1, "value": "2", "when": "yesterday"}])"));
  ASSERT_EQ(info.errors.size(), 1U);
  EXPECT_EQ(info.errors[0].value, "2");
}

TEST(ServiceInfo, IsClosedAsOfNowWhenItIsNew) {
  support::TestSeam seam;
  seam.hold_clock(12'345'678'901);
  const service_info info;
  EXPECT_EQ(info.state, circuit_state::closed);
  EXPECT_EQ(info.counter, 0U);
  EXPECT_EQ(info.index, 0U);
  EXPECT_EQ(info.next_request_time, 12'345'678'901);
  EXPECT_TRUE(info.errors.empty());
  EXPECT_EQ(info.blocked, 0U);
  EXPECT_EQ(info.allowed, 0U);
}

TEST(ServicesJson, HaveToBeAnObject) {
  for (const char* const text : {"[]", "null", "1", "\"svc\"", "true"}) {
    try {
      read<services_map>(text);
      FAIL() << text;
    } catch (const json::type_error& error) {
      EXPECT_EQ(error.id, 302) << text;
      EXPECT_NE(std::string(error.what()).find("type must be object, but is "), std::string::npos)
          << error.what();
    }
  }
}

TEST(ServicesJson, AreOneCircuitForEachName) {
  const auto services =
      read<services_map>("{\"\": " + circuit_with("counter", "1") +
                         ", \"s\u00e9rvice\": " + circuit_with("counter", "2") + "}");
  ASSERT_EQ(services.size(), 2U);
  EXPECT_EQ(services.at("").counter, 1U);
  EXPECT_EQ(services.at("s\u00e9rvice").counter, 2U);
  EXPECT_EQ(services.max_load_factor(), 1.0F);
}

TEST(ServicesJson, AreWrittenInTheOrderOfTheirBytes) {
  service_info info;
  info.next_request_time = 0;
  const std::string text =
      written(services_map{{"b", info}, {"a", info}, {"B", info}, {"aa", info}});
  const std::vector<std::size_t> places{text.find("\"B\""), text.find("\"a\""), text.find("\"aa\""),
                                        text.find("\"b\"")};
  EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << text;
  EXPECT_EQ(text.find(' '), std::string::npos);
}

}  // namespace
