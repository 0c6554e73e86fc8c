#include "devkit/splicectl/exit_codes.h"
#include "system/app_scene.h"

namespace kit_test {

namespace {

namespace exit_code = devkit::exit_code;

class AppRequests : public AppScene {
 protected:
  Ended ask(const std::string& service, const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments = {
        "ask", service, "greet", R"({"name":"world"})", "--json", "--module", module_text(kit)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }
};

TEST_F(AppRequests, GoOutInTheNameOfTheHostsUser) {
  const Process server = start_server();
  const Ended ended = ask("connect/echo");
  ASSERT_EQ(ended.code, exit_code::ok) << ended.output;
  const json answer = json::parse(ended.output);
  EXPECT_EQ(answer["err"], 0);
  EXPECT_EQ(answer["error_type"], nullptr);
  EXPECT_EQ(answer["reply"]["method"], "greet");
  EXPECT_EQ(answer["reply"]["params"]["name"], "world");
  const json source = answer["reply"]["params"]["connect_source"];
  EXPECT_EQ(source["app_id"], "Desktop");
  EXPECT_EQ(source["device_id"], device);
  EXPECT_EQ(source["user_token"], "token-1");
}

TEST_F(AppRequests, TellTheServersErrorFromTheirOwnFailure) {
  const Process server = start_server();
  devkit::Fault failure = fault("error");
  failure.service = "time";
  failure.code = 32003;
  cloud.faults().add(failure);
  const Ended refused = ask("time");
  EXPECT_EQ(refused.code, exit_code::server_error);
  EXPECT_EQ(json::parse(refused.output)["err"], 32003);
  EXPECT_EQ(json::parse(refused.output)["error_type"], nullptr);

  sign_out();
  ASSERT_TRUE(until([&] { return ask("connect/echo").code == exit_code::request_failed; }));
  const json answer = json::parse(ask("connect/echo").output);
  EXPECT_EQ(answer, json({{"err", 232}, {"error_type", 1}, {"reply", nullptr}}));
}

TEST_F(AppRequests, EndWithTheirTimeWhereNobodyServes) {
  EXPECT_EQ(ask("connect/echo", {"--timeout", "100"}).code, exit_code::timed_out);
}

TEST_F(AppRequests, SayThatThereIsNoBroker) {
  broker.kill();
  EXPECT_EQ(ask("connect/echo").code, exit_code::no_broker);
  EXPECT_EQ(run({"bus", "watch"}).code, exit_code::no_broker);
  EXPECT_EQ(run({"bus", "listeners"}).code, exit_code::no_broker);
  EXPECT_EQ(run({"bus", "listeners", "--broker", "no:address:at:all"}).code, exit_code::usage);
}

TEST_F(AppRequests, AreSeenOnTheBusTogetherWithTheirReplies) {
  const Process server = start_server();
  const auto watch = std::make_unique<devkit::WatchedProcess>(
      splicectl(), std::vector<std::string>{"bus", "watch", "--json"});
  ASSERT_FALSE(says(*watch, "seen", "caught_up").is_null());
  ASSERT_EQ(ask("connect/echo").code, exit_code::ok);
  const json request = says(*watch, "seen", "request");
  ASSERT_TRUE(request.is_object());
  EXPECT_EQ(request["channel"], "connect.actions");
  EXPECT_EQ(request["fields"]["module"], "connect_requests");
  EXPECT_EQ(request["fields"]["timeout"], 5000);
  const json reply = says(*watch, "seen", "reply");
  ASSERT_TRUE(reply.is_object());
  EXPECT_EQ(reply["correlation"], request["correlation"]);
  EXPECT_EQ(reply["fields"]["err"], 0);
  EXPECT_GT(reply["milliseconds"], 0);
}

TEST_F(AppRequests, FindTheServerAmongTheListeners) {
  EXPECT_EQ(run({"bus", "listeners", "push_register"}).code, exit_code::nobody_there);
  const Process server = start_server();
  const Ended all = run({"bus", "listeners", "--json"});
  EXPECT_EQ(all.code, exit_code::ok);
  std::vector<std::string> names;
  for (const json& one : json::parse(all.output)) {
    EXPECT_EQ(one.at("channel"), "connect.actions");
    EXPECT_EQ(one.at("process"), server->id());
    names.push_back(one.at("listener"));
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names,
            (std::vector<std::string>{"push_command_done", "push_register", "push_unregister"}));

  const auto watch = std::make_unique<devkit::WatchedProcess>(
      splicectl(), std::vector<std::string>{"bus", "watch", "--json"});
  ASSERT_FALSE(says(*watch, "seen", "caught_up").is_null());
  server->kill();
  EXPECT_FALSE(says(*watch, "seen", "listener_removed").is_null());
  EXPECT_EQ(says(*watch, "seen", "process_died").at("process"), server->id());
}

}  // namespace

}  // namespace kit_test
