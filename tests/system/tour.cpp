#include "devkit/cloud/CloudAdmin.h"
#include "devkit/host/CloudUpObserver.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/exit_codes.h"
#include "system/kit_client.h"

namespace kit_test {

namespace {

using devkit::os::Process;

std::filesystem::path splicectl() {
  const std::filesystem::path plain = std::filesystem::path(KIT_FOLDER) / "splicectl";
  return std::filesystem::exists(plain) ? plain : std::filesystem::path(plain.string() + ".exe");
}

struct Ended {
  int code;
  std::string output;
};

Ended run(const std::vector<std::string>& arguments) {
  Process process(splicectl(), arguments);
  const std::string output = process.read_all();
  return {process.wait(), output};
}

/// The kit's folder once more, so that its circuits are this test's alone.
class OwnKit {
 public:
  OwnKit() {
    std::filesystem::copy(KIT_FOLDER, folder_.path(), std::filesystem::copy_options::recursive);
    std::filesystem::remove_all(folder_.path() / "settings" / "cloud");
  }
  std::filesystem::path module() const {
    return folder_.path() / devkit::os::library_name("cloudsplicer");
  }

 private:
  const Folder folder_;
};

TEST(Tour, GoesAsExpectedFromItsFirstStepToItsLast) {
  const Ended tour = run({"tour"});
  EXPECT_EQ(tour.code, devkit::exit_code::ok) << tour.output;
  EXPECT_NE(tour.output.find("Every step went as expected."), std::string::npos) << tour.output;
  EXPECT_EQ(tour.output.find("NOT AS EXPECTED"), std::string::npos);
}

TEST(CommandLine, TellsItsEndsApart) {
  const OwnKit kit;
  const std::string module = devkit::path_text(kit.module());
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
      run({"request", "--json", "--module", devkit::path_text(kit.module()), "--cloud",
           cloud.address(), "--method", "greet", "--message", R"({"a":1})", "--device", "d"});
  ASSERT_EQ(ended.code, 0);
  const nlohmann::json shown = nlohmann::json::parse(ended.output);
  EXPECT_EQ(shown["sent"]["method"], "greet");
  EXPECT_EQ(shown["sent"]["params"]["connect_source"]["device_id"], "d");
  EXPECT_EQ(shown["answer"]["params"]["a"], 1);
  EXPECT_EQ(shown["status"]["error_type"], 0);
  EXPECT_EQ(shown["server_error"], 0);
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
