#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "_base/win_error.h"
#include "guardian/file_lock.h"
#include "support/ForkedChild.h"
#include "support/GuardianFolder.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace {

using cloud::guardian::file_lock;
using support::CallCount;

class FileLock : public testing::Test {
 protected:
  static void expect_refused(file_lock& lock, int code, const std::string& text) {
    try {
      lock.lock();
      ADD_FAILURE() << "was locked";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), code);
      EXPECT_STREQ(error.code().category().name(), "win_error");
      EXPECT_TRUE(std::string(error.what()).starts_with(text)) << error.what();
    }
  }

  /// Another object takes the lock, on another thread, and lets go of it.
  waiting::Attempt try_another() const {
    return waiting::Attempt([path = path] {
      file_lock other(path);
      const std::lock_guard guard(other);
    });
  }

  support::TestSeam seam;
  const support::TemporaryFolder folder;
  const std::filesystem::path file = folder / "guardian.lock";
  const std::wstring path = file.wstring();
};

TEST_F(FileLock, RefusesAnEmptyPath) {
  const std::wstring nothing;
  file_lock lock(nothing);
  expect_refused(lock, 87, "file path is empty");
  EXPECT_EQ(seam.calls(platform::Call::open), 0u);
}

TEST_F(FileLock, CreatesTheFileAndLeavesItBehindEmpty) {
  {
    file_lock lock(path);
    const std::lock_guard guard(lock);
  }
  EXPECT_TRUE(std::filesystem::is_regular_file(file));
  EXPECT_EQ(std::filesystem::file_size(file), 0u);
}

TEST_F(FileLock, KeepsWhatIsInTheFile) {
  std::ofstream(file) << "content";
  {
    file_lock lock(path);
    const std::lock_guard guard(lock);
  }
  EXPECT_EQ(std::filesystem::file_size(file), 7u);
}

TEST_F(FileLock, LocksAFileThatMayOnlyBeRead) {
  folder.touch("guardian.lock");
  std::filesystem::permissions(file, std::filesystem::perms::owner_read);
  file_lock lock(path);
  EXPECT_NO_THROW(lock.lock());
  lock.unlock();
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

TEST_F(FileLock, CostsOneOpenAndOneLockAndNothingElse) {
  const CallCount count(seam);
  {
    file_lock lock(path);
    const std::lock_guard guard(lock);
  }
  EXPECT_EQ(count.opens(), 1u);
  EXPECT_EQ(count.locks(), 1u);
  EXPECT_EQ(count.reads(), 0u);
  EXPECT_EQ(count.writes(), 0u);
}

TEST_F(FileLock, ThrowsWhatTheSystemSaysIfItCannotOpen) {
  seam.fail_call(platform::Call::open, 5);
  file_lock lock(path);
  expect_refused(lock, 5, "failed to lock");
  EXPECT_EQ(seam.calls(platform::Call::lock), 0u);
}

TEST_F(FileLock, ThrowsInAFolderThatIsNotThere) {
  const std::wstring nowhere = (folder / "nowhere" / "guardian.lock").wstring();
  file_lock lock(nowhere);
  // The system's number: of the path where it tells that apart from the file.
  try {
    lock.lock();
    ADD_FAILURE() << "was locked";
  } catch (const std::system_error& error) {
    EXPECT_TRUE(error.code() == winapi::make_error_code(2) ||
                error.code() == winapi::make_error_code(3))
        << error.code();
    EXPECT_TRUE(std::string(error.what()).starts_with("failed to lock")) << error.what();
  }
}

TEST_F(FileLock, ThrowsWhatTheSystemSaysIfItCannotLock) {
  seam.fail_call(platform::Call::lock, 33);
  file_lock lock(path);
  expect_refused(lock, 33, "failed to lock");
}

TEST_F(FileLock, CanBeTakenByAnotherAfterAFailure) {
  seam.fail_call(platform::Call::lock, 33);
  file_lock failed(path);
  expect_refused(failed, 33, "failed to lock");
  const waiting::Attempt attempt = try_another();
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLock, UnlockOfAnUnlockedOneDoesNothing) {
  file_lock lock(path);
  lock.unlock();
  EXPECT_FALSE(std::filesystem::exists(file));
  lock.lock();
  lock.unlock();
  lock.unlock();
}

TEST_F(FileLock, MakesASecondThreadWait) {
  file_lock lock(path);
  lock.lock();
  const waiting::Attempt attempt = try_another();
  EXPECT_TRUE(waiting::until([&] { return seam.calls(platform::Call::lock) == 2; }));
  EXPECT_FALSE(attempt.is_done());
  lock.unlock();
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLock, IsLetGoByItsDestructor) {
  auto lock = std::make_unique<file_lock>(path);
  lock->lock();
  lock.reset();
  const waiting::Attempt attempt = try_another();
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLock, DoesNotWaitForAnotherFile) {
  file_lock lock(path);
  const std::lock_guard guard(lock);
  waiting::Attempt attempt([other_path = (folder / "other.lock").wstring()] {
    file_lock other(other_path);
    const std::lock_guard other_guard(other);
  });
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLock, LetsOneThreadInAtATime) {
  constexpr int threads = 4;
  constexpr int rounds = 200;
  int unguarded = 0;
  std::atomic<int> inside = 0;
  std::atomic<bool> met = false;
  std::vector<std::thread> running;
  for (int i = 0; i < threads; ++i) {
    running.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        file_lock lock(path);
        const std::lock_guard guard(lock);
        if (++inside != 1) met = true;
        ++unguarded;
        --inside;
      }
    });
  }
  for (std::thread& thread : running) thread.join();
  EXPECT_FALSE(met);
  EXPECT_EQ(unguarded, threads * rounds);
}

TEST_F(FileLock, HoldsAgainstAnotherProcessAndIsFreedByItsDeath) {
  if (!support::ForkedChild::possible()) GTEST_SKIP() << "processes can't be copied here";
  support::ForkedChild child([this](const auto& ready) {
    file_lock lock(path);
    lock.lock();
    ready();
  });
  const waiting::Attempt attempt = try_another();
  EXPECT_TRUE(waiting::until([&] { return seam.calls(platform::Call::lock) == 1; }));
  EXPECT_FALSE(attempt.is_done());
  child.kill();
  EXPECT_TRUE(attempt.ends());
  EXPECT_TRUE(std::filesystem::exists(file));
}

}  // namespace
