#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "_base/ParallelWorkers.h"
#include "platform/seam.h"

namespace {

/// The pool refuses about one submission in four.
class Refusals final : public platform::Seam {
 public:
  Refusals() { platform::set_seam(this); }
  ~Refusals() override { platform::set_seam(nullptr); }

  std::uint32_t fail(platform::Call call) noexcept override {
    if (call != platform::Call::submit || calls_++ % 4 != 3) return 0;
    ++count;
    return 8;
  }

  std::atomic<int> count{0};

 private:
  std::atomic<unsigned> calls_{0};
};

/// Counts how often each piece of work ran, and lets a test wait for the sum.
class Tally {
 public:
  explicit Tally(std::size_t size) : runs_(size) {}

  void run(std::size_t index) {
    const std::lock_guard section(lock_);
    ++runs_[index];
    ++sum_;
    signal_.notify_all();
  }
  [[nodiscard]] bool wait_for(int sum) {
    std::unique_lock section(lock_);
    return signal_.wait_for(section, std::chrono::seconds(60), [&] { return sum_ >= sum; });
  }
  int sum() {
    const std::lock_guard section(lock_);
    return sum_;
  }
  int most() {
    const std::lock_guard section(lock_);
    int most = 0;
    for (const int count : runs_) most = std::max(most, count);
    return most;
  }

 private:
  std::mutex lock_;
  std::condition_variable signal_;
  std::vector<int> runs_;
  int sum_ = 0;
};

constexpr std::size_t threads = 4;
constexpr std::size_t each = 300;
constexpr std::size_t outer = threads * each;

/// Each piece of work submits one more from the pool's thread. All hold a share of `token`.
void submit_from_all_sides(ParallelWorkers& workers, Tally& tally, std::shared_ptr<int> token) {
  std::vector<std::thread> crowd;
  for (std::size_t thread = 0; thread < threads; ++thread) {
    crowd.emplace_back([&workers, &tally, token, thread] {
      for (std::size_t i = 0; i < each; ++i) {
        const std::size_t index = thread * each + i;
        workers.Submit("outer", [&workers, &tally, token, index] {
          tally.run(index);
          workers.Submit("inner", [&tally, token, index] { tally.run(outer + index); });
        });
      }
    });
  }
  for (auto& thread : crowd) thread.join();
}

TEST(ParallelWorkersStress, RunsEachPieceOfWorkOnce) {
  Tally tally(2 * outer);
  const auto token = std::make_shared<int>();
  ParallelWorkers workers;
  submit_from_all_sides(workers, tally, token);
  ASSERT_TRUE(tally.wait_for(2 * outer));
  workers.Stop();
  EXPECT_EQ(tally.sum(), static_cast<int>(2 * outer));
  EXPECT_EQ(tally.most(), 1);
  EXPECT_EQ(token.use_count(), 1);
}

TEST(ParallelWorkersStress, StopInTheMiddleLeavesNothingBehind) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const int enough = static_cast<int>(random() % outer);
    Tally tally(2 * outer);
    const auto token = std::make_shared<int>();
    std::atomic<bool> stopped{false};
    int sum_at_stop = 0;
    ParallelWorkers workers;
    std::thread stopper([&] {
      EXPECT_TRUE(tally.wait_for(enough));
      workers.Stop();
      sum_at_stop = tally.sum();
      stopped = true;
    });
    submit_from_all_sides(workers, tally, token);
    stopper.join();
    EXPECT_EQ(tally.sum(), sum_at_stop);
    EXPECT_GE(sum_at_stop, enough);
    EXPECT_LE(tally.most(), 1);
    // Run, cancelled or dropped: whatever the work held has been let go.
    EXPECT_EQ(token.use_count(), 1);
  }
}

TEST(ParallelWorkersStress, RefusedWorkIsLostAndTheRestRuns) {
  const Refusals refusals;
  constexpr std::size_t count = 1000;
  Tally tally(count);
  const auto token = std::make_shared<int>();
  ParallelWorkers workers;
  for (std::size_t i = 0; i < count; ++i) {
    workers.Submit("work", [&tally, token, i] { tally.run(i); });
  }
  ASSERT_EQ(refusals.count, 250);
  ASSERT_TRUE(tally.wait_for(750));
  workers.Stop();
  EXPECT_EQ(tally.sum(), 750);
  EXPECT_EQ(tally.most(), 1);
  EXPECT_EQ(token.use_count(), 1);
}

TEST(ParallelWorkersStress, RefusedWorkMaySubmitWhenItIsLetGo) {
  const Refusals refusals;
  Tally tally(1);
  ParallelWorkers workers;
  for (int i = 0; i < 3; ++i) workers.Submit("filler", [] {});
  std::shared_ptr<void> share(nullptr,
                              [&](void*) { workers.Submit("last", [&tally] { tally.run(0); }); });
  workers.Submit("refused", [share = std::move(share)] { ADD_FAILURE() << "the pool refused it"; });
  ASSERT_EQ(refusals.count, 1);
  ASSERT_TRUE(tally.wait_for(1));
}

TEST(ParallelWorkersStress, StopStepsOverRefusedWork) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const Refusals refusals;
    Tally tally(2 * outer);
    const auto token = std::make_shared<int>();
    ParallelWorkers workers;
    submit_from_all_sides(workers, tally, token);
    workers.Stop();
    EXPECT_GT(refusals.count, 0);
    EXPECT_LE(tally.most(), 1);
    EXPECT_LE(tally.sum() + refusals.count, static_cast<int>(2 * outer));
    EXPECT_EQ(token.use_count(), 1);
  }
}

TEST(ParallelWorkersStress, WorkRunsSideBySide) {
  constexpr std::size_t count = 8;
  Tally arrived(count);
  std::atomic<int> together{0};
  ParallelWorkers workers;
  for (std::size_t i = 0; i < count; ++i) {
    workers.Submit("meet", [&arrived, &together, i] {
      arrived.run(i);
      // Nobody leaves before all are here.
      if (arrived.wait_for(static_cast<int>(count))) ++together;
    });
  }
  ASSERT_TRUE(arrived.wait_for(static_cast<int>(count)));
  workers.Stop();
  EXPECT_EQ(together, static_cast<int>(count));
}

}  // namespace
