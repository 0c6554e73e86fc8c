// The broker is killed and started on its old port: server and clients find each other again, and
// everything goes on as before. 3 times; SPLICE_CAMPAIGN multiplies it.

#include <algorithm>
#include <iostream>

#include "system/campaign_scene.h"

namespace campaign {

namespace {

class CampaignBrokerKills : public CampaignScene {
 protected:
  CampaignBrokerKills() {
    for (int i = 0; i < 4; ++i) {
      const std::string number = std::to_string(i);
      add_client({"both-" + number, "events-" + number + ":e"});
    }
    for (const auto& client : clients) client->expect_ready();
  }

  bool all_are_on_the_bus() const {
    return until([&] {
      return roll.has(server_listener, server->id()) &&
             std::all_of(clients.begin(), clients.end(), [&](const auto& client) {
               return roll.has(client_listener, client->id());
             });
    });
  }

  void expect_all_are_reached() {
    ASSERT_TRUE(all_are_on_the_bus());
    expect_all_goes(pushes_for_all(20));
  }

  void expect_nobody_ended() {
    EXPECT_FALSE(server->wait(std::chrono::milliseconds(0)).has_value());
    for (const auto& client : clients) EXPECT_TRUE(client->is_running());
  }

  const Process server = start_server();
  const Roll roll{broker.address()};
};

TEST_F(CampaignBrokerKills, EndNobodyAndLoseNothingThatIsSentAfterwards) {
  ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
  expect_all_are_reached();
  const unsigned kills = 3 * support::campaign_factor();
  for (unsigned kill = 1; kill <= kills && !HasFailure(); ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    broker.kill();
    // Known to the watcher, and so to the others that lost their connection with it.
    ASSERT_TRUE(until([&] { return roll.is_away(); }));
    broker.start();
    expect_all_are_reached();
    expect_nobody_ended();
  }
  for (const auto& client : clients) client->expect_good_end();
  std::cout << kills << " kills of the broker between a server and " << clients.size()
            << " clients\n";
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
