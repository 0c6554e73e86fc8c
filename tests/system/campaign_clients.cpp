// Twenty processes with several applications each, half of them there before the server. Each
// application gets what is for it, and no other does. SPLICE_CAMPAIGN multiplies the pushes.

#include <iostream>

#include "system/campaign_scene.h"

namespace campaign {

namespace {

constexpr unsigned client_count = 20;
/// An application that every process has.
constexpr const char* everyone = "everyone:e";

class CampaignClients : public CampaignScene {
 protected:
  /// Starts ten of them at once. The names of their applications begin with their number.
  void add_clients(const std::vector<std::string>& kinds) {
    const std::size_t first = clients.size();
    for (std::size_t i = first; i < first + client_count / 2; ++i) {
      std::vector<std::string> parts = {everyone};
      for (const std::string& kind : kinds) parts.push_back(std::to_string(i) + "-" + kind);
      add_client(parts);
    }
    for (std::size_t i = first; i < clients.size(); ++i) clients[i]->expect_ready();
  }

  /// One push of each kind that it takes for each application, mixed.
  void push_round() {
    json pushes = json::array({event_for("everyone")});
    for (const std::string& name : all_names()) {
      if (name == "everyone") continue;
      if (!name.ends_with("commands")) pushes.push_back(event_for(name));
      if (!name.ends_with("events")) pushes.push_back(command_for(name));
    }
    push(pushes);
    pushed += pushes.size();
  }

  std::size_t pushed = 0;
};

TEST_F(CampaignClients, GetEachWhatIsTheirsAndNothingElse) {
  add_clients({"both", "events:e"});
  const Process server = start_server();
  ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
  // Those that take commands alone need a server that has found the cloud: one that hasn't doesn't
  // register them when it has, while there are others that take events.
  add_clients({"both", "events:e", "commands:c"});
  ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));

  const unsigned rounds = 5 * support::campaign_factor();
  for (unsigned round = 0; round < rounds; ++round) push_round();
  for (const auto& client : clients) expect_all_arrived(*client);
  EXPECT_TRUE(all_commands_become_complete());
  // Twenty applications take both, ten commands alone.
  EXPECT_EQ(cloud_commands().size(), 30u * rounds);
  for (const auto& client : clients) {
    for (const std::string& name : client->names()) {
      const json tally = client->tally(name);
      EXPECT_EQ(tally.at("events").at("repeated"), 0) << name;
      EXPECT_EQ(tally.at("foreign"), 0) << name;
    }
  }
  for (const auto& client : clients) client->expect_good_end();
  std::cout << client_count << " clients with " << all_names().size() << " applications, " << pushed
            << " pushes\n";
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
