#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "_base/CSyncRWLock.h"
#include "_base/ForeignString.h"
#include "_base/RWLockTest.h"
#include "_base/slots.h"
#include "_base/waiting.h"
#include "platform/thread.h"

namespace {

using strings::fail_fast;
using waiting::Attempt;

class RWLock : public RWLockTest {};

TEST_F(RWLock, StartsFree) {
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, LetsReadersShare) {
  lock.ReadLock(anna);
  lock.ReadLock(bert);
  EXPECT_EQ(counters().active_readers, 2u);
  lock.ReadUnlock(anna);
  EXPECT_EQ(counters().active_readers, 1u);
  lock.ReadUnlock(bert);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, IsFreeAfterReadingTwiceAndUnlockingTwice) {
  lock.ReadLock(anna);
  lock.ReadLock(anna);
  EXPECT_EQ(counters().active_readers, 1u) << "a thread counts once";
  lock.ReadUnlock(anna);
  EXPECT_EQ(counters().active_readers, 1u);
  lock.ReadUnlock(anna);
  EXPECT_TRUE(counters().is_free());
  EXPECT_TRUE(try_write(bert).ends());
  lock.WriteUnlock(bert);
}

TEST_F(RWLock, NotesItsWriter) {
  lock.WriteLock(anna);
  const CSyncRWLockPeer now = counters();
  EXPECT_EQ(now.active_writers, 1u);
  EXPECT_EQ(now.writer_id, anna);
  EXPECT_EQ(now.writer_read_entries, 0u);
  EXPECT_EQ(now.writer_write_entries, 1u);
  lock.WriteUnlock(anna);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, NestsForItsWriterUntilBothCountsAreZero) {
  lock.WriteLock(anna);
  lock.WriteLock(anna);
  lock.ReadLock(anna);
  lock.ReadLock(anna);
  EXPECT_EQ(counters().writer_write_entries, 2u);
  EXPECT_EQ(counters().writer_read_entries, 2u);
  EXPECT_EQ(counters().active_readers, 0u);
  const Attempt other = try_write(bert);
  ASSERT_TRUE(writers_wait(1));

  lock.ReadUnlock(anna);
  lock.WriteUnlock(anna);
  lock.WriteUnlock(anna);
  EXPECT_EQ(counters().writer_id, anna) << "it still reads";
  EXPECT_EQ(counters().waiting_writers, 1u);
  EXPECT_FALSE(other.is_done());
  lock.ReadUnlock(anna);

  EXPECT_TRUE(other.ends());
  lock.WriteUnlock(bert);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, StaysWithAWriterThatHasUnlockedAllItsReading) {
  lock.WriteLock(anna);
  lock.ReadLock(anna);
  lock.ReadUnlock(anna);
  EXPECT_EQ(counters().active_writers, 1u);
  lock.WriteUnlock(anna);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, LetsItsWriterWriteAgainWhileItOnlyReads) {
  lock.WriteLock(anna);
  lock.ReadLock(anna);
  lock.WriteUnlock(anna);
  lock.WriteLock(anna);
  EXPECT_EQ(counters().writer_write_entries, 1u);
  lock.ReadUnlock(anna);
  lock.WriteUnlock(anna);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, KeepsReadersOutWhileOneWrites) {
  lock.WriteLock(anna);
  const Attempt reader = try_read(bert);
  ASSERT_TRUE(readers_wait(1));
  EXPECT_FALSE(reader.is_done());
  lock.WriteUnlock(anna);
  EXPECT_TRUE(reader.ends());
  EXPECT_EQ(counters().active_readers, 1u);
  lock.ReadUnlock(bert);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, KeepsWritersOutWhileOneWrites) {
  lock.WriteLock(anna);
  const Attempt writer = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  EXPECT_FALSE(writer.is_done());
  lock.WriteUnlock(anna);
  EXPECT_TRUE(writer.ends());
  EXPECT_EQ(counters().writer_id, bert);
  lock.WriteUnlock(bert);
}

TEST_F(RWLock, KeepsWritersOutUntilTheLastReaderLeaves) {
  lock.ReadLock(anna);
  lock.ReadLock(bert);
  const Attempt writer = try_write(cleo);
  ASSERT_TRUE(writers_wait(1));
  lock.ReadUnlock(anna);
  EXPECT_EQ(counters().waiting_writers, 1u);
  EXPECT_FALSE(writer.is_done());
  lock.ReadUnlock(bert);
  EXPECT_TRUE(writer.ends());
  EXPECT_EQ(counters().writer_id, cleo);
  EXPECT_EQ(counters().writer_write_entries, 1u);
  lock.WriteUnlock(cleo);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, BlocksANewReaderWhileAWriterWaits) {
  lock.ReadLock(anna);
  const Attempt writer = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  const Attempt reader = try_read(cleo);
  ASSERT_TRUE(readers_wait(1));
  EXPECT_FALSE(reader.is_done());

  lock.ReadUnlock(anna);
  ASSERT_TRUE(writer.ends());
  EXPECT_FALSE(reader.is_done());
  lock.WriteUnlock(bert);
  EXPECT_TRUE(reader.ends());
  lock.ReadUnlock(cleo);
}

TEST_F(RWLock, LetsAThreadThatReadsReadAgainWhileAWriterWaits) {
  lock.ReadLock(anna);
  const Attempt writer = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  ASSERT_TRUE(try_read(anna).ends());
  lock.ReadUnlock(anna);
  EXPECT_EQ(counters().waiting_writers, 1u) << "one entry is left";
  lock.ReadUnlock(anna);
  EXPECT_TRUE(writer.ends());
  lock.WriteUnlock(bert);
}

TEST_F(RWLock, PrefersWritersWhenAWriterLeaves) {
  lock.WriteLock(anna);
  const Attempt reader = try_read(bert);
  ASSERT_TRUE(readers_wait(1));
  const Attempt writer = try_write(cleo);
  ASSERT_TRUE(writers_wait(1));

  lock.WriteUnlock(anna);
  ASSERT_TRUE(writer.ends());
  EXPECT_EQ(counters().waiting_readers, 1u) << "who came first doesn't matter";
  EXPECT_FALSE(reader.is_done());
  lock.WriteUnlock(cleo);
  EXPECT_TRUE(reader.ends());
  lock.ReadUnlock(bert);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, LetsOneWaitingWriterInAtATime) {
  lock.WriteLock(anna);
  const Attempt one = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  const Attempt other = try_write(cleo);
  ASSERT_TRUE(writers_wait(2));
  lock.WriteUnlock(anna);
  EXPECT_EQ(counters().waiting_writers, 1u);
  ASSERT_TRUE(waiting::until([&] { return counters().writer_id != 0; }));
  const std::uint32_t first = counters().writer_id;
  EXPECT_TRUE((first == bert ? one : other).ends());
  EXPECT_FALSE((first == bert ? other : one).is_done());
  lock.WriteUnlock(first);
  EXPECT_TRUE(one.ends());
  EXPECT_TRUE(other.ends());
  lock.WriteUnlock(first == bert ? cleo : bert);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, LetsAllWaitingReadersInTogether) {
  lock.WriteLock(anna);
  const Attempt one = try_read(bert);
  const Attempt other = try_read(cleo);
  ASSERT_TRUE(readers_wait(2));
  lock.WriteUnlock(anna);
  EXPECT_TRUE(one.ends());
  EXPECT_TRUE(other.ends());
  EXPECT_EQ(counters().active_readers, 2u);
  lock.ReadUnlock(bert);
  lock.ReadUnlock(cleo);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, IsHandedToAWriterBeforeThatWakesUp) {
  lock.ReadLock(anna);
  const Attempt writer = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  lock.ReadUnlock(anna);
  const CSyncRWLockPeer handed_over = counters();
  EXPECT_EQ(handed_over.active_readers, 0u);
  EXPECT_EQ(handed_over.active_writers, 1u);
  EXPECT_EQ(handed_over.waiting_writers, 0u);
  // No reader slips in between, however fast.
  const Attempt newcomer = try_read(cleo);
  ASSERT_TRUE(readers_wait(1));
  ASSERT_TRUE(writer.ends());
  EXPECT_FALSE(newcomer.is_done());
  lock.WriteUnlock(bert);
  EXPECT_TRUE(newcomer.ends());
  lock.ReadUnlock(cleo);
}

TEST_F(RWLock, IsHandedToReadersBeforeTheyWakeUp) {
  lock.WriteLock(anna);
  const Attempt one = try_read(bert);
  const Attempt other = try_read(cleo);
  ASSERT_TRUE(readers_wait(2));
  lock.WriteUnlock(anna);
  const CSyncRWLockPeer handed_over = counters();
  EXPECT_EQ(handed_over.active_writers, 0u);
  EXPECT_EQ(handed_over.active_readers, 2u);
  EXPECT_EQ(handed_over.waiting_readers, 0u);
  ASSERT_TRUE(one.ends());
  ASSERT_TRUE(other.ends());
  lock.ReadUnlock(bert);
  lock.ReadUnlock(cleo);
}

TEST_F(RWLock, TakesZeroForTheCallingThread) {
  const std::uint32_t self = platform::current_thread_id();
  lock.ReadLock(0);
  lock.ReadLock(self);
  lock.ReadUnlock(0);
  lock.ReadUnlock(self);
  EXPECT_TRUE(counters().is_free());
  lock.WriteLock(0);
  EXPECT_EQ(counters().writer_id, self);
  lock.WriteLock(self);
  lock.ReadLock(0);
  lock.WriteUnlock(0);
  lock.WriteUnlock(self);
  lock.ReadUnlock(self);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, IsHeldByItsHoldersForTheirLife) {
  {
    const ReadHolder one(lock);
    const ReadHolder two(lock);
    EXPECT_EQ(counters().active_readers, 1u);
  }
  EXPECT_TRUE(counters().is_free());
  {
    const WriteHolder writer(lock);
    const ReadHolder reader(lock);
    EXPECT_EQ(counters().writer_id, platform::current_thread_id());
  }
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, NeverHasAReaderBesideAWriter) {
  std::atomic<int> readers{0};
  std::atomic<int> writers{0};
  std::atomic<bool> met{false};
  int written = 0;  // guarded by the lock alone
  std::vector<std::thread> threads;
  for (int i = 0; i != 3; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j != 300; ++j) {
        const WriteHolder holder(lock);
        if (++writers != 1 || readers != 0) met = true;
        const int before = written;
        std::this_thread::yield();
        written = before + 1;
        --writers;
      }
    });
    threads.emplace_back([&] {
      for (int j = 0; j != 300; ++j) {
        const ReadHolder holder(lock);
        const ReadHolder again(lock);
        ++readers;
        if (writers != 0) met = true;
        std::this_thread::yield();
        --readers;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(met);
  EXPECT_EQ(written, 900);
  EXPECT_TRUE(counters().is_free());
}

TEST_F(RWLock, HasItsOperationsInOrder) {
  using slots::slot;
  EXPECT_EQ(slot(&ISyncRWLock::ReadLock), 0u);
  EXPECT_EQ(slot(&ISyncRWLock::ReadUnlock), 1u);
  EXPECT_EQ(slot(&ISyncRWLock::WriteLock), 2u);
  EXPECT_EQ(slot(&ISyncRWLock::WriteUnlock), 3u);
}

class RWLockDeathTest : public RWLockTest {
 protected:
  RWLockDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  /// Ends the process in good order unless the last of what it did has ended it.
  [[noreturn]] static void survived() { std::_Exit(0); }
};

TEST_F(RWLockDeathTest, EndsTheProcessWhenAFreeLockIsUnlocked) {
  EXPECT_DEATH((lock.ReadUnlock(anna), survived()), fail_fast);
  EXPECT_DEATH((lock.WriteUnlock(anna), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenAReaderUnlocksOnceTooOften) {
  lock.ReadLock(bert);
  lock.ReadLock(anna);
  lock.ReadUnlock(anna);
  EXPECT_DEATH((lock.ReadUnlock(anna), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenAnotherThanTheReaderUnlocks) {
  lock.ReadLock(anna);
  EXPECT_DEATH((lock.ReadUnlock(bert), survived()), fail_fast);
  EXPECT_DEATH((lock.WriteUnlock(anna), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenAnotherThanTheWriterUnlocks) {
  lock.WriteLock(anna);
  EXPECT_DEATH((lock.WriteUnlock(bert), survived()), fail_fast);
  EXPECT_DEATH((lock.ReadUnlock(bert), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenItsWriterUnlocksWhatItDoesNotHold) {
  lock.WriteLock(anna);
  EXPECT_DEATH((lock.ReadUnlock(anna), survived()), fail_fast);
  lock.ReadLock(anna);
  lock.WriteUnlock(anna);
  EXPECT_DEATH((lock.WriteUnlock(anna), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenAReaderAsksToWrite) {
  lock.ReadLock(anna);
  EXPECT_DEATH((lock.WriteLock(anna), survived()), fail_fast);
  lock.ReadLock(bert);
  EXPECT_DEATH((lock.WriteLock(anna), survived()), fail_fast);
}

TEST_F(RWLockDeathTest, EndsTheProcessWhenAReaderAsksToWriteWhileAnotherWaitsToWrite) {
  lock.ReadLock(anna);
  const Attempt writer = try_write(bert);
  ASSERT_TRUE(writers_wait(1));
  EXPECT_DEATH((lock.WriteLock(anna), survived()), fail_fast);
  lock.ReadUnlock(anna);
  EXPECT_TRUE(writer.ends());
}

}  // namespace
