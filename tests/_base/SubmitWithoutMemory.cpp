#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "_base/FailingAllocation.h"
#include "_base/ParallelWorkers.h"
#include "_base/SerialWorker.h"

namespace {

/// Longer than what a string holds without an allocation.
const std::string name = "a name that is long enough to be allocated";

/// Work that tells when it runs, and when it has been let go.
class Work {
 public:
  std::function<void()> make() {
    return [share = share_, done = done_] { done->set_value(); };
  }
  bool is_let_go() const { return share_.use_count() == 1; }
  void wait() { done_->get_future().wait(); }

 private:
  std::shared_ptr<int> share_ = std::make_shared<int>();
  std::shared_ptr<std::promise<void>> done_ = std::make_shared<std::promise<void>>();
};

/// True if the submission met the failure of its allocation number `index`.
bool submit(SerialWorker& worker, Work& work, long index) {
  std::string label = name;
  auto callable = work.make();
  return failing_allocation::met_by(index, [&] {
    EXPECT_NO_THROW(worker.Submit(std::move(label), std::move(callable), nullptr));
  });
}

bool submit(ParallelWorkers& workers, Work& work, long index) {
  std::string label = name;
  auto callable = work.make();
  return failing_allocation::met_by(
      index, [&] { EXPECT_NO_THROW(workers.Submit(std::move(label), std::move(callable))); });
}

/// A worker whose queue waits for a drain never ends, so it stays.
void keep(std::unique_ptr<SerialWorker> worker) {
  static auto& all = *new std::vector<std::unique_ptr<SerialWorker>>;
  all.push_back(std::move(worker));
}

TEST(SerialWorkerWithoutMemory, DropsTheWorkOrLetsItWait) {
  int dropped = 0;
  int waiting = 0;
  for (long index = 0;; ++index) {
    SCOPED_TRACE(testing::Message() << "allocation " << index);
    auto worker = std::make_unique<SerialWorker>("worker");
    Work work;
    if (!submit(*worker, work, index)) {
      work.wait();
      break;
    }
    if (work.is_let_go()) {
      ++dropped;
      Work next;
      submit(*worker, next, failing_allocation::never);
      next.wait();
    } else {
      ++waiting;
      keep(std::move(worker));
    }
  }
  EXPECT_GE(dropped, 2) << "for the item and its place";
  EXPECT_GE(waiting, 4) << "for the drain, its place, its name, and what the pool needs";
}

TEST(SerialWorkerWithoutMemory, GoesOnWithItsDrain) {
  long index = 0;
  for (;; ++index) {
    SCOPED_TRACE(testing::Message() << "allocation " << index);
    std::promise<void> gate;
    std::promise<void> started;
    SerialWorker worker("worker");
    worker.Submit(
        "gate",
        [&] {
          started.set_value();
          gate.get_future().wait();
        },
        nullptr);
    started.get_future().wait();
    Work work;
    const bool met = submit(worker, work, index);
    EXPECT_EQ(work.is_let_go(), met);
    Work next;
    submit(worker, next, failing_allocation::never);
    gate.set_value();
    next.wait();
    worker.Stop();
    if (!met) break;
  }
  EXPECT_GE(index, 2) << "for the item and its place";
}

TEST(ParallelWorkersWithoutMemory, LoseTheWorkAndNothingElse) {
  long index = 0;
  for (;; ++index) {
    SCOPED_TRACE(testing::Message() << "allocation " << index);
    ParallelWorkers workers;
    Work work;
    if (!submit(workers, work, index)) {
      work.wait();
      break;
    }
    EXPECT_TRUE(work.is_let_go());
    Work next;
    submit(workers, next, failing_allocation::never);
    next.wait();
    workers.Stop();
  }
  EXPECT_GE(index, 4) << "for the place, the wrapped work, the item, and what the pool needs";
}

}  // namespace
