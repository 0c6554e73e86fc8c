#include "platform/file_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/semaphore.h"
#include "support/ForkedChild.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/long_folder.h"

namespace {

class FileLock : public testing::Test {
 protected:
  void* open() {
    std::uint32_t error = 1;
    void* const file = platform::open_lock_file(path_.c_str(), error);
    EXPECT_NE(file, platform::no_file);
    EXPECT_EQ(error, 0u);
    return file;
  }

  void* open_and_lock() {
    void* const file = open();
    std::uint32_t error = 1;
    EXPECT_TRUE(platform::lock_first_byte(file, error));
    EXPECT_EQ(error, 0u);
    return file;
  }

  /// A thread that takes the lock and reports whether `released` was set by then.
  std::thread contender(std::atomic<bool>& released) {
    std::thread thread([this, &released] {
      void* const file = open();
      at_the_door_.release(1);
      std::uint32_t error = 0;
      EXPECT_TRUE(platform::lock_first_byte(file, error));
      EXPECT_TRUE(released);
      platform::close_lock_file(file);
    });
    at_the_door_.acquire();
    return thread;
  }

  support::TemporaryFolder folder_;
  std::wstring path_ = platform::wide_text(folder_ / "the.lock");
  platform::semaphore at_the_door_;
};

TEST_F(FileLock, MakesTheFileAndKeepsItsContent) {
  platform::close_lock_file(open());
  platform::open_for_writing(platform::file_path(path_)) << "kept";
  platform::close_lock_file(open_and_lock());
  std::string text;
  platform::open_for_reading(platform::file_path(path_)) >> text;
  EXPECT_EQ(text, "kept");
}

TEST_F(FileLock, IsContentWithReadAccess) {
  platform::close_lock_file(open());
  std::filesystem::permissions(platform::file_path(path_), std::filesystem::perms::owner_read);
  platform::close_lock_file(open_and_lock());
  std::filesystem::permissions(platform::file_path(path_), std::filesystem::perms::owner_all);
}

TEST_F(FileLock, HoldsBackAnotherHandleUntilItIsClosed) {
  std::atomic<bool> released{false};
  void* const file = open_and_lock();
  std::thread other = contender(released);
  released = true;
  platform::close_lock_file(file);
  other.join();
}

TEST_F(FileLock, IsKeptWhenOtherBytesAreUnlocked) {
  std::atomic<bool> released{false};
  void* const file = open_and_lock();
  std::thread other = contender(released);
  EXPECT_FALSE(platform::unlock_bytes(file, 0, 4));
  EXPECT_FALSE(platform::unlock_bytes(file, 2, 0));
  released = true;
  EXPECT_TRUE(platform::unlock_bytes(file, 1, 0));
  other.join();
  platform::close_lock_file(file);
}

TEST_F(FileLock, LetsOneHandleInAtATime) {
  constexpr int threads = 4;
  constexpr int rounds = 200;
  // Neither is atomic: nothing but the lock orders the threads.
  int inside = 0;
  int total = 0;
  std::vector<std::thread> running;
  for (int i = 0; i != threads; ++i) {
    running.emplace_back([&] {
      for (int round = 0; round != rounds; ++round) {
        void* const file = open_and_lock();
        EXPECT_EQ(++inside, 1);
        ++total;
        std::this_thread::yield();
        --inside;
        EXPECT_FALSE(platform::unlock_bytes(file, 0, 4));
        platform::close_lock_file(file);
      }
    });
  }
  for (std::thread& thread : running) thread.join();
  EXPECT_EQ(total, threads * rounds);
}

TEST_F(FileLock, IsLetGoByAKilledProcess) {
  if (!support::ForkedChild::possible()) GTEST_SKIP() << "no copies of a process on this system";
  support::ForkedChild holder([this](const std::function<void()>& ready) {
    open_and_lock();
    ready();
  });
  std::atomic<bool> killed{false};
  std::thread other = contender(killed);
  killed = true;
  holder.kill();
  other.join();
}

TEST_F(FileLock, MayHaveALongPathBeyondAscii) {
  path_ = support::make_long_folder(folder_.path()) + platform::path_separator + L"\u4e2d.lock";
  platform::close_lock_file(open_and_lock());
  EXPECT_TRUE(std::filesystem::exists(support::reachable(path_)));
}

TEST_F(FileLock, SaysWhyAFileCannotBeOpened) {
  std::uint32_t error = 0;
  const std::wstring absent = platform::wide_text(folder_ / "absent" / "the.lock");
  EXPECT_EQ(platform::open_lock_file(absent.c_str(), error), platform::no_file);
  EXPECT_TRUE(error == 2 || error == 3) << error;
  EXPECT_EQ(platform::open_lock_file(nullptr, error), platform::no_file);
  EXPECT_EQ(error, 87u);
}

TEST_F(FileLock, EitherRefusesAFolderOrLocksIt) {
  std::uint32_t error = 0;
  void* const folder = platform::open_lock_file(platform::wide_text(folder_.path()).c_str(), error);
  if (folder == platform::no_file) {
    EXPECT_EQ(error, 5u);
  } else {
    EXPECT_TRUE(platform::lock_first_byte(folder, error)) << error;
    platform::close_lock_file(folder);
  }
}

TEST_F(FileLock, FailsWhenASeamSaysSo) {
  support::TestSeam seam;
  std::uint32_t error = 0;
  seam.fail_call(platform::Call::open, 32);
  EXPECT_EQ(platform::open_lock_file(path_.c_str(), error), platform::no_file);
  EXPECT_EQ(error, 32u);
  seam.fail_call(platform::Call::lock, 167, 2);
  platform::close_lock_file(open_and_lock());
  void* const file = open();
  EXPECT_FALSE(platform::lock_first_byte(file, error));
  EXPECT_EQ(error, 167u);
  // It wasn't taken.
  platform::close_lock_file(open_and_lock());
  platform::close_lock_file(file);
}

}  // namespace
