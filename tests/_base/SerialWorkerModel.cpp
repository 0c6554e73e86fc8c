#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "_base/SerialWorker.h"
#include "support/TestSeam.h"

namespace {

struct Entry {
  int item;
  bool cancelled;

  bool operator==(const Entry&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Entry& entry) {
  return out << entry.item << (entry.cancelled ? " cancelled" : " worked");
}

/// What the items did, in order. Finds out if two are at it at once.
class Journal {
 public:
  void write(Entry entry, const std::function<void()>& body) {
    if (inside_.exchange(true)) overlapped_ = true;
    body();
    {
      const std::lock_guard section(lock_);
      entries_.push_back(entry);
    }
    // Before the signal: whoever waits may start the next item at once.
    inside_ = false;
    signal_.notify_all();
  }
  [[nodiscard]] bool wait_for(std::size_t count) {
    std::unique_lock section(lock_);
    return signal_.wait_for(section, std::chrono::seconds(60),
                            [&] { return entries_.size() >= count; });
  }
  std::vector<Entry> entries() {
    const std::lock_guard section(lock_);
    return entries_;
  }
  bool overlapped() const { return overlapped_; }

 private:
  std::atomic<bool> inside_{false}, overlapped_{false};
  std::mutex lock_;
  std::condition_variable signal_;
  std::vector<Entry> entries_;
};

/// An action submits the item of its number, or cancels what is pending.
constexpr int cancel_pending = -1;
using Actions = std::vector<int>;

/// What each item does when its turn comes, and what is done before the first turn.
struct Script {
  Actions opening;
  std::vector<Actions> items;
};

Script random_script(std::mt19937& random) {
  Script script;
  const auto new_actions = [&](unsigned longest) {
    Actions actions;
    for (auto left = random() % (longest + 1); left != 0; --left) {
      if (random() % 5 == 0) {
        actions.push_back(cancel_pending);
      } else {
        actions.push_back(static_cast<int>(script.items.size()));
        script.items.emplace_back();
      }
    }
    return actions;
  };
  script.opening = new_actions(30);
  // Later items are submitted by earlier ones, two thirds of an item each: the tree comes to an
  // end.
  for (std::size_t item = 0; item < script.items.size() && script.items.size() < 300; ++item) {
    Actions actions = new_actions(2);
    script.items[item] = std::move(actions);
  }
  return script;
}

/// The reference: a queue that is emptied as a whole, and forgets what comes after a stop.
std::vector<Entry> predicted(const Script& script, bool stopped) {
  std::deque<Entry> pending;
  const auto act = [&](const Actions& actions, bool accepts) {
    for (const int action : actions) {
      if (action == cancel_pending) {
        for (auto& entry : pending) entry.cancelled = true;
      } else if (accepts) {
        pending.push_back({action, false});
      }
    }
  };
  std::vector<Entry> result;
  act(script.opening, true);
  while (!pending.empty()) {
    for (const Entry& entry : std::exchange(pending, {})) {
      result.push_back(entry);
      act(script.items[static_cast<std::size_t>(entry.item)], !stopped);
    }
  }
  return result;
}

/// A script on a real worker, held at its gate until the opening is over.
class Performance {
 public:
  explicit Performance(const Script& script) : script_(script) {
    worker.Submit(
        "gate",
        [this] {
          started_.set_value();
          opened_.wait();
        },
        [] {});
    started_.get_future().wait();
    act(script_.opening);
  }

  void open() { gate_.set_value(); }

  void act(const Actions& actions) {
    for (const int action : actions) {
      if (action == cancel_pending) {
        worker.CancelPending();
      } else {
        submit(action);
      }
    }
  }

  Journal journal;

 private:
  void submit(int item) {
    const auto turn = [this, item](bool cancelled) {
      journal.write({item, cancelled}, [&] { act(script_.items[static_cast<std::size_t>(item)]); });
    };
    worker.Submit(
        "item " + std::to_string(item), [turn] { turn(false); }, [turn] { turn(true); });
  }

  const Script& script_;
  std::promise<void> started_, gate_;
  std::future<void> opened_ = gate_.get_future();

 public:
  SerialWorker worker{"model"};  // the last member, so that it stops before the others go
};

TEST(SerialWorkerModel, NestedSubmitsAndCancelsFollowTheModel) {
  for (unsigned seed = 1; seed <= 500; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const Script script = random_script(random);
    const auto expected = predicted(script, false);
    Performance real(script);
    EXPECT_EQ(real.journal.entries(), std::vector<Entry>());
    real.open();
    ASSERT_TRUE(real.journal.wait_for(expected.size()));
    real.worker.Stop();
    ASSERT_EQ(real.journal.entries(), expected);
    ASSERT_FALSE(real.journal.overlapped());
  }
}

TEST(SerialWorkerModel, StopDrainsWhatIsThereAndDropsWhatComes) {
  for (unsigned seed = 1001; seed <= 1100; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const Script script = random_script(random);
    Performance real(script);
    std::thread stopper([&] { real.worker.Stop(); });
    // A stopped worker lets go at once of what it drops: that tells when the stop has begun.
    const auto dropped = [&] {
      auto token = std::make_shared<int>();
      const std::weak_ptr<int> seen = token;
      real.worker.Submit(
          "probe", [token = std::move(token)] {}, [] {});
      return seen.expired();
    };
    while (!dropped()) std::this_thread::yield();
    real.open();
    stopper.join();
    ASSERT_EQ(real.journal.entries(), predicted(script, true));
    ASSERT_FALSE(real.journal.overlapped());
  }
}

/// Submits from many threads, and knows the order all the same: one lock is held around each call.
class Crowd {
 public:
  void submit() {
    const std::lock_guard section(order_);
    const int item = next_++;
    const auto turn = [this, item, token = token](bool cancelled) {
      journal.write({item, cancelled}, [&] {
        if (cancelled && item >= cancelled_below_) ++faults;
        if (item % 7 == 0) submit();
      });
    };
    worker.Submit(
        "item", [turn] { turn(false); }, [turn] { turn(true); });
  }
  void cancel() {
    const std::lock_guard section(order_);
    cancelled_below_ = next_;
    worker.CancelPending();
  }
  int submitted() {
    const std::lock_guard section(order_);
    return next_;
  }

  const std::shared_ptr<int> token = std::make_shared<int>();
  Journal journal;
  std::atomic<int> faults{0};

 private:
  std::mutex order_;
  int next_ = 0;
  std::atomic<int> cancelled_below_{0};

 public:
  SerialWorker worker{"crowd"};  // the last member, so that it stops before the others go
};

/// The numbers of the items, in the order in which they had their turn.
std::vector<int> order(const std::vector<Entry>& entries) {
  std::vector<int> items;
  for (const Entry& entry : entries) items.push_back(entry.item);
  return items;
}

std::vector<int> from_zero_to(std::size_t end) {
  std::vector<int> numbers(end);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

void run_threads(Crowd& crowd, unsigned seed, unsigned threads, unsigned rounds) {
  std::vector<std::thread> bodies;
  for (unsigned thread = 0; thread < threads; ++thread) {
    bodies.emplace_back([&crowd, seed, thread, rounds] {
      std::mt19937 random(seed * 100 + thread);
      for (unsigned round = 0; round < rounds; ++round) {
        if (random() % 20 == 0) {
          crowd.cancel();
        } else {
          crowd.submit();
        }
        if (random() % 4 == 0) std::this_thread::yield();
      }
    });
  }
  for (auto& body : bodies) body.join();
}

TEST(SerialWorkerModel, ManyThreadsKeepTheOrderOfSubmission) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Crowd crowd;
    run_threads(crowd, seed, 6, 300);
    // Items submit further items, so their number is known when each has had its turn.
    std::size_t turns = 0;
    do {
      turns = static_cast<std::size_t>(crowd.submitted());
      ASSERT_TRUE(crowd.journal.wait_for(turns));
    } while (turns != static_cast<std::size_t>(crowd.submitted()));
    crowd.worker.Stop();
    EXPECT_EQ(order(crowd.journal.entries()), from_zero_to(turns));
    EXPECT_EQ(crowd.faults, 0);
    EXPECT_FALSE(crowd.journal.overlapped());
    EXPECT_EQ(crowd.token.use_count(), 1);
  }
}

TEST(SerialWorkerModel, StopAmongSubmittersReturnsWhenAllIsDone) {
  for (unsigned seed = 11; seed <= 30; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Crowd crowd;
    std::size_t before = 0, after = 0;
    std::thread stopper([&] {
      EXPECT_TRUE(crowd.journal.wait_for(seed * 5));
      before = static_cast<std::size_t>(crowd.submitted());
      crowd.worker.Stop();
      after = crowd.journal.entries().size();
    });
    run_threads(crowd, seed, 4, 200);
    stopper.join();
    EXPECT_GE(after, before);
    EXPECT_EQ(order(crowd.journal.entries()), from_zero_to(after));
    EXPECT_EQ(crowd.faults, 0);
    EXPECT_FALSE(crowd.journal.overlapped());
    EXPECT_EQ(crowd.token.use_count(), 1);
  }
}

/// A worker that was refused a drain waits for ever when it ends, so it is never ended.
Crowd& endless_crowd() {
  static auto& all = *new std::vector<std::unique_ptr<Crowd>>;
  return *all.emplace_back(std::make_unique<Crowd>());
}

TEST(SerialWorkerModel, RefusedDrainsLeaveTheQueueAsItIs) {
  for (unsigned seed = 31; seed <= 60; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    support::TestSeam seam;
    const auto dispatched = [&] { return seam.calls(platform::Call::submit); };
    Crowd& crowd = endless_crowd();
    run_threads(crowd, seed, 3, 1 + static_cast<unsigned>(random() % 50));

    seam.fail_calls(platform::Call::submit, 8);
    std::size_t turns = 0;
    // As long as a drain is under way it takes new items along, and none is asked for.
    for (std::size_t before = dispatched(); dispatched() == before;) {
      do {
        turns = static_cast<std::size_t>(crowd.submitted());
        ASSERT_TRUE(crowd.journal.wait_for(turns));
      } while (turns != static_cast<std::size_t>(crowd.submitted()));
      before = dispatched();
      crowd.submit();
    }
    const std::size_t refused = dispatched();
    seam.let_calls_through(platform::Call::submit);
    run_threads(crowd, seed, 3, 20);
    EXPECT_EQ(dispatched(), refused);

    // Another worker is served meanwhile.
    Crowd other;
    other.submit();
    ASSERT_TRUE(other.journal.wait_for(1));
    other.worker.Stop();
    EXPECT_EQ(order(crowd.journal.entries()), from_zero_to(turns));
    EXPECT_EQ(crowd.faults, 0);
    EXPECT_FALSE(crowd.journal.overlapped());
  }
}

}  // namespace
