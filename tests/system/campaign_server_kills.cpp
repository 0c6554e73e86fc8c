// The server is killed again and again; the clients, which nobody tells anything, are registered
// again each time. 4 clients and 4 kills; with SPLICE_CAMPAIGN=25 they are 20 and 100.

#include <algorithm>
#include <iostream>

#include "platform/library.h"
#include "system/campaign_scene.h"

namespace campaign {

namespace {

class CampaignServerKills : public CampaignScene {
 protected:
  CampaignServerKills() { start_one(); }

  void start_one() {
    server = start_server();
    ASSERT_TRUE(until([&] { return roll.has(server_listener, server->id()); }));
  }
  void expect_all_ready() {
    for (const auto& client : clients) client->expect_ready();
  }

  /// To be followed by `see_it_gone`.
  void kill_it() {
    ++killed;
    server->kill();
  }
  void see_it_gone() {
    ASSERT_TRUE(until([&] { return roll.goings(server_listener) == killed; }));
    EXPECT_FALSE(roll.has(server_listener, server->id()));
    ASSERT_TRUE(until([&] { return admin().streams().empty(); }));
  }

  /// All this time each client has been the same process, which never left the bus.
  void expect_clients_stayed() {
    EXPECT_EQ(roll.comings(server_listener), killed + 1);
    EXPECT_EQ(roll.goings(server_listener), killed);
    EXPECT_EQ(roll.goings(client_listener), 0u);
    for (const auto& client : clients) {
      EXPECT_TRUE(roll.has(client_listener, client->id()));
      client->expect_good_end();
    }
    std::cout << killed << " kills before the eyes of " << clients.size() << " clients with "
              << all_names().size() << " applications; " << cloud_commands().size()
              << " commands\n";
  }

  const unsigned kills = 4 * support::campaign_factor();
  const Roll roll{broker.address()};
  std::size_t killed = 0;
  Process server;
};

TEST_F(CampaignServerKills, LeaveEveryClientRegisteredAgain) {
  for (unsigned i = 0; i < std::min(20u, kills); ++i) {
    const std::string number = std::to_string(i);
    // None takes commands alone: while others take events, a server that is found before it has
    // found the cloud doesn't register such an application when it has.
    add_client({"both-" + number, "events-" + number + ":e"});
  }
  expect_all_ready();

  // A push of each kind, whose arrival shows that all is registered.
  const auto expect_registered_again = [&] {
    ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
    expect_all_goes(pushes_for_all(1));
  };
  expect_registered_again();
  while (killed < kills && !HasFailure()) {
    SCOPED_TRACE("kill " + std::to_string(killed + 1));
    kill_it();
    see_it_gone();
    start_one();
    expect_registered_again();
  }
  expect_clients_stayed();
}

TEST_F(CampaignServerKills, CostTheProductNoCommandThatIsUnderwayThen) {
  if (platform::path_separator == L'\\')
    GTEST_SKIP()
        << "under Wine the connections of a process that is killed amid traffic outlive it "
           "by up to a minute";
  // The cloud lists what was missed for the product's own application alone. A server that starts
  // asks for it on behalf of each that registers for commands, and else of the greatest name that
  // registered for events; so nobody else here takes commands, and nobody has a greater name.
  // Every process registers the name of the product besides its own. That the product itself is
  // back is therefore told by another name, which it alone has.
  Client& product = add_client({"Desktop", "Beacon:e"});
  add_client({"Alarm:e", "Clock:e"});
  expect_all_ready();
  ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));

  while (killed < kills && !HasFailure()) {
    SCOPED_TRACE("kill " + std::to_string(killed + 1));
    json pushes = json::array();
    for (int i = 0; i < 10; ++i) pushes.push_back(command_for("Desktop"));
    push(pushes);
    kill_it();
    // Nobody is there for these.
    for (json& one : pushes) one = command_for("Desktop");
    admin().push(pushes);
    see_it_gone();
    start_one();
    ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
    push(json::array(
        {event_for("Alarm"), event_for("Beacon"), event_for("Clock"), event_for("Desktop")}));
    for (const auto& client : clients) expect_all_arrived(*client);
    EXPECT_TRUE(all_commands_become_complete()) << json(incomplete_commands());
  }
  EXPECT_EQ(product.tally("Desktop").at("foreign"), 0);
  expect_clients_stayed();
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
