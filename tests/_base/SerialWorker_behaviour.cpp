#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "_base/SerialWorker.h"
#include "_base/waiting.h"
#include "platform/thread.h"
#include "support/TestSeam.h"

namespace {

using platform::Call;
using waiting::Attempt;
using waiting::Gate;

void nothing() {}

/// What ran, in its order.
class Journal {
 public:
  std::function<void()> entry(const std::string& text) {
    return [this, text] {
      const std::lock_guard lock(mutex_);
      entries_.push_back(text);
    };
  }
  std::vector<std::string> entries() const {
    const std::lock_guard lock(mutex_);
    return entries_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> entries_;
};

using Entries = std::vector<std::string>;

class SerialWorkerTest : public testing::Test {
 protected:
  /// Occupies the worker until `let_go` opens: what is submitted meanwhile stays pending.
  void occupy() {
    const Gate started{};
    worker.Submit(
        "occupation",
        [started, gate = let_go] {
          started.open();
          EXPECT_TRUE(gate.wait());
        },
        nothing);
    ASSERT_TRUE(started.wait());
  }

  /// True if the worker drops what is submitted.
  static bool drops(SerialWorker& worker) {
    const auto token = std::make_shared<int>();
    worker.Submit(
        "probe", [token] {}, [token] {});
    return token.use_count() == 1;
  }

  support::TestSeam seam;
  Journal journal;
  const Gate let_go{};
  SerialWorker worker{"worker"};
};

TEST_F(SerialWorkerTest, HasTheNameItWasGiven) {
  EXPECT_EQ(worker.name(), "worker");
}

TEST_F(SerialWorkerTest, RunsItsItemsOnAnotherThread) {
  std::uint32_t thread = 0;
  worker.Submit(
      "item", [&] { thread = platform::current_thread_id(); }, nothing);
  worker.Stop();
  EXPECT_NE(thread, 0u);
  EXPECT_NE(thread, platform::current_thread_id());
}

TEST_F(SerialWorkerTest, RunsItsItemsInTheOrderOfTheirSubmission) {
  Entries expected;
  for (int i = 0; i != 300; ++i) {
    expected.push_back(std::to_string(i));
    worker.Submit("item", journal.entry(expected.back()), journal.entry("cancelled"));
  }
  worker.Stop();
  EXPECT_EQ(journal.entries(), expected);
}

TEST_F(SerialWorkerTest, RunsOneItemAtATimeWhoeverSubmits) {
  std::atomic<int> inside{0};
  std::atomic<int> runs{0};
  std::atomic<bool> met{false};
  std::vector<std::thread> submitters;
  for (int i = 0; i != 4; ++i) {
    submitters.emplace_back([&] {
      for (int j = 0; j != 100; ++j) {
        worker.Submit(
            "item",
            [&] {
              if (++inside != 1) met = true;
              ++runs;
              std::this_thread::yield();
              --inside;
            },
            nothing);
      }
    });
  }
  for (std::thread& submitter : submitters) submitter.join();
  worker.Stop();
  EXPECT_FALSE(met);
  EXPECT_EQ(runs, 400);
}

TEST_F(SerialWorkerTest, CopiesWhatIsSubmitted) {
  const std::function<void()> work = journal.entry("work");
  const std::function<void()> cancel = journal.entry("cancel");
  worker.Submit("item", work, cancel);
  worker.Submit("item", work, cancel);
  worker.Stop();
  work();
  EXPECT_EQ(journal.entries(), (Entries{"work", "work", "work"}));
}

TEST_F(SerialWorkerTest, DropsSubmissionsAfterStop) {
  worker.Stop();
  const auto token = std::make_shared<int>();
  worker.Submit(
      "item", [token] { ADD_FAILURE() << "the work ran"; },
      [token] { ADD_FAILURE() << "the cancel handler ran"; });
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_EQ(seam.calls(Call::submit), 0u);
  worker.CancelPending();
  worker.Stop();
}

TEST_F(SerialWorkerTest, CancelsThreePendingItemsInOrder) {
  ASSERT_NO_FATAL_FAILURE(occupy());
  for (const char* const item : {"1", "2", "3"}) {
    worker.Submit("item", journal.entry("work"), journal.entry(std::string("cancel ") + item));
  }
  worker.CancelPending();
  EXPECT_TRUE(journal.entries().empty()) << "the handlers run in the drain";
  let_go.open();
  worker.Stop();
  EXPECT_EQ(journal.entries(), (Entries{"cancel 1", "cancel 2", "cancel 3"}));
}

TEST_F(SerialWorkerTest, CancelsOnlyWhatWasThereAlready) {
  ASSERT_NO_FATAL_FAILURE(occupy());
  worker.Submit("item", journal.entry("work 1"), journal.entry("cancel 1"));
  worker.CancelPending();
  worker.Submit("item", journal.entry("work 2"), journal.entry("cancel 2"));
  let_go.open();
  worker.Stop();
  EXPECT_EQ(journal.entries(), (Entries{"cancel 1", "work 2"}));
}

TEST_F(SerialWorkerTest, CannotCancelWhatADrainHasTaken) {
  const Gate drains{};
  const Gate cancelled{};
  ASSERT_NO_FATAL_FAILURE(occupy());
  worker.Submit(
      "first",
      [=] {
        drains.open();
        EXPECT_TRUE(cancelled.wait());
      },
      nothing);
  worker.Submit("second", journal.entry("work"), journal.entry("cancel"));
  let_go.open();
  ASSERT_TRUE(drains.wait());
  worker.CancelPending();
  cancelled.open();
  worker.Stop();
  EXPECT_EQ(journal.entries(), Entries{"work"});
}

TEST_F(SerialWorkerTest, TakesItemsFromARunningItemWithoutASecondDrain) {
  const Gate first_done{};
  worker.Submit(
      "outer",
      [this, first_done] {
        journal.entry("outer")();
        worker.Submit("inner", journal.entry("inner"), nothing);
        worker.Submit(
            "last",
            [this, first_done] {
              journal.entry("last")();
              first_done.open();
            },
            nothing);
        journal.entry("end of outer")();
      },
      nothing);
  ASSERT_TRUE(first_done.wait());
  EXPECT_EQ(journal.entries(), (Entries{"outer", "end of outer", "inner", "last"}));
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  worker.Stop();
  EXPECT_EQ(seam.calls(Call::submit), 1u);
}

TEST_F(SerialWorkerTest, StartsNoSecondDrainWhileOneRuns) {
  ASSERT_NO_FATAL_FAILURE(occupy());
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  for (int i = 0; i != 10; ++i) worker.Submit("item", journal.entry("work"), nothing);
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  let_go.open();
  worker.Stop();
  EXPECT_EQ(journal.entries().size(), 10u);
  EXPECT_EQ(seam.calls(Call::submit), 1u);
}

TEST_F(SerialWorkerTest, StartsANewDrainAfterTheLastOneEnded) {
  // The end of a drain has no signal; sooner or later an item finds the worker idle.
  EXPECT_TRUE(waiting::until([this] {
    const Gate done{};
    worker.Submit(
        "item", [done] { done.open(); }, nothing);
    return done.wait() && seam.calls(Call::submit) >= 3;
  }));
  worker.Stop();
}

TEST_F(SerialWorkerTest, CallsWorkAndCancelHandlersOutsideItsLock) {
  ASSERT_NO_FATAL_FAILURE(occupy());
  worker.Submit("cancelled", nothing, [this] {
    worker.CancelPending();
    worker.Submit("by handler", nothing, journal.entry("by handler, cancelled"));
  });
  worker.CancelPending();
  worker.Submit(
      "worked",
      [this] {
        worker.CancelPending();
        worker.Submit("by work", journal.entry("by work"), nothing);
      },
      nothing);
  let_go.open();
  EXPECT_TRUE(waiting::until([this] { return journal.entries().size() == 2; }));
  worker.Stop();
  EXPECT_EQ(journal.entries(), (Entries{"by handler, cancelled", "by work"}));
}

TEST_F(SerialWorkerTest, StopsOnlyWhenTheRunningItemHasEnded) {
  bool ended = false;
  const Gate started{};
  worker.Submit(
      "item",
      [&, started] {
        started.open();
        // As soon as Stop has begun, nothing more is accepted.
        EXPECT_TRUE(waiting::until([this] { return drops(worker); }));
        ended = true;
      },
      nothing);
  ASSERT_TRUE(started.wait());
  worker.Stop();
  EXPECT_TRUE(ended);
}

TEST_F(SerialWorkerTest, StopsOnlyWhenThePendingItemsHaveRun) {
  ASSERT_NO_FATAL_FAILURE(occupy());
  worker.Submit("item", journal.entry("1"), nothing);
  worker.Submit("item", journal.entry("2"), nothing);
  const Attempt stop([this] { worker.Stop(); });
  EXPECT_TRUE(waiting::until([this] { return drops(worker); }));
  EXPECT_FALSE(stop.is_done());
  let_go.open();
  ASSERT_TRUE(stop.ends());
  EXPECT_EQ(journal.entries(), (Entries{"1", "2"})) << "and no probe that came after Stop began";
}

TEST_F(SerialWorkerTest, LetsGoOfWhatItRan) {
  const auto token = std::make_shared<int>();
  worker.Submit(
      "item", [token] {}, [token] {});
  worker.Stop();
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(SerialWorkerTest, StopsAtItsEnd) {
  {
    SerialWorker scoped("scoped");
    for (int i = 0; i != 20; ++i) scoped.Submit("item", journal.entry("work"), nothing);
  }
  EXPECT_EQ(journal.entries().size(), 20u);
}

/// A worker whose drain was refused never gets rid of its items, and waits for them for ever: it
/// can only be left behind.
class RefusedDrain : public testing::Test {
 protected:
  struct Stuck {
    SerialWorker worker{"stuck"};
    std::atomic<bool> ran{false};
    std::shared_ptr<int> token = std::make_shared<int>();
  };

  void submit() {
    stuck->worker.Submit(
        "item", [stuck = stuck, token = stuck->token] { stuck->ran = true; },
        [stuck = stuck] { stuck->ran = true; });
  }
  bool drops() {
    const auto token = std::make_shared<int>();
    stuck->worker.Submit(
        "probe", [token] {}, [token] {});
    return token.use_count() == 1;
  }
  /// Keeps them reachable for as long as the process lives.
  static Stuck* leave_behind() {
    static auto* const left = new std::vector<Stuck*>;
    left->push_back(new Stuck);
    return left->back();
  }

  support::TestSeam seam;
  Stuck* const stuck = leave_behind();
};

TEST_F(RefusedDrain, LeavesTheWorkInTheQueue) {
  seam.fail_call(Call::submit, 8);
  submit();
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  EXPECT_EQ(stuck->token.use_count(), 2) << "it is kept";
  EXPECT_FALSE(stuck->ran);
}

TEST_F(RefusedDrain, IsNotRetriedByLaterSubmissions) {
  seam.fail_call(Call::submit, 8);
  for (int i = 0; i != 5; ++i) submit();
  EXPECT_EQ(seam.calls(Call::submit), 1u);
  EXPECT_EQ(stuck->token.use_count(), 6);
  EXPECT_FALSE(stuck->ran);
}

TEST_F(RefusedDrain, KeepsStopWaiting) {
  seam.fail_call(Call::submit, 8);
  submit();
  stuck->worker.CancelPending();
  const Attempt stop([worker = &stuck->worker] { worker->Stop(); });
  EXPECT_TRUE(waiting::until([this] { return drops(); })) << "Stop has begun";
  EXPECT_FALSE(stop.is_done());
  EXPECT_FALSE(stuck->ran) << "a cancel handler runs in a drain only";
}

TEST_F(RefusedDrain, OfOneWorkerIsNoneOfAnother) {
  seam.fail_call(Call::submit, 8);
  submit();
  SerialWorker other("other");
  const Gate done{};
  other.Submit(
      "item", [done] { done.open(); }, nothing);
  EXPECT_TRUE(done.wait());
  other.Stop();
}

}  // namespace
