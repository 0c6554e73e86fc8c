#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "_base/WorkItem.h"
#include "_base/waiting.h"

namespace {

using waiting::Attempt;
using waiting::Gate;
using zv::ThreadPool::WorkItem;

void nothing() {}

TEST(WorkItem, StartsPendingWithItsName) {
  WorkItem item("label", nothing, nothing);
  EXPECT_EQ(item.name(), "label");
  EXPECT_EQ(item.state(), 0);
  item.Run();
}

TEST(WorkItem, NumbersItsStates) {
  EXPECT_EQ(WorkItem::pending, 0);
  EXPECT_EQ(WorkItem::running, 1);
  EXPECT_EQ(WorkItem::done, 2);
  EXPECT_EQ(WorkItem::cancelled, 3);
}

TEST(WorkItem, IsRunningDuringItsWorkAndThenDone) {
  std::vector<int> seen;
  WorkItem* self = nullptr;
  WorkItem item(
      "", [&] { seen.push_back(self->state()); }, [] { ADD_FAILURE() << "it wasn't cancelled"; });
  self = &item;
  item.Run();
  EXPECT_EQ(seen, std::vector<int>{1});
  EXPECT_EQ(item.state(), 2);
}

TEST(WorkItem, RunsItsCancelHandlerInsteadOfItsWorkIfCancelled) {
  std::vector<int> seen;
  WorkItem* self = nullptr;
  WorkItem item(
      "", [] { ADD_FAILURE() << "it was cancelled"; }, [&] { seen.push_back(self->state()); });
  self = &item;
  item.Cancel();
  EXPECT_EQ(item.state(), 3);
  EXPECT_TRUE(seen.empty()) << "cancelling only marks it";
  item.Run();
  EXPECT_EQ(seen, std::vector<int>{2}) << "it is done before the handler is called";
  EXPECT_EQ(item.state(), 2);
}

TEST(WorkItem, CanOnlyBeCancelledWhilePending) {
  int runs = 0;
  WorkItem* self = nullptr;
  WorkItem item(
      "",
      [&] {
        ++runs;
        self->Cancel();
        EXPECT_EQ(self->state(), 1);
      },
      [] { ADD_FAILURE() << "it wasn't cancelled in time"; });
  self = &item;
  item.Run();
  EXPECT_EQ(item.state(), 2);
  item.Cancel();
  EXPECT_EQ(item.state(), 2);
  EXPECT_EQ(runs, 1);
}

TEST(WorkItem, ThrowsForWorkThatIsEmpty) {
  WorkItem item("", nullptr, nothing);
  EXPECT_THROW(item.Run(), std::bad_function_call);
}

TEST(WorkItem, ThrowsForACancelHandlerThatIsEmpty) {
  WorkItem item("", nothing, nullptr);
  item.Cancel();
  EXPECT_THROW(item.Run(), std::bad_function_call);
  EXPECT_EQ(item.state(), 2);
}

TEST(WorkItem, DoesNotMindAHandlerThatIsEmptyAndNotNeeded) {
  WorkItem worked("", nothing, nullptr);
  worked.Run();
  EXPECT_EQ(worked.state(), 2);
  WorkItem cancelled("", nullptr, nothing);
  cancelled.Cancel();
  cancelled.Run();
  EXPECT_EQ(cancelled.state(), 2);
}

TEST(WorkItem, IsDoneAfterWorkThatThrew) {
  WorkItem item(
      "", [] { throw std::runtime_error("work failed"); }, nothing);
  EXPECT_THROW(item.Run(), std::runtime_error);
  EXPECT_EQ(item.state(), 2);
}

TEST(WorkItem, HoldsItsDestroyerBackUntilItHasRun) {
  const Gate destroying;
  const Gate let_go;
  const Gate worked;
  auto held = std::make_shared<WorkItem>(
      "",
      [=] {
        EXPECT_TRUE(let_go.wait());
        worked.open();
      },
      nothing);
  WorkItem* const item = held.get();

  const Attempt run([item] { item->Run(); });
  ASSERT_TRUE(waiting::until([item] { return item->state() == WorkItem::running; }));
  const Gate in_order;
  const Attempt destroyed([held = std::move(held), destroying, worked, in_order]() mutable {
    destroying.open();
    held.reset();
    if (worked.is_open()) in_order.open();
  });
  ASSERT_TRUE(destroying.wait());
  EXPECT_FALSE(destroyed.is_done());
  let_go.open();

  ASSERT_TRUE(destroyed.ends());
  EXPECT_TRUE(in_order.is_open());
  ASSERT_TRUE(run.ends());
}

TEST(WorkItem, HoldsItsDestroyerBackUntilACancelledOneHasRun) {
  const Gate destroying;
  auto held = std::make_shared<WorkItem>("", nothing, nothing);
  held->Cancel();
  WorkItem* const item = held.get();
  const Attempt destroyed([held = std::move(held), destroying]() mutable {
    destroying.open();
    held.reset();
  });
  ASSERT_TRUE(destroying.wait());
  EXPECT_FALSE(destroyed.is_done());
  item->Run();
  EXPECT_TRUE(destroyed.ends());
}

TEST(WorkItem, LetsOthersWaitForIt) {
  const Gate waits;
  const auto item = std::make_shared<WorkItem>("", nothing, nothing);
  const Attempt waited([item, waits] {
    waits.open();
    item->Wait();
  });
  ASSERT_TRUE(waits.wait());
  item->Run();
  EXPECT_TRUE(waited.ends());
  item->Wait();
}

TEST(WorkItem, GivesItsCallablesUpAtItsEnd) {
  const auto token = std::make_shared<int>();
  {
    WorkItem item(
        "", [token] {}, [token] {});
    item.Run();
  }
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
