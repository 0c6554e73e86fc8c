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
#include "_base/change_records.h"
#include "_base/directory_mgmt/change_reporter.h"
#include "_base/directory_mgmt/directory_changes_iterator.h"
#include "_base/slots.h"
#include "_base/waiting.h"
#include "support/GuardianFolder.h"

namespace {

using change_records::Records;
using support::count_lines;
using support::has_line;
using watching::Calls;
using winapi::directory_mgmt::change_reporter;
using winapi::directory_mgmt::directories_changes;
using winapi::directory_mgmt::directory_changes_iterator;

constexpr std::uint32_t added = 1;
constexpr std::uint32_t removed = 2;
constexpr std::uint32_t modified = 3;
constexpr std::uint32_t old_name = 4;
constexpr std::uint32_t new_name = 5;

// the observer

TEST(DirectoriesObserver, HasItsFourOperationsInOrder) {
  EXPECT_EQ(slots::slot(&idirectories_observer::on_created), 0u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_removed), 1u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_modified), 2u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_renamed), 3u);
}

// the walk over one buffer

TEST(ChangeRecords, EndBehindARecordWithoutASuccessor) {
  Records records;
  records.add(added, L"only");
  directory_changes_iterator walk = records.begin();
  ASSERT_FALSE(walk.at_end());
  EXPECT_EQ(walk->action, added);
  EXPECT_EQ(walk->name, L"only");
  ++walk;
  EXPECT_TRUE(walk.at_end());
  EXPECT_EQ(walk, directory_changes_iterator());
}

TEST(ChangeRecords, AreWalkedInTheirOrderByTheOffsetsBetweenThem) {
  Records records;
  records.add(modified, L"a").add(added, L"longer name").add(77, L"");
  directory_changes_iterator walk = records.begin();
  EXPECT_EQ(walk->name, L"a");
  ++walk;
  EXPECT_EQ(walk->action, added);
  EXPECT_EQ(walk->name, L"longer name");
  EXPECT_FALSE(walk == directory_changes_iterator());
  ++walk;
  EXPECT_EQ(walk->action, 77u);
  EXPECT_EQ(walk->name, L"");
  ++walk;
  EXPECT_EQ(walk, directory_changes_iterator());
}

TEST(ChangeRecords, OfTwoWalksAreEqualAtTheirEnds) {
  Records one;
  one.add(added, L"a");
  Records other;
  other.add(removed, L"b").add(removed, L"c");
  directory_changes_iterator first = one.begin();
  directory_changes_iterator second = other.begin();
  EXPECT_FALSE(first == second);
  ++first;
  ++ ++second;
  EXPECT_EQ(first, second);
}

// from records to calls

class ChangeReporter : public testing::Test {
 protected:
  /// The calls that these records alone lead to.
  Calls report(Records records, const wchar_t* folder = L"f") {
    const std::size_t before = observer.calls().size();
    reporter.report(folder, records.begin());
    Calls calls = observer.calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    return calls;
  }
  static Records records() { return {}; }

  change_records::RecordingObserver observer;
  change_reporter reporter{&observer};
};

TEST_F(ChangeReporter, CallsOncePerRecordInTheOrderOfTheRecords) {
  EXPECT_EQ(
      report(records()
                 .add(added, L"a")
                 .add(modified, L"a")
                 .add(modified, L"a")
                 .add(removed, L"a")
                 .add(modified, L"b")),
      (Calls{L"created f a", L"modified f a", L"modified f a", L"removed f a", L"modified f b"}));
}

TEST_F(ChangeReporter, TellsARenameWithinABufferOnce) {
  EXPECT_EQ(report(records().add(old_name, L"a").add(new_name, L"b").add(modified, L"b")),
            (Calls{L"renamed f a b", L"modified f b"}));
}

TEST_F(ChangeReporter, GivesTheNamesTheirRolesWhenTheNewOneComesFirst) {
  EXPECT_EQ(report(records().add(new_name, L"b").add(old_name, L"a")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, TakesWhateverFollowsAHalfForItsPartner) {
  EXPECT_EQ(report(records().add(old_name, L"a").add(modified, L"b").add(removed, L"c")),
            (Calls{L"renamed f a b", L"removed f c"}));
  EXPECT_EQ(report(records().add(new_name, L"a").add(added, L"b")), (Calls{L"renamed f b a"}));
  EXPECT_EQ(report(records().add(old_name, L"a").add(old_name, L"b")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, TellsARenameInTwoBuffersOnceAtTheSecond) {
  EXPECT_EQ(report(records().add(added, L"x").add(old_name, L"a")), (Calls{L"created f x"}));
  EXPECT_EQ(report(records().add(new_name, L"b").add(removed, L"c")),
            (Calls{L"renamed f a b", L"removed f c"}));
}

TEST_F(ChangeReporter, TellsARenameInTwoBuffersWhoseNewNameComesFirst) {
  EXPECT_EQ(report(records().add(new_name, L"b")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"a")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, DropsTheFirstRecordAfterAHalfThatLostItsPartner) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(added, L"b").add(modified, L"c")), (Calls{L"modified f c"}));
  EXPECT_EQ(report(records().add(modified, L"d")), (Calls{L"modified f d"}));
}

TEST_F(ChangeReporter, DropsASecondHalfOfTheSameRole) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"b").add(new_name, L"c")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"d")), (Calls{L"renamed f d c"}));
}

TEST_F(ChangeReporter, KeepsAnotherHalfAfterItCompletedOne) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(new_name, L"b").add(added, L"c").add(old_name, L"d")),
            (Calls{L"renamed f a b", L"created f c"}));
  EXPECT_EQ(report(records().add(new_name, L"e")), (Calls{L"renamed f d e"}));
}

TEST_F(ChangeReporter, KeepsAHalfForEachFolder) {
  EXPECT_EQ(report(records().add(old_name, L"a"), L"f"), Calls{});
  EXPECT_EQ(report(records().add(added, L"x"), L"g"), (Calls{L"created g x"}));
  EXPECT_EQ(report(records().add(old_name, L"y"), L"g"), Calls{});
  EXPECT_EQ(report(records().add(new_name, L"b"), L"f"), (Calls{L"renamed f a b"}));
  EXPECT_EQ(report(records().add(new_name, L"z"), L"g"), (Calls{L"renamed g y z"}));
}

TEST_F(ChangeReporter, KeepsAHalfWhileNothingIsReported) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  reporter.report(L"f", directory_changes_iterator());
  EXPECT_EQ(report(records().add(new_name, L"b")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, SkipsActionsItDoesNotKnow) {
  EXPECT_EQ(report(records().add(0, L"a").add(6, L"b").add(modified, L"c").add(4000000000, L"d")),
            (Calls{L"modified f c"}));
}

// real folders

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

TEST_F(DirectoriesChanges, IsMadeBeforeItsFoldersAreOpen) {
  const waiting::Gate logged;
  const waiting::Gate go_on;
  log_.recorder().set_hook([&](const support::log_call& each) {
    if (std::wstring(each.text).starts_with(L"make_directory_changes for ")) {
      logged.open();
      go_on.wait();
    }
  });
  seam_.fail_call(platform::Call::watch, 5);
  // Were the folders opened in here, this would not come back before the gate opens.
  directories_changes watcher(&observer_, {name_}, watching::everything);
  EXPECT_TRUE(logged.wait());
  go_on.open();
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
