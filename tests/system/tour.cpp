#include "devkit/cloud/CloudAdmin.h"
#include "devkit/host/CloudUpObserver.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/exit_codes.h"
#include "system/command_line.h"

namespace kit_test {

namespace {

TEST(Tour, GoesAsExpectedFromItsFirstStepToItsLast) {
  const Ended tour = run({"tour"});
  EXPECT_EQ(tour.code, devkit::exit_code::ok) << tour.output;
  EXPECT_NE(tour.output.find("Every step went as expected."), std::string::npos) << tour.output;
  EXPECT_EQ(tour.output.find("NOT AS EXPECTED"), std::string::npos);
}

TEST(Tour, GoesAsExpectedWhateverTheReadersEnvironmentSays) {
  const Variable commands("SPLICE_COMMANDS", "/no/such/folder/file");
  const Variable certificate("SPLICE_HTTPS", "/no/such/folder/file");
  const Variable bus("SPLICE_BUS_FAIL", "SendAndWait:5");
  const Variable device("SPLICE_DEVICE", "another");
  const Variable text("SPLICE_TEXT", "1");
  const Ended tour = run({"tour"});
  EXPECT_EQ(tour.code, devkit::exit_code::ok) << tour.output;
}

TEST(CommandLine, TellsItsEndsApart) {
  const OwnKit kit;
  const std::string module = module_text(kit);
  devkit::Cloud cloud({});
  const auto request = [&](const std::string& address, const char* timeout) {
    return run({"request", "--module", module, "--cloud", address, "--service", "time", "--timeout",
                timeout})
        .code;
  };
  EXPECT_EQ(request(cloud.address(), "20000"), devkit::exit_code::ok);
  EXPECT_EQ(request(dead_address(), "20000"), devkit::exit_code::no_cloud);
  devkit::Fault failure = fault("error");
  failure.count = 1;
  cloud.faults().add(failure);
  EXPECT_EQ(request(cloud.address(), "20000"), devkit::exit_code::server_error);
  // Three failures in a row would open the circuit, and what follows would fail by that.
  EXPECT_EQ(request(cloud.address(), "20000"), devkit::exit_code::ok);
  cloud.faults().add(fault("stall"));
  EXPECT_EQ(request(cloud.address(), "200"), devkit::exit_code::timed_out);
  cloud.faults().clear();
  failure = fault("rubbish");
  cloud.faults().add(failure);
  EXPECT_EQ(request(cloud.address(), "20000"), devkit::exit_code::request_failed);
  EXPECT_EQ(run({"request", "--no-such-option"}).code, devkit::exit_code::usage);
  EXPECT_EQ(run({"request", "--module", "/no/such/module"}).code, devkit::exit_code::cannot_start);
}

TEST(CommandLine, ShowsARequestFromBothSidesAsJson) {
  const OwnKit kit;
  devkit::Cloud cloud({});
  const Ended ended =
      run({"request", "--json", "--module", module_text(kit), "--cloud", cloud.address(),
           "--method", "greet", "--message", R"({"a":1})", "--device", "d"});
  ASSERT_EQ(ended.code, 0);
  const nlohmann::json shown = nlohmann::json::parse(ended.output);
  EXPECT_EQ(shown["sent"]["method"], "greet");
  EXPECT_EQ(shown["sent"]["params"]["connect_source"]["device_id"], "d");
  EXPECT_EQ(shown["answer"]["params"]["a"], 1);
  EXPECT_EQ(shown["status"]["error_type"], 0);
  EXPECT_EQ(shown["server_error"], 0);
}

TEST(CommandLine, IsStrongerThanTheEnvironment) {
  devkit::Cloud cloud({});
  const Variable other("SPLICE_CLOUD", dead_address());
  EXPECT_EQ(run({"fault", "--list", "--cloud", cloud.address()}).code, devkit::exit_code::ok);
  EXPECT_EQ(run({"fault", "--list"}).code, devkit::exit_code::no_cloud);
}

TEST(CommandLine, ClearsTheFaultsOfOneServiceAlone) {
  devkit::Cloud cloud({});
  for (const char* const service : {"time", "settings"}) {
    ASSERT_EQ(run({"fault", "error", "--cloud", cloud.address(), "--service", service}).code, 0);
  }
  ASSERT_EQ(run({"fault", "--clear", "--cloud", cloud.address(), "--service", "time"}).code, 0);
  ASSERT_EQ(cloud.faults().list().size(), 1u);
  EXPECT_EQ(cloud.faults().list()[0].service, "settings");
}

TEST(CommandLine, SendsSeveralRequestsFromOneProcess) {
  const OwnKit kit;
  devkit::Cloud cloud({});
  EXPECT_EQ(run({"request", "--module", module_text(kit), "--cloud", cloud.address(), "--times",
                 "3", "--pause", "1"})
                .code,
            0);
  EXPECT_EQ(cloud.requests().size(), 3u);
}

TEST(CommandLine, SetsAndClearsFaultsInARunningCloud) {
  devkit::Cloud cloud({});
  ASSERT_EQ(run({"fault", "error", "--cloud", cloud.address(), "--code", "32005", "--data",
                 R"({"code":1011})", "--service", "time"})
                .code,
            0);
  Client client(cloud.address());
  const nlohmann::json answer = nlohmann::json::parse(client.ask("time").text);
  EXPECT_EQ(answer["error"]["code"], 32005);
  EXPECT_EQ(answer["error"]["data"]["code"], 1011);
  ASSERT_EQ(run({"fault", "--clear", "--cloud", cloud.address()}).code, 0);
  EXPECT_TRUE(cloud.faults().list().empty());
  EXPECT_EQ(run({"fault", "--list", "--cloud", dead_address()}).code, devkit::exit_code::no_cloud);
}

TEST(Host, RunsTheModuleWithAndWithoutItsServices) {
  const OwnKit kit;
  devkit::Cloud cloud({});
  devkit::os::set_environment("SPLICE_CLOUD", cloud.address());
  for (const bool alone : {false, true}) {
    devkit::Host host(kit.module(), alone);
    devkit::CloudUpObserver observer;
    EXPECT_TRUE(host.add_observer(&observer));
    EXPECT_TRUE(observer.wait_beyond(0, std::chrono::seconds(30)));
    EXPECT_TRUE(host.technology("technology/echo", "[1]", 20000).is_ok());
    EXPECT_TRUE(host.remove_observer(&observer));
  }
}

}  // namespace

}  // namespace kit_test
