#include "system/app_scene.h"

namespace kit_test {

namespace {

class UserChange : public AppScene {
 protected:
  json ask() {
    const Ended ended =
        run({"ask", "connect/echo", "greet", "{}", "--json", "--module", module_text(kit)});
    const json answer = json::parse(ended.output, nullptr, false);
    return answer.is_object() ? answer : json::object();
  }
  bool comes_to_be_asked_for(const std::string& token) {
    return until([&] {
      return ask().value("/reply/params/connect_source/user_token"_json_pointer, "") == token;
    });
  }
  bool comes_to_be_nobody() {
    return until([&] { return ask().value("err", 0) == 232; });
  }
};

TEST_F(UserChange, ReachesTheCloudThroughARunningHost) {
  const Process server = start_server();
  const Process app = start_app("Desktop", {"--commands"});
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"Desktop"}); }));
  sign_in("token-2");
  // The host registers its applications anew, and has the missed commands listed for this user.
  EXPECT_TRUE(sees_token("token-2"));
  EXPECT_TRUE(comes_to_be_asked_for("token-2"));
}

TEST_F(UserChange, ToNobodyAndBackIsFollowed) {
  const Process server = start_server();
  EXPECT_TRUE(comes_to_be_asked_for("token-1"));
  sign_out();
  EXPECT_TRUE(comes_to_be_nobody());
  EXPECT_EQ(ask().at("error_type"), 1);
  sign_in("token-3");
  EXPECT_TRUE(comes_to_be_asked_for("token-3"));
}

TEST_F(UserChange, IsHeardOfByAHostWhoseUserIsKnownElsewhere) {
  const Process server = start_server({"--agent", "client"});
  EXPECT_TRUE(comes_to_be_nobody());
  // The one that knows the user comes, and the host asks at once.
  const Process service = start({"user", "service", "--json"});
  EXPECT_FALSE(says(*service, "announced").is_null());
  EXPECT_TRUE(comes_to_be_asked_for("token-1"));
  sign_in("token-2");
  EXPECT_TRUE(comes_to_be_asked_for("token-2"));
}

TEST_F(UserChange, IsKnownFromTheStartToAHostThatPlaysTheServiceItself) {
  const Process server = start_server({"--agent", "client", "--user-service"});
  EXPECT_TRUE(comes_to_be_asked_for("token-1"));
}

TEST_F(UserChange, IsShownAndSetByTheCommandLine) {
  const auto shown = [&] {
    return json::parse(run({"user", "show", "--json", "--module", module_text(kit)}).output);
  };
  EXPECT_EQ(shown(), json({{"signed_in", true}, {"device_id", device}, {"user_token", "token-1"}}));
  EXPECT_EQ(run({"user", "change", "token-9", "--module", module_text(kit)}).code, 0);
  EXPECT_EQ(shown().at("user_token"), "token-9");
  EXPECT_EQ(shown().at("device_id"), device);
  sign_out();
  EXPECT_EQ(shown(), json({{"signed_in", false}, {"device_id", device}, {"user_token", nullptr}}));
  EXPECT_NE(run({"user", "change", "token-9", "--module", module_text(kit)}).code, 0);
}

}  // namespace

}  // namespace kit_test
