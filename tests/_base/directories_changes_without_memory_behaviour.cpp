#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "_base/DirectoriesChangesTest.h"
#include "_base/FailingAllocation.h"

namespace {

using namespace watching;

/// Has an allocation fail on the thread that watches, from one of its calls on.
class ForgetfulSeam final : public platform::Seam {
 public:
  /// The `nth` call counts from 1.
  ForgetfulSeam(std::size_t nth, long index) : nth_(nth), index_(index) {
    platform::set_seam(this);
  }
  ForgetfulSeam(const ForgetfulSeam&) = delete;
  ForgetfulSeam& operator=(const ForgetfulSeam&) = delete;
  ~ForgetfulSeam() override { platform::set_seam(nullptr); }

  std::uint32_t fail(platform::Call kind) noexcept override {
    if (kind != platform::Call::watch) return 0;
    ++calls_;
    if (calls_ == nth_) failing_allocation::successes_left = index_;
    // No allocation of a call that follows is meant.
    if (calls_ == nth_ + 1) {
      met_ = std::exchange(failing_allocation::successes_left, failing_allocation::never) ==
             failing_allocation::never;
    }
    return 0;
  }

  /// Whether an allocation failed. To be asked when the watching has ended.
  bool met() const { return met_; }

 private:
  const std::size_t nth_;
  const long index_;
  std::size_t calls_ = 0;
  bool met_ = false;
};

class DirectoriesChangesWithoutMemory : public testing::Test {
 protected:
  /// Two folders, watched until files in `heard` have been told of, in one after the other. True if
  /// an allocation failed meanwhile.
  bool watch(std::size_t nth, long index,
             const std::vector<const support::TemporaryFolder*>& heard) const {
    const ForgetfulSeam seam(nth, index);
    Observer observer;
    std::optional<directories_changes> watcher;
    watcher.emplace(&observer, std::vector{name_, other_name_}, everything);
    for (const support::TemporaryFolder* const folder : heard) {
      const std::wstring told = L"created " + platform::wide_text(folder->path()) + L" file";
      EXPECT_TRUE(waiting::until([&] {
        std::filesystem::remove(folder->touch("file"));
        return observer.count(told) != 0;
      }));
    }
    watcher.reset();
    return seam.met();
  }

  support::RecordingLog log_;
  support::TemporaryFolder folder_;
  support::TemporaryFolder other_;
  const std::wstring name_ = platform::wide_text(folder_.path());
  const std::wstring other_name_ = platform::wide_text(other_.path());
};

TEST_F(DirectoriesChangesWithoutMemory, LeaveAFolderOutThatItLacksForAndWatchTheOther) {
  const Calls lost{L"make_directory_changes for " + name_ + L" err=14"};
  long index = 0;
  for (;; ++index) {
    SCOPED_TRACE(index);
    log_.clear();
    watch(1, index, {&other_});
    if (log_.texts().empty()) break;
    ASSERT_EQ(log_.texts(), lost);
  }
  EXPECT_GT(index, 0);
}

TEST_F(DirectoriesChangesWithoutMemory, TryTheFolderAgainWhoseReadItLacksFor) {
  int met = 0;
  for (long index = 0; index != 8; ++index) {
    SCOPED_TRACE(index);
    if (watch(3, index, {&other_, &folder_})) ++met;
    EXPECT_TRUE(log_.texts().empty());
  }
  if (met == 0) GTEST_SKIP() << "no read asks for memory here";
}

TEST_F(DirectoriesChangesWithoutMemory, AreNotBuilt) {
  Observer observer;
  long index = 0;
  for (;; ++index) {
    std::vector<std::wstring> folders{name_};
    const auto build = [&] { directories_changes(&observer, std::move(folders), everything); };
    try {
      if (!failing_allocation::met_by(index, build)) break;
    } catch (const std::bad_alloc&) {
    }
  }
  EXPECT_GT(index, 0);
}

}  // namespace
