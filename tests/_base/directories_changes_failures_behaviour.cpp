#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "_base/DirectoriesChangesTest.h"
#include "_base/win_error.h"
#include "support/starved_process.h"

namespace {

using namespace watching;
namespace starved_process = support::starved_process;

const std::wstring worker = L"winapi::directory_mgmt::directories_changes::worker";

class FailingDirectoriesChanges : public DirectoriesChangesTest {
 protected:
  static std::wstring opening_failed(const std::wstring& folder, const wchar_t* error) {
    return L"make_directory_changes for " + folder + L" err=" + error;
  }
  static std::wstring read_failed(const std::wstring& folder, const wchar_t* error) {
    return L"failed read for " + folder + L" err=" + error;
  }
};

TEST_F(FailingDirectoriesChanges, WithoutAFolderThatCouldBeOpenedStopAsWell) {
  seam_.fail_calls(platform::Call::watch, 5);
  watch({name_, other_name_}, 2);
  watcher_.reset();
  EXPECT_EQ(seam_.calls(platform::Call::watch), 2u);
  EXPECT_EQ(log_.texts(), Calls({opening_failed(name_, L"5"), opening_failed(other_name_, L"5")}));
  EXPECT_LOGGED(log_, failure, worker, opening_failed(name_, L"5"));
}

TEST_F(FailingDirectoriesChanges, GoOnWithoutAFolderThatCanNotBeOpened) {
  seam_.fail_call(platform::Call::watch, 32);
  watch({other_name_, name_}, 3);
  wake(folder_);
  EXPECT_LOGGED(log_, failure, worker, opening_failed(other_name_, L"32"));
  EXPECT_EQ(log_.lines(failure).size(), 1u);
}

TEST_F(FailingDirectoriesChanges, NeverWatchAFolderThatAppearsLater) {
  const std::filesystem::path absent = folder_ / "absent";
  watch({wide(absent), name_}, 3);
  wake(folder_);
  const std::vector<support::LogLine> lines = log_.lines(failure);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].text == opening_failed(wide(absent), L"2") ||
              lines[0].text == opening_failed(wide(absent), L"3"))
      << lines[0];
  std::filesystem::create_directory(absent);
  write(absent / "file", "x");
  wake(folder_);
  watcher_.reset();
  for (const std::wstring& told : observer_.calls()) {
    EXPECT_EQ(told.find(L"absent file"), std::wstring::npos);
  }
  EXPECT_EQ(log_.lines(failure).size(), 1u);
}

TEST_F(FailingDirectoriesChanges, TryAReadThatDidNotStartAgainWhenAnotherFolderWakesThem) {
  seam_.fail_call(platform::Call::watch, 5, 3);  // Behind the two openings.
  watch({name_, other_name_}, 4);
  EXPECT_TRUE(log_.nothing_logged(failure)) << "the first failure is not told";
  wake(other_);
  wake(folder_);
  EXPECT_TRUE(log_.nothing_logged(failure));
}

TEST_F(FailingDirectoriesChanges, TellEachFurtherFailureOfARead) {
  seam_.fail_call(platform::Call::watch, 5, 3);
  watch({name_, other_name_}, 4);
  // One wake-up restarts the folder that changed and then tries the other.
  seam_.fail_call(platform::Call::watch, 1450, 2);
  wake(other_);
  ASSERT_TRUE(waiting::until([&] { return log_.lines(failure).size() == 1; }));
  EXPECT_LOGGED(log_, failure, worker, read_failed(name_, L"1450"));
  wake(other_);
  wake(folder_);
  EXPECT_EQ(log_.lines(failure).size(), 1u);
}

TEST_F(FailingDirectoriesChanges, LeaveASingleFolderUnwatchedWhoseReadDoesNotStart) {
  seam_.fail_call(platform::Call::watch, 5, 2);
  watch({name_}, 2);
  write(folder_ / "file", "x");
  watcher_.reset();
  EXPECT_EQ(seam_.calls(platform::Call::watch), 2u) << "nothing woke the worker";
  EXPECT_EQ(observer_.calls(), Calls());
  EXPECT_TRUE(log_.nothing_logged(failure));
}

TEST_F(FailingDirectoriesChanges, TryAReadThatCouldNotBeRepeatedAgainAtOnce) {
  watch({name_}, 2);
  seam_.fail_call(platform::Call::watch, 5);
  wake(folder_);
  ASSERT_TRUE(waiting::until([&] { return log_.lines(failure).size() == 1; }));
  EXPECT_LOGGED(log_, failure, worker, read_failed(name_, L"5"));
  wake(folder_);
  EXPECT_EQ(log_.lines(failure).size(), 1u);
}

TEST_F(FailingDirectoriesChanges, KeepAFolderForTheNextWakeUpWhenTheSecondTryFailsToo) {
  watch({name_, other_name_}, 4);
  seam_.fail_call(platform::Call::watch, 5, 1, 2);
  ASSERT_NO_FATAL_FAILURE(wake(folder_));
  ASSERT_TRUE(waiting::until([&] { return log_.lines(failure).size() == 2; }));
  EXPECT_EQ(log_.count(failure, worker, read_failed(name_, L"5")), 2u);
  wake(other_);
  wake(folder_);
  EXPECT_EQ(log_.lines(failure).size(), 2u);
}

TEST_F(FailingDirectoriesChanges, GoOnWhenOneOfTheirFoldersIsTakenAway) {
  const std::filesystem::path gone = other_ / "gone";
  std::filesystem::create_directory(gone);
  watch({wide(gone), name_}, 4);
  wake(folder_);
  write(gone / "file", "x");
  ASSERT_TRUE(observer_.hears(L"created " + wide(gone) + L" file"));
  std::filesystem::remove_all(gone);
  wake(folder_);
  wake(folder_);
}

TEST_F(FailingDirectoriesChanges, TellThatAFolderWasTakenAwayAtEachWakeUp) {
  if (platform::path_separator == L'\\') {
    GTEST_SKIP() << "Wine doesn't end a read with its folder, unlike Windows";
  }
  const std::filesystem::path gone = other_ / "gone";
  std::filesystem::create_directory(gone);
  watch({wide(gone), name_}, 4);
  std::filesystem::remove(gone);
  // At the end of the read, and at the other try that follows at once.
  const std::wstring line = read_failed(wide(gone), L"5");
  EXPECT_TRUE(waiting::until([&] { return log_.count(failure, worker, line) == 2; }));
  wake(folder_);
  watcher_.reset();
  EXPECT_GT(log_.count(failure, worker, line), 2u);
}

TEST_F(FailingDirectoriesChanges, LeaveOutEachFolderBeyondThoseThatCanBeWaitedFor) {
  std::vector<std::wstring> folders{wide(folder_ / "absent")};
  for (int i = 0; i != 65; ++i) {
    const std::filesystem::path each = folder_ / std::to_wstring(i);
    std::filesystem::create_directory(each);
    folders.push_back(wide(each));
  }
  watch(folders, 1 + 2 * 63);
  for (const int i : {0, 62}) {
    const std::filesystem::path each = folder_ / std::to_wstring(i);
    const std::wstring told = L"created " + wide(each) + L" file";
    EXPECT_TRUE(waiting::until([&] {
      std::filesystem::remove(each / "file");
      write(each / "file", "x");
      return observer_.count(told) != 0;
    }));
  }
  watcher_.reset();
  EXPECT_EQ(log_.lines(failure).size(), 3u);
  EXPECT_LOGGED(log_, failure, worker, opening_failed(wide(folder_ / "63"), L"50"));
  EXPECT_LOGGED(log_, failure, worker, opening_failed(wide(folder_ / "64"), L"50"));
}

TEST_F(FailingDirectoriesChanges, StopThoughTheSystemRefusesTheirWait) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows' waits aren't refused in a test";
  watch_folder();
  write(folder_ / "old", "x");
  ASSERT_TRUE(observer_.hears(call(L"modified", L"old")));
  const starved_process::WithoutDescriptors none;
  std::filesystem::rename(folder_ / "old", folder_ / "new");
  ASSERT_TRUE(observer_.hears(call(L"renamed", L"old new")));
  watcher_.reset();
}

TEST_F(FailingDirectoriesChanges, HearOnThoughTheSystemRefusedTheirWait) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows' waits aren't refused in a test";
  watch_folder();
  const auto name = [](int number) { return L"name" + std::to_wstring(number); };
  write(folder_ / name(0), "x");
  ASSERT_TRUE(observer_.hears(call(L"modified", name(0).c_str())));
  {
    // Each wait that begins here is refused. What is heard nevertheless is heard between two tries.
    const starved_process::WithoutDescriptors none;
    for (int i = 0; i != 10; ++i) {
      std::filesystem::rename(folder_ / name(i), folder_ / name(i + 1));
      ASSERT_TRUE(observer_.hears(call(L"renamed", (name(i) + L" " + name(i + 1)).c_str())));
    }
  }
  wake(folder_);
}

TEST_F(FailingDirectoriesChanges, AreNotBuiltWithoutAStopEvent) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows doesn't run out of events in a test";
  try {
    const starved_process::WithoutDescriptors none;
    directories_changes(&observer_, {name_}, everything);
    ADD_FAILURE() << "a watcher was built";
  } catch (const std::system_error& error) {
    EXPECT_TRUE(std::string(error.what()).starts_with("CreateEvent failed")) << error.what();
    EXPECT_STREQ(error.code().category().name(), "win_error");
    EXPECT_EQ(error.code(), winapi::make_error_code(4)) << "too many open files";
  }
}

TEST_F(FailingDirectoriesChanges, AreNotBuiltWithoutAThread) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows doesn't run out of threads in a test";
  try {
    const starved_process::WithoutThreads none;
    directories_changes(&observer_, {name_}, everything);
    ADD_FAILURE() << "a watcher was built";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
  }
}

// What follows ends the process or leaves a thread behind, so it happens in a process of its own.

/// Takes all descriptors but one on the worker's thread, just before it opens its folder.
class StarvingSeam final : public platform::Seam {
 public:
  StarvingSeam() { platform::set_seam(this); }
  std::uint32_t fail(platform::Call kind) noexcept override {
    if (kind == platform::Call::watch && !starved_) starved_.emplace(1);
    return 0;
  }

 private:
  std::optional<starved_process::WithoutDescriptors> starved_;
};

void watch_without_an_event(const std::wstring& folder) {
  StarvingSeam seam;
  Observer observer;
  const directories_changes watcher(&observer, {folder}, everything);
  waiting::until([] { return false; });
}

TEST(FailingDirectoriesChangesDeathTest, EndTheProcessWhenAFolderGetsNoEvent) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows doesn't run out of events in a test";
  const support::TemporaryFolder folder;
  EXPECT_DEATH(watch_without_an_event(platform::wide_text(folder.path())), "CreateEvent failed");
}

[[noreturn]] void stop_without_an_event(const std::wstring& folder) {
  Observer observer;
  auto* const watcher = new directories_changes(&observer, {folder}, everything);
  starved_process::break_events();
  int result = 1;
  try {
    delete watcher;
  } catch (const std::system_error& error) {
    const bool is_told = std::string(error.what()).starts_with("SetEvent failed") &&
                         error.code().category() == winapi::win_error_category();
    result = is_told ? 0 : 2;
  }
  std::_Exit(result);
}

TEST(FailingDirectoriesChangesDeathTest, SayThatTheyCanNotBeStopped) {
  if (!starved_process::possible()) GTEST_SKIP() << "Windows' events can't be broken from outside";
  const support::TemporaryFolder folder;
  EXPECT_EXIT(stop_without_an_event(platform::wide_text(folder.path())), testing::ExitedWithCode(0),
              "");
}

[[noreturn]] void stop_from_a_call(const support::TemporaryFolder& folder) {
  const waiting::Gate built;
  const waiting::Gate over;
  int result = 1;
  directories_changes* watcher = nullptr;
  Observer observer;
  observer.on_call = [&](const std::wstring&) {
    if (over.is_open() || !built.wait()) return;
    try {
      delete watcher;
    } catch (const std::system_error& error) {
      result = error.code() == std::errc::resource_deadlock_would_occur ? 0 : 2;
    }
    over.open();
  };
  watcher = new directories_changes(&observer, {platform::wide_text(folder.path())}, everything);
  built.open();
  waiting::until([&] {
    std::filesystem::remove(folder.touch("file"));
    return over.is_open();
  });
  std::_Exit(result);
}

TEST(FailingDirectoriesChangesDeathTest, SayThatTheirOwnThreadCanNotEndThem) {
  const support::TemporaryFolder folder;
  EXPECT_EXIT(stop_from_a_call(folder), testing::ExitedWithCode(0), "");
}

}  // namespace
