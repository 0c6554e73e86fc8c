#include <gtest/gtest.h>

#include "_base/once_task.h"
#include "_base/slots.h"

namespace {

struct Object {
  int calls = 0;
  void call() { ++calls; }
};

using Task = zv::framework::once_task<void (Object::*)(), Object>;

TEST(OnceTask, CallsTheMemberFunctionOfItsObject) {
  Object object;
  EqWorkItem* const task = new Task(&Object::call, &object);
  EXPECT_EQ(object.calls, 0);
  task->Execute();
  EXPECT_EQ(object.calls, 1);
  task->Release();
}

TEST(OnceTask, RunsAtMostOnce) {
  Object object;
  EqWorkItem* const task = new Task(&Object::call, &object);
  task->Execute();
  task->Execute();
  task->Execute();
  EXPECT_EQ(object.calls, 1);
  task->Release();
}

TEST(OnceTask, MayBeReleasedWithoutHavingRun) {
  Object object;
  EqWorkItem* const task = new Task(&Object::call, &object);
  task->Release();
  EXPECT_EQ(object.calls, 0);
}

TEST(OnceTask, MayBeReleasedAsNull) {
  Task::Release(nullptr);
}

TEST(OnceTask, IsEndedByItsDestructorToo) {
  Object object;
  EqWorkItem* const task = new Task(&Object::call, &object);
  EXPECT_EQ(task->scalar_deleting_destructor(1), task);
}

TEST(EqWorkItem, HasItsOperationsInOrder) {
  using slots::slot;
  EXPECT_EQ(slot(&EqWorkItem::scalar_deleting_destructor), 0u);
  EXPECT_EQ(slot(&EqWorkItem::Release), 1u);
  EXPECT_EQ(slot(&EqWorkItem::Execute), 2u);
}

}  // namespace
