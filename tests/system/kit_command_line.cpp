#include "devkit/splicectl/exit_codes.h"
#include "system/app_scene.h"

namespace kit_test {

namespace {

namespace exit_code = devkit::exit_code;

TEST(CommandLineNumbers, AreRefusedWhereTheyMakeNoSense) {
  for (const char* const option : {"--for", "--count"}) {
    for (const char* const value : {"-1", "nan", "inf", "1e300", "99999999999", "some", ""}) {
      EXPECT_EQ(run({"app", "notes", option, value}).code, exit_code::usage)
          << option << " " << value;
    }
  }
  const Variable variable("SPLICE_FOR", "nan");
  EXPECT_EQ(run({"bus", "watch"}).code, exit_code::usage);
}

class UserCommandLine : public testing::Test {
 protected:
  Ended user(std::vector<std::string> arguments, const std::filesystem::path& file) const {
    arguments.insert(arguments.begin(), "user");
    arguments.insert(arguments.end(), {"--text", "--file", devkit::path_text(file)});
    return run(arguments);
  }

  const OwnKit kit_;
  const std::filesystem::path folder_ = kit_.module().parent_path();
  const std::filesystem::path file_ = folder_ / "somebody.json";
  const Variable token_{"SPLICE_TOKEN", ""};
};

TEST_F(UserCommandLine, WantsATokenThatIsOne) {
  ASSERT_EQ(user({"sign-in"}, file_).code, exit_code::ok);
  EXPECT_EQ(user({"change"}, file_).code, exit_code::usage);
  EXPECT_EQ(user({"change", ""}, file_).code, exit_code::usage);
  EXPECT_EQ(user({"sign-in", ""}, file_).code, exit_code::usage);
  EXPECT_NE(user({"show"}, file_).output.find("token-1"), std::string::npos);
}

TEST_F(UserCommandLine, TellsNobodyFromAFileThatCannotBeRead) {
  EXPECT_EQ(user({"show"}, file_).code, exit_code::ok);
  EXPECT_EQ(user({"show"}, folder_).code, exit_code::cannot_start);
}

TEST(BrokerCommandLine, EndsWhereItsPortIsTaken) {
  const devkit::Broker broker;
  EXPECT_EQ(run({"broker", "--port", std::to_string(broker.port())}).code, exit_code::cannot_start);
}

TEST(BrokerCommandLine, EndsAfterItsTime) {
  EXPECT_EQ(run({"broker", "--port", "0", "--for", "0.1"}).code, exit_code::ok);
}

TEST(OwnBroker, TellsWhetherItRuns) {
  devkit::Broker broker;
  EXPECT_TRUE(broker.is_running());
  EXPECT_FALSE(broker.last_words().empty());
  broker.kill();
  EXPECT_FALSE(broker.is_running());
}

class AskCommandLine : public AppScene {
 protected:
  Ended ask(const char* format) const {
    return run({"ask", "connect/echo", "greet", "{}", format, "--module", module_text(kit)});
  }
};

TEST_F(AskCommandLine, SaysWhatToDoWhereNobodyIsSignedIn) {
  sign_out();
  const Process server = start_server();
  const Ended ended = ask("--text");
  EXPECT_EQ(ended.code, exit_code::request_failed);
  EXPECT_NE(ended.output.find("splicectl user sign-in"), std::string::npos) << ended.output;
}

TEST_F(AskCommandLine, TellsABrokerThatWentAwayFromNobodysAnswer) {
  const Variable gone("SPLICE_BUS_FAIL", "SendAndWait:2250");
  EXPECT_EQ(ask("--json").code, exit_code::no_broker);
}

}  // namespace

}  // namespace kit_test
