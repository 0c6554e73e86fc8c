#include <set>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/splicectl/exit_codes.h"
#include "system/command_line.h"
#include "system/push_cloud_listener.h"

namespace kit_test {

namespace {

namespace exit_code = devkit::exit_code;
using nlohmann::json;

class PushCommandLine : public testing::Test {
 protected:
  Ended call(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--cloud", cloud_.address()});
    return run(arguments);
  }

  devkit::Cloud cloud_{{}};
};

TEST_F(PushCommandLine, SendsAnEvent) {
  PushListener listener;
  Client client(cloud_.address());
  ASSERT_EQ(listen(client, listener, "Mail"), 0u);
  const Ended ended =
      call({"push", "event", "--app", "Mail", "--json", "arrived", "{\"count\":3}"});
  EXPECT_EQ(ended.code, exit_code::ok);
  EXPECT_EQ(json::parse(ended.output), json({{"streams", 1}}));
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0]["event_params"], json({{"count", 3}}));
}

TEST_F(PushCommandLine, SendsACommandAndShowsWhatBecameOfIt) {
  const Ended ended = call({"push", "command", "--app", "Mail", "--id", "one", "--text", "scan"});
  EXPECT_EQ(ended.code, exit_code::ok);
  EXPECT_NE(ended.output.find("Nobody is registered for it; it is command one"), std::string::npos)
      << ended.output;
  EXPECT_EQ(json::parse(call({"cloud", "commands", "--json"}).output).at(0)["command_id"], "one");
  EXPECT_NE(call({"cloud", "commands", "--text"}).output.find("one  Mail  scan {}  waits"),
            std::string::npos);
}

TEST_F(PushCommandLine, SendsACommandWithoutAnIdentifierIfAnEmptyOneIsGiven) {
  PushListener listener;
  Client client(cloud_.address());
  ASSERT_EQ(listen(client, listener, "Mail"), 0u);
  const Ended ended = call({"push", "command", "--app", "Mail", "--json", "scan", "--id", ""});
  EXPECT_EQ(ended.code, exit_code::ok);
  EXPECT_EQ(json::parse(ended.output), json({{"streams", 1}, {"command_id", ""}}));
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0]["event_params"]["command_id"], "");
  EXPECT_EQ(json::parse(call({"cloud", "commands", "--json"}).output), json::array());
  EXPECT_NE(call({"push", "command", "--text", "scan", "--id", ""}).output.find("without an ident"),
            std::string::npos);
}

TEST_F(PushCommandLine, GivesACommandANewIdentifierIfNoneIsNamed) {
  const Variable none("SPLICE_COMMAND_ID", "");
  std::set<std::string> ids;
  for (int i = 0; i < 2; ++i) {
    ids.insert(json::parse(call({"push", "command", "--json", "scan"}).output).at("command_id"));
  }
  EXPECT_EQ(ids.size(), 2u);
  EXPECT_EQ(ids.count(""), 0u);
}

TEST_F(PushCommandLine, SendsATextAsItIsAndShowsWhoListens) {
  PushListener listener;
  Client client(cloud_.address());
  ASSERT_EQ(listen(client, listener, "Mail"), 0u);
  EXPECT_EQ(call({"push", "text", "--app", "Mail", "{"}).code, exit_code::ok);
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.texts()[0], "{");
  EXPECT_NE(call({"cloud", "streams", "--text"}).output.find("Mail on device;"), std::string::npos);
}

TEST_F(PushCommandLine, TellsWrongArgumentsFromACloudThatIsNotThere) {
  EXPECT_EQ(call({"push", "event", "--app", "Mail", "arrived", "{"}).code, exit_code::usage);
  EXPECT_EQ(call({"push"}).code, exit_code::usage);
  EXPECT_EQ(run({"push", "event", "arrived", "--cloud", dead_address()}).code, exit_code::no_cloud);
  EXPECT_EQ(run({"cloud", "commands", "--cloud", dead_address()}).code, exit_code::no_cloud);
}

}  // namespace

}  // namespace kit_test
