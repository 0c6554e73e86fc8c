#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "_base/waiting.h"
#include "support/IntegratorTest.h"

namespace {

class IntegratorThreads : public support::IntegratorTest {
 protected:
  ~IntegratorThreads() override { leave.open(); }

  /// The next GetUserInfo says that it was reached and waits to be let go.
  void hold_up_agent() {
    const auto once = std::make_shared<std::atomic<bool>>(false);
    hook_agent([once, entered = entered, leave = leave](const std::string& call) {
      if (call != "GetUserInfo" || once->exchange(true)) return;
      entered.open();
      leave.wait();
    });
  }
  void begin_with_client() {
    have_client_agent();
    ASSERT_EQ(init(), 0u);
    ASSERT_TRUE(has_asked_bus(2));
  }
  /// For the agent, which is held up and is let go here.
  void expect_identity_waits() {
    std::string seen;
    waiting::Attempt asking([&] { seen = who(); });
    EXPECT_TRUE(support::stays_blocked(asking));
    leave.open();
    ASSERT_TRUE(asking.ends());
    EXPECT_EQ(seen, "device token");
  }

  waiting::Gate entered;
  waiting::Gate leave;
};

TEST_F(IntegratorThreads, IdentityCanBeAskedForWhileInitWaitsForTheAgent) {
  have_product_agent();
  std::string seen;
  bool ended = false;
  hook_agent([&](const std::string& call) {
    if (call != "GetUserInfo") return;
    waiting::Attempt asking([&] { seen = who(); });
    ended = asking.ends();
  });
  ASSERT_EQ(init(), 0u);
  EXPECT_TRUE(ended);
  EXPECT_EQ(seen, "232");
  EXPECT_EQ(who(), "device token");
}

TEST_F(IntegratorThreads, IdentityWaitsForAnAgentThatIsSlowAboutAChange) {
  begin_with_client();
  hold_up_agent();
  waiting::Attempt change([this] { agent.change(); });
  ASSERT_TRUE(entered.wait());
  expect_identity_waits();
  EXPECT_TRUE(change.ends());
}

TEST_F(IntegratorThreads, IdentityWaitsForAnAgentThatIsSlowForTheWorker) {
  begin_with_client();
  hold_up_agent();
  listen();
  announce();
  ASSERT_TRUE(entered.wait());
  expect_identity_waits();
}

TEST_F(IntegratorThreads, PushServiceIsToldUnderTheIdentityLock) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  watch_refreshes();
  std::string seen;
  bool waited = false;
  std::unique_ptr<waiting::Attempt> asking;
  client.register_by([&](const support::PushRegistration&) {
    if (asking == nullptr) {
      asking = std::make_unique<waiting::Attempt>([&] { seen = who(); });
      waited = support::stays_blocked(*asking);
    }
    return 0u;
  });
  agent.set_user(L"device", L"second");
  waiting::Attempt change([this] { agent.change(); });
  ASSERT_TRUE(change.ends());
  ASSERT_NE(asking, nullptr);
  EXPECT_TRUE(waited);
  EXPECT_TRUE(asking->ends());
  EXPECT_EQ(seen, "device second");
}

TEST_F(IntegratorThreads, PushServiceIsToldByTheWorkerUnderTheIdentityLock) {
  begin_with_client();
  watch_refreshes();
  std::string seen;
  bool waited = false;
  std::unique_ptr<waiting::Attempt> asking;
  const waiting::Gate told;
  client.register_by([&, told](const support::PushRegistration&) {
    if (asking == nullptr) {
      asking = std::make_unique<waiting::Attempt>([&] { seen = who(); });
      waited = support::stays_blocked(*asking);
      told.open();
    }
    return 0u;
  });
  listen();
  announce();
  ASSERT_TRUE(told.wait());
  EXPECT_TRUE(waited);
  EXPECT_TRUE(asking->ends());
  EXPECT_EQ(seen, "device token");
}

TEST_F(IntegratorThreads, AnnouncementsDoNotHoldUpTheBus) {
  begin_with_client();
  hold_up_agent();
  listen();
  waiting::Attempt announcing([this] { announce(); });
  EXPECT_TRUE(announcing.ends());
  ASSERT_TRUE(entered.wait());
  waiting::Attempt another([this] { announce(); });
  EXPECT_TRUE(another.ends());
  leave.open();
  EXPECT_TRUE(becomes("device token"));
}

TEST_F(IntegratorThreads, InitDoesNotWaitForItsWorker) {
  have_product_agent();
  listen();
  agent.fail_user_info(5);
  hook_agent([this](const std::string& call) {
    if (call == "RegisterEvents") hold_up_agent();
  });
  waiting::Attempt start([this] { init(); });
  ASSERT_TRUE(start.ends());
  ASSERT_TRUE(entered.wait());
  leave.open();
}

TEST_F(IntegratorThreads, UnInitWaitsForTheWorkersReading) {
  begin_with_client();
  hold_up_agent();
  listen();
  announce();
  ASSERT_TRUE(entered.wait());
  journal.clear();
  waiting::Attempt end([this] { plugin->UnInit(); });
  ASSERT_TRUE(waiting::until([&] { return journal.count("bus RemoveObserver") == 1; }));
  EXPECT_TRUE(support::stays_blocked(end));
  EXPECT_EQ(journal.count("agent UnregisterEvents"), 0u);
  leave.open();
  ASSERT_TRUE(end.ends());
  EXPECT_EQ(journal.count("agent UnregisterEvents"), 1u);
  EXPECT_EQ(who(), "device token") << "what ran was let finish";
}

TEST_F(IntegratorThreads, UnInitDropsWhatTheWorkerHasYetToBegin) {
  begin_with_client();
  hold_up_agent();
  listen();
  agent.fail_user_info(5);
  announce();
  ASSERT_TRUE(entered.wait());
  announce();
  announce();
  waiting::Attempt end([this] { plugin->UnInit(); });
  ASSERT_TRUE(waiting::until([&] { return journal.count("bus RemoveObserver") == 1; }));
  // The pending ones are cancelled behind the observer's removal, before the worker is waited for.
  EXPECT_TRUE(support::stays_blocked(end));
  leave.open();
  ASSERT_TRUE(end.ends());
  EXPECT_EQ(agent.count("GetUserInfo"), 1u);
}

TEST_F(IntegratorThreads, UnInitLetsAChangeUnderWayFinish) {
  begin_with_client();
  hold_up_agent();
  waiting::Attempt change([this] { agent.change(); });
  ASSERT_TRUE(entered.wait());
  waiting::Attempt end([this] { plugin->UnInit(); });
  ASSERT_TRUE(waiting::until([&] { return journal.count("agent UnregisterEvents") == 1; }));
  EXPECT_FALSE(end.is_done());
  leave.open();
  EXPECT_TRUE(end.ends());
  EXPECT_TRUE(change.ends());
}

TEST_F(IntegratorThreads, InitMayBeCalledAgainFromWithinItself) {
  have_product_agent();
  std::uint32_t inner = 99;
  hook_agent([&](const std::string& call) {
    if (call == "RegisterEvents") inner = init();
  });
  waiting::Attempt start([this] { EXPECT_EQ(init(), 0u); });
  ASSERT_TRUE(start.ends());
  EXPECT_EQ(inner, 0u);
  plugin->UnInit();
  EXPECT_NE(push_service(), nullptr) << "two Inits, one UnInit";
  plugin->UnInit();
  EXPECT_EQ(push_service(), nullptr);
}

TEST_F(IntegratorThreads, AnotherThreadsInitWaitsForTheWholeOfTheFirst) {
  have_product_agent();
  hold_up_agent();
  waiting::Attempt first([this] { EXPECT_EQ(init(), 0u); });
  ASSERT_TRUE(entered.wait());
  waiting::Attempt second([this] {
    EXPECT_EQ(init(), 0u);
    EXPECT_NE(push_service(), nullptr);
  });
  EXPECT_TRUE(support::stays_blocked(second));
  leave.open();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(second.ends());
  plugin->UnInit();
}

TEST_F(IntegratorThreads, AnotherThreadsUnInitWaitsForInit) {
  have_product_agent();
  hold_up_agent();
  waiting::Attempt first([this] { EXPECT_EQ(init(), 0u); });
  ASSERT_TRUE(entered.wait());
  waiting::Attempt end([this] { plugin->UnInit(); });
  EXPECT_TRUE(support::stays_blocked(end));
  leave.open();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(end.ends());
  EXPECT_EQ(push_service(), nullptr);
  EXPECT_EQ(journal.count("agent UnregisterEvents"), 1u);
}

TEST_F(IntegratorThreads, AnotherThreadsInitWaitsForUnInit) {
  begin_with_client();
  hook_agent([entered = entered, leave = leave](const std::string& call) {
    if (call != "UnregisterEvents") return;
    entered.open();
    leave.wait();
  });
  waiting::Attempt end([this] { plugin->UnInit(); });
  ASSERT_TRUE(entered.wait());
  waiting::Attempt again([this] { EXPECT_EQ(init(), 0u); });
  EXPECT_TRUE(support::stays_blocked(again));
  leave.open();
  EXPECT_TRUE(end.ends());
  EXPECT_TRUE(again.ends());
  EXPECT_NE(push_service(), nullptr);
}

TEST_F(IntegratorThreads, RequestsGoOnWhileUsersChange) {
  have_product_agent();
  ASSERT_EQ(init(), 0u);
  std::atomic<bool> stop = false;
  std::atomic<int> mixed = 0;
  waiting::Attempt asking([&] {
    while (!stop) {
      const std::string known = who();
      if (known != "device token" && known != "other user") ++mixed;
    }
  });
  for (int round = 0; round < 200; ++round) {
    if (round % 2 == 0) {
      agent.set_user(L"other", L"user");
    } else {
      agent.set_user(L"device", L"token");
    }
    agent.change();
  }
  stop = true;
  ASSERT_TRUE(asking.ends());
  EXPECT_EQ(mixed, 0);
}

}  // namespace
