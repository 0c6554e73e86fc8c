#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "_base/waiting.h"
#include "guardian/file_lock.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace {

using cloud::guardian::file_lock;

class FileLockTakenTwice : public testing::Test {
 protected:
  waiting::Attempt try_another() const {
    return waiting::Attempt([path = path] {
      file_lock other(path);
      other.lock();
    });
  }

  support::TestSeam seam;
  const support::TemporaryFolder folder;
  const std::wstring path = (folder.path() / "lock").wstring();
};

TEST_F(FileLockTakenTwice, DoesNotWaitForItself) {
  const waiting::Attempt attempt([path = path] {
    file_lock lock(path);
    lock.lock();
    lock.lock();
  });
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLockTakenTwice, IsHeldOnceMore) {
  file_lock lock(path);
  lock.lock();
  lock.lock();
  const waiting::Attempt attempt = try_another();
  EXPECT_TRUE(waiting::until([this] { return seam.calls(platform::Call::lock) == 3; }));
  EXPECT_FALSE(attempt.is_done());
  lock.unlock();
  EXPECT_TRUE(attempt.ends());
}

TEST_F(FileLockTakenTwice, IsHeldNoLongerIfTheSecondTimeFails) {
  file_lock lock(path);
  lock.lock();
  seam.fail_call(platform::Call::lock, 33);
  EXPECT_THROW(lock.lock(), std::system_error);
  EXPECT_TRUE(try_another().ends());
}

TEST_F(FileLockTakenTwice, CanBeTakenAfterAFailure) {
  file_lock lock(path);
  seam.fail_call(platform::Call::lock, 33);
  EXPECT_THROW(lock.lock(), std::system_error);
  lock.lock();
  lock.unlock();
  EXPECT_TRUE(try_another().ends());
}

}  // namespace
