// The guardian that the plug-in always puts in front of the cloud.

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/CloudRequestsTest.h"
#include "support/FakeHost.h"
#include "support/FakeQuerier.h"
#include "support/GuardianFolder.h"

namespace {

class RequestsGuardian : public support::CloudRequestsTest {
 protected:
  RequestsGuardian() {
    folder.seam().set_elevated(true);
    folder.seam().hold_clock(support::GuardianFolder::start);
  }

  void package(bool good = true) {
    nlohmann::json json =
        nlohmann::json::parse(support::config_text(support::GuardianFolder::config()));
    json["storage_folder"] = "guardian";
    if (good) json["storage_filename"] = "services.json";
    folder.write(std::filesystem::path("settings") / "cloud_guardian_settings.json", json.dump());
  }
  void plant_open() {
    const nlohmann::json circuit =
        support::stored_circuit(circuit_state::open, support::GuardianFolder::start_seconds + 60);
    folder.write(std::filesystem::path("settings") / "cloud" / "services.json",
                 nlohmann::json{{"svc", circuit}}.dump());
  }
  testing::AssertionResult refused() {
    const cloud::request_status status = connect();
    if (status.error_type == 1 && status.code == 5) return testing::AssertionSuccess();
    return testing::AssertionFailure() << status.error_type << ", " << status.code;
  }
};

TEST_F(RequestsGuardian, RefusesWithoutAHost) {
  package();
  plant_open();
  EXPECT_EQ(init(), 0u);
  EXPECT_TRUE(refused());
  EXPECT_TRUE(client.asks().empty());
  EXPECT_TRUE(support::has_line(log, 8, L"open circuit for service svc"));
  EXPECT_EQ(support::count_lines(log, 4, L"invalid serv main"), 0u)
      << "the breaker is one without a host";
}

TEST_F(RequestsGuardian, RefusesThroughTheOlderFaceToo) {
  package();
  plant_open();
  EXPECT_EQ(init(), 0u);
  auto* const older = static_cast<cloud::ICloudRequestsCompatibility*>(
      plugin->QueryInterface(cloud::IID_ICloudRequestsCompatibility));
  cloud::technology_request request;
  request.service = "svc";
  cloud::request_status status;
  older->resolve(&status, request, reply);
  EXPECT_EQ(status.error_type, 1u);
  EXPECT_EQ(status.code, 5u);
}

TEST_F(RequestsGuardian, LetsAllPassWhereItCannotBeBuilt) {
  package(false);
  plant_open();
  EXPECT_EQ(init(), 0u);
  EXPECT_TRUE(support::has_line(
      log, 4, L"Failed to load cloud guardian paths from file invalid config file err = 1006"));
  EXPECT_EQ(connect().error_type, 0u);
  EXPECT_EQ(client.asks().size(), 1u);
}

TEST_F(RequestsGuardian, IsBuiltAnewByTheNextInit) {
  plant_open();
  EXPECT_EQ(init(), 0u);
  EXPECT_FALSE(refused());
  plugin->UnInit();
  package();
  EXPECT_EQ(init(), 0u);
  EXPECT_TRUE(refused());
}

TEST_F(RequestsGuardian, AsksTheHostForItsConfiguration) {
  package();
  support::CallRecord record;
  support::FakeExecution execution{record};
  support::FakeQuerier querier{record};
  support::QuerierPlugins plugins{record, &querier};
  support::FakeHost host;
  host.set_plugin_manager(&plugins);
  host.set_execution_service(&execution);
  EXPECT_EQ(init(&host), 0u);
  EXPECT_EQ(record.calls(),
            (std::vector<std::string>{"make_serial_execution", "get_plugin cloud_guardian_querier",
                                      "enqueue_task cloud_config_init"}));
  record.clear();
  plugin->UnInit();
  EXPECT_EQ(record.calls().front(), "release_serial_execution");
  EXPECT_EQ(record.calls().back(), "release_plugin cloud_guardian_querier");
}

}  // namespace
