#include "system/app_scene.h"

namespace kit_test {

namespace {

class AppDeliveries : public AppScene {
 protected:
  /// An application that completes what its input says, registered.
  Process start_worker_by_hand(const Process& server) const {
    Process app = start_app("worker", {"--complete", "none", "--interactive"},
                            devkit::os::Process::Input::piped);
    EXPECT_TRUE(until([&] { return has_registered(server->id(), {"worker"}); }));
    return app;
  }
};

TEST_F(AppDeliveries, BringAnEventToTheApplicationThatItIsForAndToNoOther) {
  const Process server = start_server();
  const Process notes = start_app("notes", {"--events"});
  const Process other = start_app("other", {"--events"});
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"notes", "other", "Desktop"}); }));

  EXPECT_EQ(admin().push_event({"notes", device}, "greeting", {{"text", "h\xC3\xA4llo"}}), 1u);
  const json heard = says(*notes, "event", "greeting");
  ASSERT_TRUE(heard.is_object());
  EXPECT_EQ(heard["params"]["text"], "h\xC3\xA4llo");
  EXPECT_EQ(heard["app_id"], "notes");
  EXPECT_EQ(heard["device_id"], device);
  EXPECT_GT(heard["timestamp"], 0);

  // What comes later on the same way has come, so what didn't come before won't.
  admin().push_event({"other", device}, "closing");
  EXPECT_FALSE(says(*other, "event", "closing").is_null());
  EXPECT_EQ(count_lines(*other, "event"), 1u);
  EXPECT_EQ(count_lines(*notes, "event"), 1u);
}

TEST_F(AppDeliveries, BringACommandAndItsCompletionToTheCloudsTable) {
  const Process server = start_server();
  const Process app =
      start_app("worker", {"--commands", "--complete", "all", "--status", "very well"});
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"worker"}); }));

  const std::string id = push_command("worker", "scan");
  const json heard = says(*app, "command", "scan");
  ASSERT_TRUE(heard.is_object());
  EXPECT_EQ(heard["id"], id);
  EXPECT_EQ(heard["params"]["n"], 1);
  EXPECT_EQ(heard["completed"], true);
  ASSERT_TRUE(becomes_complete(id));
  const json line = command(id);
  EXPECT_EQ(line["status"], "very well");
  EXPECT_EQ(line["completions"], 1);
  // Completions go out in the name of the product, whoever says so.
  EXPECT_EQ(line["by_app_id"], "Desktop");
  EXPECT_EQ(line["by_device_id"], device);
}

TEST_F(AppDeliveries, LeaveACommandThatNobodyCompletesForTheNextTime) {
  const Process server = start_server();
  std::string ignored;
  {
    const Process app = start_app("worker", {"--commands", "--complete", "none"});
    ASSERT_TRUE(until([&] { return has_registered(server->id(), {"worker"}); }));
    ignored = push_command("worker", "scan");
    const json heard = says(*app, "command", "scan");
    ASSERT_TRUE(heard.is_object());
    EXPECT_EQ(heard["completed"], false);
    app->kill();
  }
  EXPECT_EQ(command(ignored).at("completions"), 0);
  const Process again = start_app("worker", {"--commands", "--complete", ignored});
  EXPECT_EQ(says(*again, "command", "scan").value("id", ""), ignored);
  EXPECT_TRUE(becomes_complete(ignored));
}

TEST_F(AppDeliveries, AreShownOnceTheApplicationHasSaidThatItIsReady) {
  const Process server = start_server();
  for (int i = 0; i < 20; ++i) push_command("Desktop", "scan");
  // They come while it registers.
  const Process app = start_app("Desktop", {"--commands", "--complete", "none"});
  ASSERT_FALSE(says(*app, "command", "scan").is_null());
  EXPECT_TRUE(json::parse(app->lines().front()).contains("ready")) << app->lines().front();
}

TEST_F(AppDeliveries, AreCompletedAgainWhenTheyComeAgain) {
  const Process server = start_server();
  const Process app = start_worker_by_hand(server);
  const std::string id = push_command("worker", "scan");
  ASSERT_FALSE(says(*app, "command", "scan").is_null());
  ASSERT_TRUE(app->write_line("complete " + id + " byhand"));
  ASSERT_TRUE(becomes_complete(id));

  const json again = {{"app_fields",
                       {{"connect_target", {{"app_id", "worker"}}},
                        {"event", "command"},
                        {"event_params", {{"command", "scan"}, {"command_id", id}}}}}};
  EXPECT_EQ(admin().push_text({"worker", device}, again.dump()), 1u);
  // Before the completion the first listing may have brought it again, too.
  const json repeated = says(*app, "completed", true);
  ASSERT_TRUE(repeated.is_object());
  EXPECT_EQ(repeated["id"], id);
  EXPECT_EQ(repeated["again"], true);
  ASSERT_TRUE(app->write_line("quit"));
  EXPECT_EQ(app->wait(patience), std::optional<int>(0));
}

TEST_F(AppDeliveries, BringACommandThatWasSentWhileNobodyWasThere) {
  const std::string id = push_command("Desktop", "scan");
  const Process server = start_server();
  EXPECT_EQ(command(id).at("completions"), 0);
  const Process app = start_app("Desktop", {"--commands", "--complete", "all"});
  EXPECT_EQ(says(*app, "command", "scan").value("id", ""), id);
  EXPECT_TRUE(becomes_complete(id));
}

TEST_F(AppDeliveries, WaitForAServerThatComesLater) {
  const Process notes = start_app("notes", {"--events"});
  const Process server = start_server();
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"notes", "Desktop"}); }));
  admin().push_event({"notes", device}, "greeting");
  EXPECT_FALSE(says(*notes, "event", "greeting").is_null());
}

TEST_F(AppDeliveries, ReachAnApplicationWithoutAHostOfItsOwn) {
  const Process server = start_server();
  const Process notes = start_app("notes", {"--alone"});
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"notes"}); }));
  admin().push_event({"notes", device}, "greeting");
  EXPECT_FALSE(says(*notes, "event", "greeting").is_null());
}

TEST_F(AppDeliveries, EndWithTheWishedNumberAndSendTheCompletionsBefore) {
  const Process server = start_server();
  const Process app = start_app("worker", {"--commands", "--count", "1"});
  ASSERT_TRUE(until([&] { return has_registered(server->id(), {"worker"}); }));
  const std::string id = push_command("worker", "scan");
  EXPECT_EQ(app->wait(patience), std::optional<int>(0));
  EXPECT_TRUE(becomes_complete(id));
}

TEST_F(AppDeliveries, StopAndGoOnAsStandardInputSays) {
  const Process server = start_server();
  const Process app = start_worker_by_hand(server);

  const auto tell = [&](const std::string& line) {
    ASSERT_TRUE(app->write_line(line));
    ASSERT_FALSE(says(*app, "did", line).is_null());
  };
  tell("events off");
  admin().push_event({"worker", device}, "unheard");
  const std::string id = push_command("worker", "scan");
  ASSERT_FALSE(says(*app, "command", "scan").is_null());
  tell("events on");
  admin().push_event({"worker", device}, "heard");
  EXPECT_FALSE(says(*app, "event", "heard").is_null());
  EXPECT_EQ(count_lines(*app, "event"), 1u);

  ASSERT_TRUE(app->write_line("pending"));
  EXPECT_EQ(says(*app, "pending").at("pending"), json({id}));
  tell("complete " + id + " byhand");
  ASSERT_TRUE(becomes_complete(id));
  EXPECT_EQ(command(id).at("status"), "byhand");
  ASSERT_TRUE(app->write_line("quit"));
  EXPECT_EQ(app->wait(patience), std::optional<int>(0));
}

TEST_F(AppDeliveries, SendWhatWasCompletedByHandBeforeTheyQuit) {
  const Process server = start_server();
  const Process app = start_worker_by_hand(server);
  const std::string id = push_command("worker", "scan");
  ASSERT_FALSE(says(*app, "command", "scan").is_null());
  ASSERT_TRUE(app->write_line("complete " + id + " byhand"));
  ASSERT_TRUE(app->write_line("quit"));
  EXPECT_EQ(app->wait(patience), std::optional<int>(0));
  EXPECT_TRUE(becomes_complete(id));
}

}  // namespace

}  // namespace kit_test
