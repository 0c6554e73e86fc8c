// Pushes in great number through two processes, one of whose applications is slow. 2,000 events and
// 200 commands; with SPLICE_CAMPAIGN=50 they are 100,000 and 10,000.

#include <algorithm>
#include <array>
#include <iostream>

#include "support/sanitizer.h"
#include "system/campaign_scene.h"

namespace campaign {

namespace {

constexpr std::size_t rounds_each = 4;
constexpr std::size_t events_each = 500;
constexpr std::size_t commands_each = 50;

/// Why the memory of processes can't be told here; empty if it can.
std::string why_unmeasurable() {
  // Under Wine it is there, but isn't about these processes.
  std::ifstream file("/proc/self/stat");
  std::uint64_t process = 0;
  if (!(file >> process) || process != devkit::os::process_id()) {
    return "what memory a process has is told by /proc, which isn't there";
  }
  if (support::runs_under("asan") || support::runs_under("tsan")) {
    return "a sanitizer keeps back what has been freed";
  }
  return {};
}

/// Bytes that the process has in memory.
std::size_t resident(std::uint64_t process) {
  constexpr std::size_t page = 4096;
  std::ifstream file("/proc/" + std::to_string(process) + "/statm");
  std::size_t all = 0;
  std::size_t pages = 0;
  EXPECT_TRUE(file >> all >> pages);
  return pages * page;
}

class CampaignLoad : public CampaignScene {
 protected:
  void begin() {
    server = start_server();
    add_client({"quick", "slow"});
    add_client({"brisk"});
    for (const auto& client : clients) client->expect_ready();
    ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
  }

  Client& slow_one() { return *clients[0]; }
  Client& quick_one() { return *clients[1]; }

  /// Mixed, in turn to each application.
  void push_some(std::size_t events, std::size_t commands) {
    static constexpr std::array apps = {"quick", "slow", "brisk"};
    json pushes = json::array();
    for (std::size_t i = 0; i < events; ++i) {
      pushes.push_back(event_for(apps[i % apps.size()]));
      if (i % (events / commands) == 0) pushes.push_back(command_for(apps[i / 10 % apps.size()]));
    }
    push(pushes);
  }

  /// Half of it while a callback of the slow application stays; which kind changes.
  void play_round(std::size_t round) {
    const char* const kind = round % 2 == 0 ? "event" : "command";
    push(json::array({hold_for("slow", kind)}));
    ASSERT_TRUE(until([&] { return slow_one().held("slow") == 1; }));
    push_some(events_each / 2, commands_each / 2);
    // The other process isn't held up by it.
    expect_all_arrived(quick_one());
    slow_one().release("slow");
    push_some(events_each / 2, commands_each / 2);
    for (const auto& client : clients) expect_all_arrived(*client);
    ASSERT_TRUE(all_commands_become_complete()) << json(incomplete_commands());
    // Neither has kept anything then.
    ASSERT_EQ(slow_one().forget() + quick_one().forget(), cloud_commands().size() - forgotten);
    forgotten = cloud_commands().size();
  }

  // One heap for all threads of a process: with several, how far each is filled is a matter of
  // which thread does what.
  const kit_test::Variable one_heap{"MALLOC_ARENA_MAX", "1"};
  Process server;
  std::size_t forgotten = 0;
};

TEST_F(CampaignLoad, LosesNothingAndMistakesNobody) {
  begin();
  ASSERT_FALSE(HasFailure());
  const std::size_t rounds = rounds_each * support::campaign_factor();
  for (std::size_t round = 0; round < rounds && !HasFailure(); ++round) play_round(round);
  std::size_t events = 0;
  for (const auto& client : clients) {
    for (const std::string& name : client->names()) {
      const json tally = client->tally(name);
      events += tally.at("events").at("distinct").get<std::size_t>();
      EXPECT_EQ(tally.at("events").at("repeated"), 0) << name;
      EXPECT_EQ(tally.at("foreign"), 0) << name;
    }
  }
  EXPECT_EQ(events, rounds * events_each);
  const json commands = cloud_commands();
  EXPECT_EQ(commands.size(), rounds * commands_each + rounds / 2);
  for (const json& one : commands) EXPECT_EQ(one.at("completions"), 1) << one;
  for (const auto& client : clients) client->expect_good_end();
  std::cout << events << " events and " << commands.size() << " commands\n";
}

TEST_F(CampaignLoad, LeavesTheMemoryOfAllProcessesAsItWas) {
  if (const std::string why = why_unmeasurable(); !why.empty()) GTEST_SKIP() << why;
  begin();
  ASSERT_FALSE(HasFailure());
  const std::size_t rounds = rounds_each * support::campaign_factor();
  // At first it grows: threads are started, buffers and heaps take their size. While a callback
  // stays, some hundred threads of the pool wait behind it, and each touches its stack only when
  // its turn comes, so a long campaign takes longer to settle.
  const std::size_t warm_up = 8 + rounds / 4;
  for (std::size_t round = 0; round < warm_up && !HasFailure(); ++round) play_round(round);

  std::map<std::uint64_t, std::vector<std::size_t>> sizes;
  for (std::size_t round = 0; round < rounds && !HasFailure(); ++round) {
    play_round(round);
    for (const std::uint64_t id : {server->id(), slow_one().id(), quick_one().id()})
      sizes[id].push_back(resident(id));
  }
  ASSERT_FALSE(HasFailure());
  // The heap's top moves up and down with what is underway, so the lowest points are compared: what
  // is never given back lifts them. What was given back and lies in pieces may take a little more
  // each time, hence the constant; it leaves room for less than one lost string a message in a
  // campaign of full size.
  const std::size_t messages = rounds * (events_each + commands_each);
  const std::size_t bound = (std::size_t{1} << 20) + messages;
  const auto quarter = static_cast<std::ptrdiff_t>(rounds / 4);
  for (const auto& [id, all] : sizes) {
    const std::size_t first = *std::min_element(all.begin(), all.begin() + quarter);
    const std::size_t last = *std::min_element(all.end() - quarter, all.end());
    EXPECT_LE(last, first + bound) << json(all);
    std::cout << "process " << id << ": " << first / 1024 << " KiB, after " << messages
              << " messages " << last / 1024 << " KiB\n";
  }
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
