// A client is killed while callbacks of it run: nobody else notices, and the one that takes its
// place gets what it had left. 3 times; SPLICE_CAMPAIGN multiplies it.

#include <iostream>

#include "system/campaign_scene.h"

namespace campaign {

namespace {

class CampaignClientKills : public CampaignScene {
 protected:
  CampaignClientKills() {
    other = &add_client({"other", "another:e"});
    other->expect_ready();
  }

  void expect_others_get_theirs() {
    json pushes = json::array();
    for (int i = 0; i < 10; ++i) {
      pushes.push_back(event_for("other"));
      pushes.push_back(command_for("other"));
      pushes.push_back(event_for("another"));
    }
    push(pushes);
    expect_all_arrived(*other);
  }

  /// Commands of this application that aren't complete.
  std::size_t incomplete(const std::string& app) const {
    const std::vector<std::string> ids = incomplete_commands();
    return static_cast<std::size_t>(std::count_if(
        ids.begin(), ids.end(), [&](const auto& id) { return id.starts_with(app + "/"); }));
  }

  const Process server = start_server();
  const Roll roll{broker.address()};
  Client* other = nullptr;
};

TEST_F(CampaignClientKills, LeaveTheOthersAloneAndTheCommandsToTheNextOne) {
  const unsigned kills = 3 * support::campaign_factor();
  for (unsigned kill = 1; kill <= kills && !HasFailure(); ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    const std::string app = "victim-" + std::to_string(kill);
    std::size_t commands = 0;
    {
      Client victim(kit, {app}, Client::Commands::keep);
      victim.expect_ready();
      ASSERT_TRUE(until([&] { return has_registered(server->id(), {app}); }));
      ASSERT_TRUE(until([&] { return roll.has(client_listener, victim.id()); }));

      // It gets some, and is stuck with others.
      push(json::array({event_for(app), command_for(app), command_for(app)}));
      ASSERT_TRUE(gets_all_events(victim, app));
      ASSERT_TRUE(gets_all_commands(victim, app));
      push(json::array({hold_for(app, "event"), hold_for(app, "command")}));
      ASSERT_TRUE(until([&] { return victim.held(app) == 2; }));
      push(json::array({event_for(app), command_for(app), command_for(app)}));
      expect_others_get_theirs();

      victim.kill();
      ASSERT_TRUE(until([&] { return !roll.has(client_listener, victim.id()); }));
    }
    // The server goes on for those who are left, and keeps what nobody takes.
    push(json::array({event_for(app), command_for(app)}));
    expect_others_get_theirs();
    commands = command_numbers[app];
    EXPECT_EQ(incomplete(app), commands + 1);

    Client next(kit, {app + ":c"});
    next.expect_ready();
    ASSERT_TRUE(until([&] { return next.held(app) == 1; }));
    next.release(app);
    EXPECT_TRUE(gets_all_commands(next, app)) << next.tally(app);
    EXPECT_TRUE(until([&] { return incomplete(app) == 0; })) << json(incomplete_commands());
    expect_nothing_strange(next, app);
    EXPECT_TRUE(roll.has(client_listener, next.id()));
    next.expect_good_end();
    EXPECT_TRUE(until([&] { return !roll.has(client_listener, next.id()); }));
  }
  expect_others_get_theirs();
  const json tally = other->tally("other");
  EXPECT_EQ(tally.at("events").at("repeated"), 0);
  EXPECT_EQ(tally.at("foreign"), 0);
  EXPECT_TRUE(all_commands_become_complete());
  other->expect_good_end();
  std::cout << kills << " clients killed in their callbacks; " << cloud_commands().size()
            << " commands\n";
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
