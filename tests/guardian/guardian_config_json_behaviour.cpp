#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "guardian/guardian_json.h"
#include "guardian/json_records.h"

namespace {

using nlohmann::json;

std::string config_with(const std::string& threshold, const std::string& reset_threshold,
                        const std::string& min = "1") {
  return R"({"circuit_config": {"threshold": )" + threshold + R"(, "intervals": [{"min": )" + min +
         R"(, "max": 2}], "reset_threshold": )" + reset_threshold + "}}";
}

TEST(GuardianConfigJson, IsWrittenCompactlyWithItsKeysInOrder) {
  guardian_config config{.threshold = 5,
                         .intervals = {{60, 120}},
                         .reset_threshold = 30,
                         .services = std::vector<std::string>{"a", "b"}};
  EXPECT_EQ(written(config),
            R"({"circuit_config":{"intervals":[{"max":120,"min":60}],"reset_threshold":30,)"
            R"("threshold":5},"services":["a","b"]})");
}

TEST(GuardianConfigJson, HasNoServicesWhereTheConfigurationHasNoList) {
  EXPECT_EQ(written(guardian_config{}),
            R"({"circuit_config":{"intervals":[],"reset_threshold":0,"threshold":0}})");
}

TEST(GuardianConfigJson, KeepsAnEmptyListOfServices) {
  const auto config = read<guardian_config>(
      R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1},
          "services": []})");
  ASSERT_TRUE(config.services.has_value());
  EXPECT_TRUE(config.services->empty());
  EXPECT_EQ(written(config),
            R"({"circuit_config":{"intervals":[],"reset_threshold":1,"threshold":1},)"
            R"("services":[]})");
}

TEST(GuardianConfigJson, WritesCountsWithoutSignAndQuietTimeWithOne) {
  const json out = guardian_config{.threshold = 4'294'967'295U,
                                   .intervals = {{4'294'967'294U, 4'294'967'293U}},
                                   .reset_threshold = -2'147'483'648,
                                   .services = {}};
  const json& circuit = out.at("circuit_config");
  EXPECT_TRUE(circuit.at("threshold").is_number_unsigned());
  EXPECT_TRUE(circuit.at("intervals").at(0).at("min").is_number_unsigned());
  EXPECT_TRUE(circuit.at("intervals").at(0).at("max").is_number_unsigned());
  EXPECT_TRUE(circuit.at("reset_threshold").is_number_integer());
  EXPECT_FALSE(circuit.at("reset_threshold").is_number_unsigned());
  EXPECT_EQ(out.dump(), R"({"circuit_config":{"intervals":[{"max":4294967293,"min":4294967294}],)"
                        R"("reset_threshold":-2147483648,"threshold":4294967295}})");
}

TEST(GuardianConfigJson, ComesBackAsItWas) {
  const std::vector<guardian_config> all{
      {},
      {.threshold = 0,
       .intervals = {},
       .reset_threshold = -1,
       .services = std::vector<std::string>{}},
      {.threshold = 7,
       .intervals = {{1, 2}, {9, 3}, {0, 4'294'967'295U}},
       .reset_threshold = 2'147'483'647,
       .services = std::vector<std::string>{"z", "a", "", "caf\u00e9", std::string("n\0l", 3)}},
  };
  for (const guardian_config& config : all) {
    EXPECT_EQ(read<guardian_config>(written(config)), config) << written(config);
  }
}

TEST(GuardianConfigJson, IgnoresMembersItDoesNotKnow) {
  const auto config = read<guardian_config>(
      R"({"new": 1, "circuit_config": {"threshold": 1, "also": {}, "reset_threshold": 2,
          "intervals": [{"min": 3, "max": 4, "mean": null}]}})");
  EXPECT_EQ(config, (guardian_config{1, {{3, 4}}, 2, {}}));
}

TEST(GuardianConfigJson, TakesAnyNumberAndCutsFractions) {
  const auto config = read<guardian_config>(config_with("5.9", "-3.9", "0.99"));
  EXPECT_EQ(config, (guardian_config{5, {{0, 2}}, -3, {}}));
}

TEST(GuardianConfigJson, TakesBooleansForNumbers) {
  const auto config = read<guardian_config>(config_with("true", "true", "false"));
  EXPECT_EQ(config, (guardian_config{1, {{0, 2}}, 1, {}}));
}

TEST(GuardianConfigJson, KeepsTheLowBitsOfNumbersThatAreTooBig) {
  EXPECT_EQ(read<guardian_config>(config_with("-1", "4294967295")),
            (guardian_config{4'294'967'295U, {{1, 2}}, -1, {}}));
  EXPECT_EQ(read<guardian_config>(config_with("-1.0", "4294967295.0")),
            (guardian_config{4'294'967'295U, {{1, 2}}, -1, {}}));
}

TEST(GuardianConfigJson, TakesRealNumbersBeyondAllIntegers) {
  // Cut to the ends of 64 bits first.
  EXPECT_EQ(read<guardian_config>(config_with("1e300", "-1e300")),
            (guardian_config{4'294'967'295U, {{1, 2}}, 0, {}}));
}

TEST(GuardianConfigJson, ReplacesWhatWasThere) {
  guardian_config config{9, {{9, 9}}, 9, std::vector<std::string>{"old"}};
  json::parse(config_with("1", "2")).get_to(config);
  EXPECT_EQ(config, (guardian_config{1, {{1, 2}}, 2, {}}));
}

TEST(GuardianConfigJson, RefusesWhatIsNoConfiguration) {
  for (const char* text : {
           "{}",
           "[]",
           "null",
           "7",
           R"({"circuit_config": null})",
           R"({"circuit_config": []})",
           R"({"circuit_config": {}})",
           R"({"circuit_config": {"intervals": [], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": []}})",
           R"({"Circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": "1", "intervals": [], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": null, "intervals": [], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": {}, "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": null, "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [1], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [[1, 2]], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [{}], "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [{"min": 1}],
               "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [{"max": 1}],
               "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [{"min": 1, "max": "2"}],
               "reset_threshold": 1}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": [1]}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1},
               "services": null})",
           R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1},
               "services": "a"})",
           R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1},
               "services": {"a": "b"}})",
           R"({"circuit_config": {"threshold": 1, "intervals": [], "reset_threshold": 1},
               "services": ["a", 1]})",
       }) {
    EXPECT_THROW(read<guardian_config>(text), json::exception) << text;
  }
}

TEST(GuardianConfigEquality, LooksAtEveryField) {
  const guardian_config config{1, {{2, 3}, {4, 5}}, 6, std::vector<std::string>{"a", "b"}};
  const auto changed = [&](auto change) {
    guardian_config other = config;
    change(other);
    return other;
  };
  EXPECT_EQ(config, changed([](auto&) {}));
  EXPECT_NE(config, changed([](auto& other) { other.threshold = 9; }));
  EXPECT_NE(config, changed([](auto& other) { other.reset_threshold = 9; }));
  EXPECT_NE(config, changed([](auto& other) { other.intervals.pop_back(); }));
  EXPECT_NE(config, changed([](auto& other) { other.intervals[1].min = 9; }));
  EXPECT_NE(config, changed([](auto& other) { other.intervals[1].max = 9; }));
  EXPECT_NE(config, changed([](auto& other) { other.services.reset(); }));
  EXPECT_NE(config, changed([](auto& other) { other.services->pop_back(); }));
  EXPECT_NE(config, changed([](auto& other) { other.services = {"b", "a"}; }));
  EXPECT_NE(config, changed([](auto& other) { other.services = {"a", "B"}; }));
}

}  // namespace
