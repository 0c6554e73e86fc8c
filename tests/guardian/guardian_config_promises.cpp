// What a configuration's text may hold, and what becomes of one that holds something else.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guardian/config_files.h"
#include "guardian/config_text.h"
#include "guardian/files_test.h"
#include "guardian/guardian_json.h"

namespace {

using cloud::guardian::load_config_from_string;
using nlohmann::json;

std::string with_threshold(const std::string& value) {
  return with_config(R"({"intervals": [], "reset_threshold": 0, "threshold": )" + value + "}");
}

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
    SCOPED_TRACE(bad);
    expect_error(load_config_from_string(bad), 1006, L"invalid config str");
  }
}

TEST(GuardianConfigText, RequiresBothEndsOfAnInterval) {
  for (const char* interval :
       {R"({"min": 1})", R"({"max": 1})", "{}", "5", R"({"min": 1, "max": "2"})"}) {
    const std::string text = with_config(
        R"({"threshold": 1, "reset_threshold": 1, "intervals": [)" + std::string(interval) + "]}");
    SCOPED_TRACE(interval);
    expect_error(load_config_from_string(text), 1006, L"invalid config str");
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

TEST(GuardianConfigText, TakesAnyNumberOrBooleanForTheOtherNumbersToo) {
  const auto config = load_config_from_string(with_config(
      R"({"threshold": 1, "intervals": [{"min": true, "max": 2.9}], "reset_threshold": -1.9})"));
  ASSERT_TRUE(config);
  EXPECT_EQ(config.value().intervals, (std::vector<break_interval>{{1, 2}}));
  EXPECT_EQ(config.value().reset_threshold, -1);
}

TEST(GuardianConfigText, RefusesWhatIsNoNumber) {
  for (const char* value : {"\"5\"", "null", "[]", "{}"}) {
    SCOPED_TRACE(value);
    expect_error(load_config_from_string(with_threshold(value)), 1006, L"invalid config str");
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
  for (const char* list : {"{}", "5", "null", "\"a\"", "[1]", "[\"a\", null]"}) {
    const std::string text = with_config(good_config, R"(, "services": )" + std::string(list));
    SCOPED_TRACE(list);
    expect_error(load_config_from_string(text), 1006, L"invalid config str");
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

}  // namespace
