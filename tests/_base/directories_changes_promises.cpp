// What a watcher of folders promises to those who share files through it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "_base/DirectoriesChangesTest.h"
#include "_base/directory_mgmt/directories_changes.h"
#include "_base/waiting.h"
#include "support/GuardianFolder.h"

namespace {

using support::count_lines;
using support::has_line;
using watching::Calls;
using winapi::directory_mgmt::directories_changes;

class DirectoriesChanges : public watching::DirectoriesChangesTest {
 protected:
  /// Two folders, of which the one named first is not read: its start was refused once.
  void watch_with_a_refused_start() {
    seam_.fail_call(platform::Call::watch, 5, 3);
    watch({name_, other_name_}, 4);
  }
  std::size_t watch_calls() const { return seam_.calls(platform::Call::watch); }
  /// Whether any call so far speaks of this name.
  bool heard_of(const std::wstring& name) const {
    const Calls calls = observer_.calls();
    return std::any_of(calls.begin(), calls.end(), [&](const std::wstring& each) {
      return each.find(name) != std::wstring::npos;
    });
  }
};

TEST_F(DirectoriesChanges, TellsOfFilesThatComeChangeAndGo) {
  watch_folder();
  write(folder_ / "file", "1");
  EXPECT_TRUE(observer_.hears(call(L"created", L"file")));
  EXPECT_TRUE(observer_.hears(call(L"modified", L"file")));
  std::filesystem::remove(folder_ / "file");
  EXPECT_TRUE(observer_.hears(call(L"removed", L"file")));
}

TEST_F(DirectoriesChanges, TellsOfARenamedFileByOneCall) {
  write(folder_ / "before", "1");
  watch_folder();
  std::filesystem::rename(folder_ / "before", folder_ / "after");
  EXPECT_TRUE(observer_.hears(call(L"renamed", L"before after")));
  wake(folder_);
  EXPECT_EQ(observer_.count(call(L"renamed", L"before after")), 1u);
  EXPECT_EQ(observer_.count(call(L"removed", L"before")), 0u);
  EXPECT_EQ(observer_.count(call(L"created", L"after")), 0u);
}

TEST_F(DirectoriesChanges, SaysNothingOfFilesInSubfolders) {
  std::filesystem::create_directory(folder_ / "sub");
  write(folder_ / "sub" / "inner", "1");
  watch_folder();
  write(folder_ / "sub" / "inner", "22");
  write(folder_ / "sub" / "another inner", "1");
  std::filesystem::remove(folder_ / "sub" / "inner");
  wake(folder_);
  EXPECT_FALSE(heard_of(L"inner"));
}

TEST_F(DirectoriesChanges, GivesTheFolderAsItWasGiven) {
  const std::wstring given = name_ + platform::path_separator;
  watch({given}, 2);
  const std::wstring told = L"created " + given + L" file";
  EXPECT_TRUE(waiting::until([&] {
    std::filesystem::remove(folder_ / "file");
    write(folder_ / "file", "1");
    return observer_.count(told) != 0;
  }));
}

TEST_F(DirectoriesChanges, TellsEachFolderByItsName) {
  watch({name_, other_name_}, 4);
  wake(folder_);
  wake(other_);
  write(other_ / "there", "1");
  EXPECT_TRUE(observer_.hears(L"created " + other_name_ + L" there"));
  write(folder_ / "here", "1");
  EXPECT_TRUE(observer_.hears(call(L"created", L"here")));
  EXPECT_EQ(observer_.count(L"created " + other_name_ + L" here"), 0u);
}

TEST_F(DirectoriesChanges, CallsFromOneThreadThatIsNotTheMakers) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  observer_.on_call = [&](const std::wstring&) {
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
  };
  watch({name_, other_name_}, 4);
  wake(folder_);
  wake(other_);
  watcher_.reset();
  EXPECT_EQ(threads.size(), 1u);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
}

TEST_F(DirectoriesChanges, OutlivesMoreChangesThanItCanKeep) {
  const waiting::Gate entered;
  const waiting::Gate go_on;
  observer_.on_call = [=](const std::wstring& each) {
    if (!each.ends_with(L" long")) return;
    entered.open();
    go_on.wait();
  };
  watch_folder();
  write(folder_ / "long", "1");
  ASSERT_TRUE(entered.wait());
  for (int i = 0; i < 400; ++i) write(folder_ / ("many" + std::to_string(i)), "1");
  go_on.open();
  wake(folder_);
}

TEST_F(DirectoriesChanges, IsMadeBeforeItsFoldersAreOpen) {
  const waiting::Gate made;
  const waiting::Gate opened;
  bool was_made = false;
  log_.recorder().set_hook([&](const support::log_call& each) {
    if (!std::wstring(each.text).starts_with(L"make_directory_changes for ")) return;
    was_made = made.wait();
    opened.open();
  });
  seam_.fail_call(platform::Call::watch, 5);
  const directories_changes watcher(&observer_, {name_}, watching::everything);
  made.open();
  ASSERT_TRUE(opened.wait());
  EXPECT_TRUE(was_made);
}

TEST_F(DirectoriesChanges, StopsWhileAReadIsInProgress) {
  watch_folder();
  waiting::Attempt stop(
      [watcher = std::shared_ptr(std::move(watcher_))]() mutable { watcher.reset(); });
  EXPECT_TRUE(stop.ends());
}

TEST_F(DirectoriesChanges, IsSilentAfterItsEnd) {
  watch_folder();
  watcher_.reset();
  const std::size_t calls = observer_.calls().size();
  watching::Observer second;
  directories_changes other(&second, {name_}, watching::everything);
  // The second one hears it, the first would have as well.
  EXPECT_TRUE(waiting::until([&] {
    write(folder_ / "late", "1");
    return second.count(call(L"modified", L"late")) != 0;
  }));
  EXPECT_EQ(observer_.calls().size(), calls);
}

TEST_F(DirectoriesChanges, EndsOnlyWhenACallUnderWayIsOver) {
  const waiting::Gate entered;
  const waiting::Gate go_on;
  const waiting::Gate left;
  observer_.on_call = [=](const std::wstring& each) {
    if (!each.ends_with(L" long")) return;
    entered.open();
    go_on.wait();
    left.open();
  };
  watch_folder();
  write(folder_ / "long", "1");
  ASSERT_TRUE(entered.wait());
  const auto was_over = std::make_shared<bool>(false);
  waiting::Attempt stop([=, watcher = std::shared_ptr(std::move(watcher_))]() mutable {
    watcher.reset();
    *was_over = left.is_open();
  });
  EXPECT_FALSE(stop.is_done());
  go_on.open();
  ASSERT_TRUE(stop.ends());
  EXPECT_TRUE(*was_over);
}

TEST_F(DirectoriesChanges, LogsAFolderItCannotOpenAndGoesOnWithTheOthers) {
  seam_.fail_call(platform::Call::watch, 5);
  watch({name_, other_name_}, 3);
  wake(other_);
  EXPECT_TRUE(has_line(log_, 4, L"make_directory_changes for " + name_ + L" err=5"));
  EXPECT_EQ(log_.lines(4).size(), 1u);
  EXPECT_EQ(observer_.count(call(L"created", L"file")), 0u);
}

TEST_F(DirectoriesChanges, NeverWatchesAFolderThatAppearsLater) {
  const std::wstring late = wide(folder_ / "late");
  watch({late, other_name_}, 3);
  wake(other_);
  EXPECT_TRUE(has_line(log_, 4, L"make_directory_changes for " + late + L" err=2"));
  std::filesystem::create_directory(folder_ / "late");
  wake(other_);
  write(folder_ / "late" / "file", "1");
  wake(other_);
  wake(other_);
  EXPECT_FALSE(heard_of(L"late"));
  EXPECT_EQ(count_lines(log_, 4, L"make_directory_changes for " + late + L" err=2"), 1u);
}

TEST_F(DirectoriesChanges, WaitsForItsEndAloneWithoutAnyFolder) {
  watch({wide(folder_ / "no"), wide(folder_ / "neither")}, 2);
  EXPECT_TRUE(waiting::until([&] { return log_.lines(4).size() == 2; }));
  waiting::Attempt stop(
      [watcher = std::shared_ptr(std::move(watcher_))]() mutable { watcher.reset(); });
  EXPECT_TRUE(stop.ends());
  EXPECT_EQ(watch_calls(), 2u) << "something was tried again";
}

TEST_F(DirectoriesChanges, LeavesASingleFolderUnwatchedWhoseReadDidNotStart) {
  seam_.fail_call(platform::Call::watch, 5, 2);
  watch({name_}, 2);
  // A second watcher shows when the change has been told.
  watching::Observer second;
  {
    directories_changes other(&second, {name_}, watching::everything);
    EXPECT_TRUE(waiting::until([&] {
      write(folder_ / "file", "1");
      return second.count(call(L"modified", L"file")) != 0;
    }));
  }
  watcher_.reset();
  EXPECT_EQ(observer_.calls(), Calls{});
  EXPECT_TRUE(log_.nothing_logged(4)) << "the first attempt fails without a word";
}

TEST_F(DirectoriesChanges, TriesAFolderAgainWhenAnotherWakesIt) {
  watch_with_a_refused_start();
  EXPECT_EQ(watch_calls(), 4u);
  wake(other_);
  wake(folder_);
  EXPECT_TRUE(log_.nothing_logged(4));
}

TEST_F(DirectoriesChanges, LogsEachFurtherAttemptThatFails) {
  // Open, open, start, start; then at the wake-up the other folder's start and this one's.
  seam_.fail_call(platform::Call::watch, 5, 3);
  watch({name_, other_name_}, 4);
  seam_.fail_call(platform::Call::watch, 8, 2);
  wake(other_);
  EXPECT_TRUE(waiting::until([&] { return !log_.lines(4).empty(); }));
  EXPECT_TRUE(has_line(log_, 4, L"failed read for " + name_ + L" err=8"));
  wake(other_);
  wake(folder_);
  EXPECT_EQ(log_.lines(4).size(), 1u);
}

TEST_F(DirectoriesChanges, TriesAFailedReadAgainAtOnce) {
  watch({name_}, 2);
  seam_.fail_call(platform::Call::watch, 5);
  wake(folder_);
  EXPECT_TRUE(waiting::until([&] { return !log_.lines(4).empty(); }));
  wake(folder_);
  EXPECT_TRUE(has_line(log_, 4, L"failed read for " + name_ + L" err=5"));
  EXPECT_EQ(log_.lines(4).size(), 1u);
}

TEST_F(DirectoriesChanges, LosesASingleFolderWhoseReadFailsTwice) {
  watch({name_}, 2);
  const std::size_t before = watch_calls();
  seam_.fail_call(platform::Call::watch, 5, 1, 2);
  wake(folder_);
  const std::wstring line = L"failed read for " + name_ + L" err=5";
  EXPECT_TRUE(waiting::until([&] { return count_lines(log_, 4, line) == 2; }));
  const std::size_t calls = observer_.calls().size();
  write(folder_ / "file", "1");
  watcher_.reset();
  EXPECT_EQ(observer_.calls().size(), calls);
  EXPECT_EQ(watch_calls(), before + 2);
}

TEST_F(DirectoriesChanges, GoesOnWithTheOthersWhileAFolderFails) {
  watch({name_, other_name_}, 4);
  seam_.fail_call(platform::Call::watch, 5, 1, 2);
  wake(folder_);
  const std::wstring line = L"failed read for " + name_ + L" err=5";
  EXPECT_TRUE(waiting::until([&] { return count_lines(log_, 4, line) == 2; }));
  wake(other_);
  wake(folder_);
  EXPECT_EQ(log_.lines(4).size(), 2u);
}

}  // namespace
