#include "system/app_scene.h"

namespace kit_test {

namespace {

class HostRestart : public AppScene {
 protected:
  HostRestart()
      : server(start_server()),
        notes(start_app("notes", {"--events"})),
        product(start_app("Desktop", {"--commands"})) {}

  /// Both applications get what is for them.
  void expect_all_goes(const std::string& round) {
    ASSERT_TRUE(until([&] { return has_registered(server->id(), {"notes", "Desktop"}); }));
    admin().push_event({"notes", device}, "event " + round);
    EXPECT_FALSE(says(*notes, "event", "event " + round).is_null()) << round;
    const std::string id = push_command("Desktop", "command " + round);
    EXPECT_FALSE(says(*product, "command", "command " + round).is_null()) << round;
    EXPECT_TRUE(becomes_complete(id)) << round;
  }

  Process server;
  const Process notes;
  const Process product;
};

TEST_F(HostRestart, FindsTheApplicationsAgainByThemselves) {
  expect_all_goes("before");
  for (const char* const round : {"first", "second"}) {
    server->kill();
    ASSERT_TRUE(until([&] { return admin().streams().empty(); }));
    server = start_server();
    expect_all_goes(round);
  }
}

TEST_F(HostRestart, WorksAsWellAfterAPoliteEnd) {
  server->stop();
  server = start_server();
  expect_all_goes("afterwards");
}

TEST_F(HostRestart, IsNotNeededWhenTheBrokerAloneGoesAway) {
  expect_all_goes("before");
  broker.kill();
  broker.start();
  // The registrations in the cloud outlive the broker: only the way to the applications is gone
  // for a while, and what goes out meanwhile may be lost.
  const auto arrives = [&](devkit::WatchedProcess& app) {
    return until([&] {
      admin().push_event({"notes", device}, "again");
      return count_lines(app, "event") > 1;
    });
  };
  EXPECT_TRUE(arrives(*notes));
}

}  // namespace

}  // namespace kit_test
