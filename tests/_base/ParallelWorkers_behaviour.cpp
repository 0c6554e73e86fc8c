#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "_base/ParallelWorkers.h"
#include "_base/waiting.h"
#include "platform/thread.h"
#include "support/TestSeam.h"

namespace {

using platform::Call;
using waiting::Attempt;
using waiting::Gate;

class ParallelWorkersTest : public testing::Test {
 protected:
  bool drops() {
    const auto token = std::make_shared<int>();
    workers.Submit("probe", [token] {});
    return token.use_count() == 1;
  }

  support::TestSeam seam;
  ParallelWorkers workers;
};

TEST_F(ParallelWorkersTest, RunsEachItemOnceOnAnotherThread) {
  constexpr int items = 300;
  std::vector<std::atomic<int>> runs(items);
  std::atomic<int> total{0};
  const std::uint32_t here = platform::current_thread_id();
  for (std::atomic<int>& count : runs) {
    workers.Submit("item", [&, here] {
      EXPECT_NE(platform::current_thread_id(), here);
      ++count;
      ++total;
    });
  }
  EXPECT_TRUE(waiting::until([&] { return total == items; }));
  workers.Stop();
  for (const std::atomic<int>& count : runs) EXPECT_EQ(count, 1);
  EXPECT_EQ(seam.calls(Call::submit), 300u) << "each goes to the pool by itself";
}

TEST_F(ParallelWorkersTest, RunsItemsBesideEachOther) {
  const Gate first{};
  const Gate second{};
  const Gate third{};
  std::atomic<int> met{0};
  workers.Submit("first", [=, &met] {
    first.open();
    if (second.wait() && third.wait()) ++met;
  });
  workers.Submit("second", [=, &met] {
    second.open();
    if (first.wait() && third.wait()) ++met;
  });
  workers.Submit("third", [=, &met] {
    third.open();
    if (first.wait() && second.wait()) ++met;
  });
  EXPECT_TRUE(waiting::until([&] { return met == 3; }));
  workers.Stop();
}

TEST_F(ParallelWorkersTest, RunsWorkOutsideItsLock) {
  const Gate inner{};
  workers.Submit("outer", [this, inner] {
    workers.Submit("inner", [inner] { inner.open(); });
    EXPECT_TRUE(inner.wait());
  });
  EXPECT_TRUE(inner.wait());
  workers.Stop();
}

TEST_F(ParallelWorkersTest, DropsSubmissionsAfterStop) {
  workers.Stop();
  EXPECT_TRUE(drops());
  EXPECT_EQ(seam.calls(Call::submit), 0u);
  workers.Stop();
}

TEST_F(ParallelWorkersTest, StopsOnlyWhenTheRunningItemsHaveEnded) {
  std::atomic<int> ended{0};
  std::atomic<int> started{0};
  for (int i = 0; i != 4; ++i) {
    workers.Submit("item", [&] {
      ++started;
      // As soon as Stop has begun, nothing more is accepted.
      EXPECT_TRUE(waiting::until([this] { return drops(); }));
      ++ended;
    });
  }
  ASSERT_TRUE(waiting::until([&] { return started == 4; }));
  workers.Stop();
  EXPECT_EQ(ended, 4);
}

TEST_F(ParallelWorkersTest, RunsNothingAfterStop) {
  for (int round = 0; round != 20; ++round) {
    ParallelWorkers group;
    std::atomic<int> started{0};
    std::atomic<int> ended{0};
    const auto token = std::make_shared<int>();
    for (int i = 0; i != 50; ++i) {
      group.Submit("item", [&, token] {
        ++started;
        std::this_thread::yield();
        ++ended;
      });
    }
    group.Stop();
    const int at_stop = started;
    EXPECT_EQ(ended, at_stop);
    EXPECT_EQ(token.use_count(), 1) << "what never started is dropped";
    EXPECT_EQ(started, at_stop);
  }
}

TEST_F(ParallelWorkersTest, StopsAtItsEnd) {
  std::atomic<bool> ended{false};
  {
    ParallelWorkers scoped;
    const Gate started{};
    scoped.Submit("item", [&, started] {
      started.open();
      for (int i = 0; i != 1000; ++i) std::this_thread::yield();
      ended = true;
    });
    ASSERT_TRUE(started.wait());
  }
  EXPECT_TRUE(ended);
}

TEST_F(ParallelWorkersTest, LosesRefusedWorkWithoutAWord) {
  seam.fail_call(Call::submit, 8);
  const auto token = std::make_shared<int>();
  workers.Submit("refused", [token] { ADD_FAILURE() << "refused work ran"; });
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  EXPECT_EQ(token.use_count(), 1);
  workers.Stop();
}

TEST_F(ParallelWorkersTest, StepsOverRefusedWorkInItsSweepAndItsStop) {
  seam.fail_call(Call::submit, 8, 2, 2);
  std::atomic<int> runs{0};
  for (int i = 0; i != 5; ++i) workers.Submit("item", [&] { ++runs; });
  EXPECT_TRUE(waiting::until([&] { return runs == 3; }));
  const Gate swept{};
  workers.Submit("last", [swept] { swept.open(); });
  EXPECT_TRUE(swept.wait());
  workers.Stop();
  EXPECT_EQ(runs, 3);
  EXPECT_EQ(seam.calls(Call::submit), 6u);
}

TEST_F(ParallelWorkersTest, StopsWithNothingButRefusedWork) {
  seam.fail_calls(Call::submit, 8);
  for (int i = 0; i != 3; ++i) workers.Submit("refused", [] { ADD_FAILURE() << "it ran"; });
  workers.Stop();
  EXPECT_TRUE(drops());
}

TEST_F(ParallelWorkersTest, LetsGoOfEndedItemsWhenALaterOneEnds) {
  const auto token = std::make_shared<int>();
  const Gate ran{};
  workers.Submit("item", [token, ran] { ran.open(); });
  ASSERT_TRUE(ran.wait());
  EXPECT_TRUE(waiting::until([&] {
    const Gate later{};
    workers.Submit("later", [later] { later.open(); });
    return later.wait() && token.use_count() == 1;
  }));
  workers.Stop();
}

TEST_F(ParallelWorkersTest, LetsGoOfEverythingByStop) {
  const auto token = std::make_shared<int>();
  for (int i = 0; i != 50; ++i) workers.Submit("item", [token] {});
  workers.Stop();
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
