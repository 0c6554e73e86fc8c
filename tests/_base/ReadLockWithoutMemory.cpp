#include <gtest/gtest.h>

#include <new>

#include "_base/CSyncRWLock.h"
#include "_base/FailingAllocation.h"

namespace {

void read_without_memory(CSyncRWLock& lock, std::uint32_t thread_id) {
  const bool met = failing_allocation::met_by(
      0, [&] { EXPECT_THROW(lock.ReadLock(thread_id), std::bad_alloc); });
  EXPECT_TRUE(met);
}

/// It would wait for ever otherwise.
void expect_free(CSyncRWLock& lock) {
  lock.WriteLock(9);
  lock.WriteUnlock(9);
}

TEST(CSyncRWLockWithoutMemory, LetsNoReaderJoin) {
  CSyncRWLock lock;
  read_without_memory(lock, 1);
  expect_free(lock);
  lock.ReadLock(2);
  read_without_memory(lock, 1);
  lock.ReadUnlock(2);
  expect_free(lock);
}

TEST(CSyncRWLockWithoutMemory, LetsNoReaderWait) {
  CSyncRWLock lock;
  lock.WriteLock(1);
  read_without_memory(lock, 2);
  lock.WriteUnlock(1);
  expect_free(lock);
}

}  // namespace
