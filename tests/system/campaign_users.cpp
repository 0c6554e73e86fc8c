// The user signs in, out and changes while pushes run. 6 changes; SPLICE_CAMPAIGN multiplies them.

#include <algorithm>
#include <atomic>
#include <iostream>

#include "_base/waiting.h"
#include "system/campaign_scene.h"

namespace campaign {

namespace {

class CampaignUsers : public CampaignScene {
 protected:
  CampaignUsers() {
    add_client({"first", "second:e"});
    add_client({"third", "fourth:e"});
    for (const auto& client : clients) client->expect_ready();
  }

  /// Somebody else, or nobody, uses the device from now on.
  void change_user(const std::string& token) const {
    if (token.empty()) {
      sign_out();
    } else {
      sign_in(token);
    }
  }
  /// Whether requests of other processes come to be refused for want of a user.
  bool sees_nobody() const {
    return until([&] {
      const kit_test::Ended ended = kit_test::run(
          {"ask", "connect/echo", "greet", "{}", "--json", "--module", kit_test::module_text(kit)});
      const json answer = json::parse(ended.output, nullptr, false);
      return answer.is_object() && answer.value("err", 0) == 232;
    });
  }

  /// Pushes and waits for them, until it is to stop. Completions may be lost while nobody is signed
  /// in, for they go out in the user's name; no push is.
  void push_until(const std::atomic<bool>& stop) {
    do {
      json pushes = json::array();
      for (int i = 0; i < 10; ++i) {
        for (const char* const name : {"first", "second", "third", "fourth"})
          pushes.push_back(event_for(name));
        for (const char* const name : {"first", "third"}) pushes.push_back(command_for(name));
      }
      push(pushes);
      for (const auto& client : clients) expect_all_arrived(*client);
      ++rounds;
    } while (!stop && !HasFailure());
  }

  const Process server = start_server();
  std::size_t rounds = 0;
};

TEST_F(CampaignUsers, ChangeUnderLoadAndTheCloudKnowsTheLastOneInTheEnd) {
  ASSERT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
  const unsigned changes = 6 * support::campaign_factor();
  std::atomic<bool> stop = false;
  const waiting::Attempt load([&] { push_until(stop); });
  std::string token;
  for (unsigned change = 1; change <= changes && !HasFailure(); ++change) {
    token = change % 3 == 0 ? "" : "user-" + std::to_string(change);
    change_user(token);
    // Every other one is gone before it is noticed, or is just being noticed.
    if (change % 2 == 1 && !token.empty()) {
      EXPECT_TRUE(sees_token(token));
    }
    if (change % 6 == 0) {
      EXPECT_TRUE(sees_nobody());
    }
  }
  token = "last-user";
  change_user(token);
  stop = true;
  ASSERT_TRUE(load.ends());

  EXPECT_TRUE(sees_token(token));
  // A stream that is made anew takes each registration along with its own token, and from now on
  // the cloud takes this one only.
  admin().accept_tokens({token});
  EXPECT_EQ(admin().break_streams(), 1u);
  EXPECT_TRUE(all_are_registered(*server)) << json(unregistered(*server));
  const std::size_t old_rounds = rounds;
  const std::size_t old_commands = cloud_commands().size();
  push_until(stop);
  EXPECT_EQ(rounds, old_rounds + 1);
  EXPECT_TRUE(until([&] {
    const json commands = cloud_commands();
    return std::all_of(commands.begin() + static_cast<std::ptrdiff_t>(old_commands), commands.end(),
                       [](const json& one) { return one.at("completions") == 1; });
  }));
  EXPECT_FALSE(server->wait(std::chrono::milliseconds(0)).has_value());
  for (const auto& client : clients) client->expect_good_end();
  std::cout << changes + 1 << " changes of the user, " << rounds << " rounds of 60 pushes; "
            << incomplete_commands().size()
            << " completions were lost while nobody was signed in\n";
}

}  // namespace

}  // namespace campaign

int main(int count, char** values) {
  return campaign::run(count, values);
}
