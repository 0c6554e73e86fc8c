#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "guardian/config_files.h"
#include "guardian/files_test.h"
#include "guardian/guardian_json.h"
#include "platform/file.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace {

using namespace cloud::guardian;

const char* const circuits = R"({"svc":{"allowed":0,"blocked":3,"counter":0,"errors":[],"index":1,)"
                             R"("next_request_time":1700000000,"state":1}})";

class ServicesFile : public testing::Test {
 protected:
  void write(const std::string& text) {
    std::ofstream stream(path, std::ios::binary);
    stream << text;
    stream.close();
    ASSERT_FALSE(stream.fail());
  }
  loaded<services_map> load() const { return load_services_info(platform::wide_text(path)); }

  support::TestSeam seam;
  support::TemporaryFolder folder;
  const std::filesystem::path path = folder / "services.json";
};

TEST_F(ServicesFile, GivesTheCircuits) {
  write(circuits);
  const auto read = load();
  ASSERT_TRUE(read.has_value());
  ASSERT_EQ(read.value().size(), 1U);
  const service_info& info = read.value().at("svc");
  EXPECT_EQ(info.state, circuit_state::open);
  EXPECT_EQ(info.counter, 0U);
  EXPECT_EQ(info.index, 1U);
  EXPECT_EQ(info.next_request_time, 17'000'000'000'000'000);
  EXPECT_TRUE(info.errors.empty());
  EXPECT_EQ(info.blocked, 3U);
  EXPECT_EQ(info.allowed, 0U);
  EXPECT_EQ(nlohmann::json(read.value()).dump(), circuits);
}

TEST_F(ServicesFile, GivesNoCircuitsFromAnEmptyObject) {
  write("{}");
  const auto read = load();
  ASSERT_TRUE(read.has_value());
  EXPECT_TRUE(read.value().empty());
}

TEST_F(ServicesFile, GivesCircuitsWithoutTheirLaterMembers) {
  write(
      R"({"svc": {"state": 0, "counter": 1, "index": 0, "errors": [],
                   "next_request_time": 1700000000.9}})");
  const auto read = load();
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().at("svc").blocked, 0U);
  EXPECT_EQ(read.value().at("svc").allowed, 0U);
  EXPECT_EQ(read.value().at("svc").next_request_time, 17'000'000'000'000'000);
}

TEST_F(ServicesFile, GivesNoCircuitIfOneIsInvalid) {
  write(
      R"({"good": {"state": 0, "counter": 0, "index": 0, "next_request_time": 0,
                            "errors": []},
                   "svc": {"state": 0, "counter": 0, "index": 0, "next_request_time": 0}})");
  expect_error(load(), 1006, L"invalid services info file");
}

TEST_F(ServicesFile, GivesNoCircuitsFromADamagedFile) {
  for (const std::string& text : damaged_files) {
    SCOPED_TRACE(text);
    write(text);
    expect_error(load(), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, GivesNoCircuitsFromAnyBeginningOfAFile) {
  const std::string whole = circuits;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    write(whole.substr(0, size));
    expect_error(load(), 1006, L"invalid services info file");
  }
}

TEST_F(ServicesFile, GivesNoCircuitsWithoutAFile) {
  expect_error(load(), 1011, L"open services info file failed");
  expect_error(load_services_info(std::wstring()), 1011, L"open services info file failed");
}

TEST_F(ServicesFile, GivesNoCircuitsFromAFileThatCannotBeRead) {
  write(circuits);
  seam.fail_call(platform::Call::open, 5);
  expect_error(load(), 1011, L"open services info file failed");
  seam.fail_call(platform::Call::read, 5);
  expect_error(load(), 1006, L"invalid services info file");
}

TEST_F(ServicesFile, IsNotAFolder) {
  std::filesystem::create_directories(path);
  EXPECT_TRUE(load().has_error());
}

TEST_F(ServicesFile, HasNoNestingWithoutEnd) {
  write("{\"svc\": " + std::string(100'000, '[') + std::string(100'000, ']') + "}");
  expect_error(load(), 1006, L"invalid services info file");
}

}  // namespace
