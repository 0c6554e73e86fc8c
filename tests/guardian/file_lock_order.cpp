#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>

#include "guardian/file_lock.h"
#include "platform/posix/tsan.h"
#include "support/TemporaryFolder.h"

namespace {

using cloud::guardian::file_lock;

/// The file lock before a mutex, and then, on purpose, the mutex before the file lock.
void take_in_both_orders(const std::wstring& path) {
  std::mutex mutex;
  {
    file_lock shared(path);
    const std::lock_guard first(shared);
    const std::lock_guard second(mutex);
  }
  {
    const std::lock_guard first(mutex);
    file_lock shared(path);
    const std::lock_guard second(shared);
  }
}

TEST(FileLockDeathTest, IsKnownToTheThreadSanitizerAsALock) {
  if (!platform::tsan::enabled) GTEST_SKIP() << "this build has no thread sanitizer";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const support::TemporaryFolder folder;
  EXPECT_EXIT((take_in_both_orders((folder.path() / "lock").wstring()), std::exit(0)),
              testing::ExitedWithCode(66), "lock-order-inversion");
}

}  // namespace
