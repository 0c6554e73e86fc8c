#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "_base/CSyncRWLock.h"

namespace {

using Id = std::uint32_t;

/// All that the lock keeps, as it is between two operations.
struct Counters {
  std::size_t waiting_readers = 0, waiting_writers = 0, active_readers = 0, active_writers = 0;
  Id writer = 0;
  std::uint32_t writer_reads = 0, writer_writes = 0;
  std::map<Id, std::uint32_t> entries;

  bool operator==(const Counters&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Counters& counters) {
  out << "waiting " << counters.waiting_readers << "r " << counters.waiting_writers << "w, active "
      << counters.active_readers << "r " << counters.active_writers << "w, writer "
      << counters.writer << " with " << counters.writer_reads << "r " << counters.writer_writes
      << "w, entries";
  for (const auto& [id, count] : counters.entries) out << ' ' << id << ':' << count;
  return out;
}

}  // namespace

struct CSyncRWLockPeer {
  static Counters counters(CSyncRWLock& lock) {
    const std::lock_guard section(lock.section_);
    return {lock.waiting_readers_,      lock.waiting_writers_, lock.active_readers_,
            lock.active_writers_,       lock.writer_id_,       lock.writer_read_entries_,
            lock.writer_write_entries_, lock.read_entries_};
  }
};

namespace {

enum class Operation { read_lock, read_unlock, write_lock, write_unlock };
constexpr std::array operations{Operation::read_lock, Operation::read_unlock, Operation::write_lock,
                                Operation::write_unlock};

/// Lets go oftener than it takes, or the walk would only go deeper.
Operation any_operation(std::mt19937& random) {
  const auto drawn = random() % 6;
  return operations[drawn < 4 ? drawn : drawn == 4 ? 1 : 3];
}

void perform(CSyncRWLock& lock, Operation operation, Id id) {
  switch (operation) {
    case Operation::read_lock:
      return lock.ReadLock(id);
    case Operation::read_unlock:
      return lock.ReadUnlock(id);
    case Operation::write_lock:
      return lock.WriteLock(id);
    case Operation::write_unlock:
      return lock.WriteUnlock(id);
  }
}

enum class Outcome { goes_on, waits, broken };

/// The lock as a set of rules: who holds it, who wants it, and what a free lock does.
struct Model {
  std::map<Id, std::uint32_t> readers;
  Id writer = 0;
  std::uint32_t writer_reads = 0, writer_writes = 0;
  std::set<Id> wanting_to_read, wanting_to_write;

  Outcome outcome(Operation operation, Id id) const {
    const bool reads = readers.count(id) != 0;
    const bool writes = writer == id;
    switch (operation) {
      case Operation::read_lock:
        if (reads || writes) return Outcome::goes_on;
        return writer == 0 && wanting_to_write.empty() ? Outcome::goes_on : Outcome::waits;
      case Operation::write_lock:
        if (reads) return Outcome::broken;
        return writes || free() ? Outcome::goes_on : Outcome::waits;
      case Operation::read_unlock:
        return reads || (writes && writer_reads != 0) ? Outcome::goes_on : Outcome::broken;
      case Operation::write_unlock:
        return writes && writer_writes != 0 ? Outcome::goes_on : Outcome::broken;
    }
    return Outcome::broken;
  }

  /// `choose` says which of several waiting writers goes on.
  void apply(Operation operation, Id id, const std::function<Id()>& choose = {}) {
    const bool locks = operation == Operation::read_lock || operation == Operation::write_lock;
    const bool read = operation == Operation::read_lock || operation == Operation::read_unlock;
    if (locks && outcome(operation, id) == Outcome::waits) {
      (read ? wanting_to_read : wanting_to_write).insert(id);
    } else if (locks) {
      enter(read, id);
    } else {
      leave(read, id);
      if (free()) let_go_on(choose);
    }
  }

  bool free() const { return writer == 0 && readers.empty(); }
  bool holds(Id id) const { return writer == id || readers.count(id) != 0; }
  bool waits(Id id) const {
    return wanting_to_read.count(id) != 0 || wanting_to_write.count(id) != 0;
  }

  Counters counters() const {
    return {wanting_to_read.size(),
            wanting_to_write.size(),
            readers.size(),
            writer == 0 ? 0u : 1u,
            writer,
            writer_reads,
            writer_writes,
            readers};
  }

  auto key() const { return std::tuple(readers, writer, writer_reads, writer_writes); }

 private:
  void enter(bool read, Id id) {
    if (read && writer != id) {
      ++readers[id];
    } else {
      writer = id;
      ++(read ? writer_reads : writer_writes);
    }
  }
  void leave(bool read, Id id) {
    if (writer == id) {
      --(read ? writer_reads : writer_writes);
      if (writer_reads == 0 && writer_writes == 0) writer = 0;
    } else if (--readers[id] == 0) {
      readers.erase(id);
    }
  }
  void let_go_on(const std::function<Id()>& choose) {
    if (!wanting_to_write.empty()) {
      const Id next = wanting_to_write.size() == 1 ? *wanting_to_write.begin() : choose();
      wanting_to_write.erase(next);
      enter(false, next);
    } else {
      for (const Id id : std::exchange(wanting_to_read, {})) enter(true, id);
    }
  }
};

/// Polls, because a thread that has come to rest inside the lock gives no signal.
template <class Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

using Path = std::vector<std::pair<Operation, Id>>;

TEST(CSyncRWLockModel, EachStateWithoutWaitersAnswersEachOperationAsTheModelDoes) {
  constexpr Id ids = 3;
  constexpr std::uint32_t deepest = 3;
  std::set<decltype(Model().key())> seen{Model().key()};
  std::deque<std::pair<Model, Path>> open{{Model(), {}}};
  std::size_t steps = 0, broken = 0;
  while (!open.empty()) {
    const auto [model, path] = std::move(open.front());
    open.pop_front();
    for (Id id = 1; id <= ids; ++id) {
      for (const Operation operation : operations) {
        const Outcome outcome = model.outcome(operation, id);
        if (outcome == Outcome::waits) continue;  // needs a thread: see below
        CSyncRWLock lock;
        for (const auto& [step, by] : path) perform(lock, step, by);
        if (outcome == Outcome::broken) {
          // A rethrow gives back what is in flight, so that it can be seen without a dead process.
          try {
            throw path.size();
          } catch (...) {
            EXPECT_THROW(perform(lock, operation, id), std::size_t);
          }
          EXPECT_EQ(CSyncRWLockPeer::counters(lock), model.counters());
          ++broken;
          continue;
        }
        Model next = model;
        next.apply(operation, id);
        perform(lock, operation, id);
        ASSERT_EQ(CSyncRWLockPeer::counters(lock), next.counters())
            << "operation " << static_cast<int>(operation) << " of " << id << " after "
            << model.counters();
        ++steps;
        const Counters counters = next.counters();
        bool too_deep = counters.writer_reads > deepest || counters.writer_writes > deepest;
        for (const auto& entry : counters.entries) too_deep = too_deep || entry.second > deepest;
        if (too_deep || !seen.insert(next.key()).second) continue;
        Path longer = path;
        longer.emplace_back(operation, id);
        open.emplace_back(std::move(next), std::move(longer));
      }
    }
  }
  // Readers 0 to 3 deep on three threads, and a writer 0 to 3 deep both ways on one of three.
  EXPECT_EQ(seen.size(), 4u * 4u * 4u + 3u * (4u * 4u - 1u));
  EXPECT_GT(steps, seen.size());
  EXPECT_GT(broken, 0u);
}

TEST(CSyncRWLockModel, LongRandomWalksWithoutWaitersFollowTheModel) {
  for (const unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    CSyncRWLock lock;
    Model model;
    for (int step = 0; step < 30000; ++step) {
      const Operation operation = any_operation(random);
      const Id id = 1 + static_cast<Id>(random() % 5);
      if (model.outcome(operation, id) != Outcome::goes_on) continue;
      model.apply(operation, id);
      perform(lock, operation, id);
      ASSERT_EQ(CSyncRWLockPeer::counters(lock), model.counters()) << "step " << step;
    }
  }
}

/// A thread that does one operation after the other, and may be stuck in one.
class Actor {
 public:
  Actor() : thread_([this] { work(); }) {}
  ~Actor() {
    order({});
    thread_.join();
  }

  void order(std::function<void()> task) {
    const std::lock_guard section(lock_);
    tasks_.push_back(std::move(task));
    busy_ = true;
    signal_.notify_all();
  }
  bool busy() {
    const std::lock_guard section(lock_);
    return busy_;
  }

 private:
  void work() {
    for (std::unique_lock section(lock_);;) {
      signal_.wait(section, [this] { return !tasks_.empty(); });
      const auto task = std::move(tasks_.front());
      tasks_.pop_front();
      if (!task) return;
      section.unlock();
      task();
      section.lock();
      busy_ = false;
    }
  }

  std::mutex lock_;
  std::condition_variable signal_;
  std::deque<std::function<void()>> tasks_;
  bool busy_ = false;
  std::thread thread_;
};

/// One lock, some threads that use it, and the model beside them.
class Play {
 public:
  explicit Play(unsigned seed) : seed_(seed) {}

  void step(Operation operation, Id id) {
    ++step_;
    actors_[id - 1].order([this, operation, id] { perform(lock_, operation, id); });
    model_.apply(operation, id, [this] { return new_writer(); });
    const bool settled = eventually([this] {
      if (CSyncRWLockPeer::counters(lock_) != model_.counters()) return false;
      for (Id actor = 1; actor <= count(); ++actor) {
        if (actors_[actor - 1].busy() != model_.waits(actor)) return false;
      }
      return true;
    });
    if (!settled) give_up();
  }

  const Model& model() const { return model_; }
  Id count() const { return static_cast<Id>(actors_.size()); }

 private:
  Id new_writer() {
    Id next = 0;
    const bool came = eventually([&] {
      next = CSyncRWLockPeer::counters(lock_).writer;
      return model_.wanting_to_write.count(next) != 0;
    });
    if (!came) give_up();
    return next;
  }

  /// Threads that hang in the lock can't be joined.
  [[noreturn]] void give_up() {
    std::cerr << "seed " << seed_ << ", step " << step_ << ": the lock is at "
              << CSyncRWLockPeer::counters(lock_) << ", the model at " << model_.counters()
              << std::endl;
    std::abort();
  }

  const unsigned seed_;
  int step_ = 0;
  CSyncRWLock lock_;
  Model model_;
  std::array<Actor, 6> actors_;
};

TEST(CSyncRWLockModel, WaitingAndHandOverFollowTheModel) {
  for (const unsigned seed : {11u, 12u, 13u}) {
    std::mt19937 random(seed);
    Play play(seed);
    int waits = 0;
    for (int tries = 0; tries < 14000; ++tries) {
      const Operation operation = any_operation(random);
      const Id id = 1 + static_cast<Id>(random() % play.count());
      const Outcome outcome = play.model().outcome(operation, id);
      if (play.model().waits(id) || outcome == Outcome::broken) continue;
      if (outcome == Outcome::waits) ++waits;
      play.step(operation, id);
    }
    EXPECT_GT(waits, 200) << "seed " << seed;
    // Whoever waits comes to hold the lock in the end, and a holder can always let go.
    while (!play.model().free()) {
      Id holder = 1;
      while (!play.model().holds(holder)) ++holder;
      const bool reads = play.model().outcome(Operation::read_unlock, holder) == Outcome::goes_on;
      play.step(reads ? Operation::read_unlock : Operation::write_unlock, holder);
    }
    EXPECT_EQ(play.model().counters(), Counters()) << "seed " << seed;
  }
}

}  // namespace
