#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

#include "_base/WorkItem.h"

namespace {

using zv::ThreadPool::WorkItem;

/// Looks at the item when it is let go, which would be a deadlock under the item's lock.
class Witness {
 public:
  Witness(WorkItem*& item, WorkItem::State& seen) : item_(item), seen_(seen) {}
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;
  ~Witness() { seen_ = item_->state(); }

 private:
  WorkItem*& item_;
  WorkItem::State& seen_;
};

class WorkItemLetsGo : public testing::Test {
 protected:
  template <class Body>
  void make(Body body) {
    auto witness = std::make_shared<Witness>(address_, seen_);
    item_ = std::make_unique<WorkItem>(
        "item", [witness = std::move(witness), body] { body(); }, [] {});
    address_ = item_.get();
  }

  WorkItem* address_ = nullptr;
  WorkItem::State seen_ = WorkItem::pending;
  std::unique_ptr<WorkItem> item_;
};

TEST_F(WorkItemLetsGo, OfItsWorkBeforeItIsDone) {
  make([] {});
  item_->Run();
  EXPECT_EQ(seen_, WorkItem::running);
  EXPECT_EQ(item_->state(), WorkItem::done);
}

TEST_F(WorkItemLetsGo, OfWorkThatThrewBeforeItIsDone) {
  make([] { throw std::runtime_error("work"); });
  EXPECT_THROW(item_->Run(), std::runtime_error);
  EXPECT_EQ(seen_, WorkItem::running);
  EXPECT_EQ(item_->state(), WorkItem::done);
}

TEST_F(WorkItemLetsGo, OfCancelledWorkBeforeItIsDone) {
  make([] { FAIL() << "it was cancelled"; });
  item_->Cancel();
  item_->Run();
  EXPECT_EQ(seen_, WorkItem::cancelled);
  EXPECT_EQ(item_->state(), WorkItem::done);
}

}  // namespace
