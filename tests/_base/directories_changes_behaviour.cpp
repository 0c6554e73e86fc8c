#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "_base/DirectoriesChangesTest.h"
#include "support/starved_process.h"

namespace {

using namespace watching;
namespace starved_process = support::starved_process;

class DirectoriesChanges : public DirectoriesChangesTest {};

TEST_F(DirectoriesChanges, TellANewAWrittenAndARemovedFile) {
  watch_folder();
  folder_.touch("file");
  EXPECT_TRUE(observer_.hears(call(L"created", L"file")));
  write(folder_ / "file", "text");
  EXPECT_TRUE(observer_.hears(call(L"modified", L"file")));
  std::filesystem::remove(folder_ / "file");
  EXPECT_TRUE(observer_.hears(call(L"removed", L"file")));
  watcher_.reset();
  EXPECT_TRUE(log_.nothing_logged(failure));
}

TEST_F(DirectoriesChanges, TellARenameInsteadOfARemovalAndACreation) {
  folder_.touch("old");
  watch_folder();
  std::filesystem::rename(folder_ / "old", folder_ / "new");
  EXPECT_TRUE(observer_.hears(call(L"renamed", L"old new")));
  watcher_.reset();
  EXPECT_EQ(observer_.count(call(L"renamed", L"old new")), 1u);
  EXPECT_EQ(observer_.count(call(L"removed", L"old")), 0u);
  EXPECT_EQ(observer_.count(call(L"created", L"new")), 0u);
}

// Behind a held worker changes gather, and each number of them puts the rename elsewhere in the
// buffers: within one, at the border of two, in the next.
TEST_F(DirectoriesChanges, TellARenameOnceWhereverTheBufferEnds) {
  const std::wstring long_name(190, L'n');
  for (int before = 0; before != 7; ++before) {
    SCOPED_TRACE(before);
    Observer observer;
    const waiting::Gate held;
    const waiting::Gate released;
    const std::wstring first = call(L"created", (L"held" + std::to_wstring(before)).c_str());
    observer.on_call = [&](const std::wstring& heard) {
      if (heard != first) return;
      held.open();
      EXPECT_TRUE(released.wait());
    };
    for (int i = 0; i != before; ++i) folder_.touch(long_name + std::to_wstring(i));
    folder_.touch(long_name + L"old");
    const std::size_t calls = seam_.calls(platform::Call::watch);
    directories_changes watcher(&observer, {name_}, everything);
    ASSERT_TRUE(waiting::until([&] { return seam_.calls(platform::Call::watch) == calls + 2; }));
    // The last start may be on its way still, so the file comes and goes until it is heard of.
    ASSERT_TRUE(waiting::until([&] {
      std::filesystem::remove(folder_.touch(L"held" + std::to_wstring(before)));
      return held.is_open();
    }));
    for (int i = 0; i != before; ++i) {
      std::filesystem::remove(folder_ / (long_name + std::to_wstring(i)));
    }
    std::filesystem::rename(folder_ / (long_name + L"old"), folder_ / (long_name + L"new"));
    folder_.touch(L"last" + std::to_wstring(before));
    released.open();
    EXPECT_TRUE(observer.hears(call(L"created", (L"last" + std::to_wstring(before)).c_str())));
    const std::wstring names = long_name + L"old " + long_name + L"new";
    EXPECT_EQ(observer.count(call(L"renamed", names.c_str())), 1u);
    EXPECT_EQ(observer.count(call(L"removed", (long_name + L"old").c_str())), 0u);
    EXPECT_EQ(observer.count(call(L"created", (long_name + L"new").c_str())), 0u);
    std::filesystem::remove(folder_ / (long_name + L"new"));
  }
}

TEST_F(DirectoriesChanges, TellEachChangeInItsOrder) {
  watch_folder();
  Calls expected;
  for (const wchar_t* const file : {L"c", L"a", L"d", L"b"}) {
    folder_.touch(file);
    expected.push_back(call(L"created", file));
  }
  ASSERT_TRUE(observer_.hears(expected.back()));
  watcher_.reset();
  Calls told = observer_.calls();
  std::erase_if(told, [&](const std::wstring& each) {
    return std::find(expected.begin(), expected.end(), each) == expected.end();
  });
  EXPECT_EQ(told, expected);
}

TEST_F(DirectoriesChanges, LeaveSubfoldersOut) {
  std::filesystem::create_directory(folder_ / "sub");
  folder_.touch(std::filesystem::path("sub") / "inner");
  watch_folder();
  write(folder_ / "sub" / "inner", "text");
  folder_.touch(std::filesystem::path("sub") / "another inner");
  folder_.touch("last");
  EXPECT_TRUE(observer_.hears(call(L"created", L"last")));
  watcher_.reset();
  for (const std::wstring& told : observer_.calls()) {
    EXPECT_EQ(told.find(L"inner"), std::wstring::npos);
  }
}

TEST_F(DirectoriesChanges, NameTheFolderThatChanged) {
  watch({name_, other_name_}, 4);
  wake(folder_);
  wake(other_);
  other_.touch("there");
  folder_.touch("here");
  EXPECT_TRUE(observer_.hears(L"created " + other_name_ + L" there"));
  EXPECT_TRUE(observer_.hears(L"created " + name_ + L" here"));
  EXPECT_EQ(observer_.count(L"created " + name_ + L" there"), 0u);
}

TEST_F(DirectoriesChanges, CallFromOneThreadOfTheirOwn) {
  std::vector<std::thread::id> threads;
  observer_.on_call = [&](const std::wstring&) { threads.push_back(std::this_thread::get_id()); };
  watch({name_, other_name_}, 4);
  wake(folder_);
  wake(other_);
  watcher_.reset();
  ASSERT_FALSE(threads.empty());
  EXPECT_NE(threads.front(), std::this_thread::get_id());
  EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()),
            static_cast<std::ptrdiff_t>(threads.size()));
}

/// Holds whoever watches.
class SlowSeam final : public platform::Seam {
 public:
  SlowSeam() { platform::set_seam(this); }
  ~SlowSeam() override { platform::set_seam(nullptr); }
  std::uint32_t fail(platform::Call kind) noexcept override {
    if (kind == platform::Call::watch) open.wait();
    return 0;
  }

  const waiting::Gate open;
};

TEST(DirectoriesChangesAtOnce, ReturnBeforeTheirFoldersAreOpen) {
  const support::TemporaryFolder folder;
  SlowSeam seam;
  Observer observer;
  const directories_changes watcher(&observer, {platform::wide_text(folder.path())}, everything);
  EXPECT_FALSE(seam.open.is_open());
  seam.open.open();
}

TEST_F(DirectoriesChanges, StopWhileAReadIsInProgress) {
  watch({name_, other_name_}, 4);
  watcher_.reset();
  folder_.touch("later");
  EXPECT_EQ(observer_.calls(), Calls());
  EXPECT_TRUE(log_.nothing_logged(failure));
}

TEST_F(DirectoriesChanges, StopBeforeTheyCouldBegin) {
  for (int i = 0; i != 50; ++i) directories_changes(&observer_, {name_}, everything);
}

TEST_F(DirectoriesChanges, CallNobodyAfterTheirEnd) {
  const waiting::Gate over;
  std::thread writer([&] {
    const std::filesystem::path file = folder_ / "file";
    while (!over.is_open()) write(file, "x");
  });
  for (int i = 0; i != 20; ++i) {
    const auto observer = std::make_unique<Observer>();
    auto watcher =
        std::make_unique<directories_changes>(observer.get(), std::vector{name_}, everything);
    EXPECT_TRUE(observer->hears(call(L"modified", L"file")));
    watcher.reset();
    const std::size_t told = observer->calls().size();
    write(folder_ / "file", "y");
    EXPECT_EQ(observer->calls().size(), told);
  }
  over.open();
  writer.join();
}

TEST_F(DirectoriesChanges, WithoutAnyFolderStopAsWell) {
  watch({}, 0);
  watcher_.reset();
  EXPECT_TRUE(log_.nothing_logged(failure));
}

TEST_F(DirectoriesChanges, TellTheLastChangesAgainWhenSomeWereLost) {
  if (!starved_process::possible()) {
    GTEST_SKIP() << "the loss of the system's own queue is made on Linux only";
  }
  std::size_t longest = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> longest;
  ASSERT_GT(longest, 0u);
  const waiting::Gate held;
  const waiting::Gate released;
  observer_.on_call = [&](const std::wstring& heard) {
    if (heard != call(L"created", L"held")) return;
    held.open();
    EXPECT_TRUE(released.wait());
  };
  watch_folder();
  folder_.touch("held");
  ASSERT_TRUE(held.wait());
  // Two files in turn, as the system makes one of equal neighbours.
  std::ofstream files[] = {platform::open_for_writing(folder_ / "a"),
                           platform::open_for_writing(folder_ / "b")};
  for (std::size_t i = 0; i <= longest; ++i) ASSERT_TRUE(files[i % 2] << 'x' << std::flush);
  released.open();
  const auto told = [&] {
    return observer_.count(call(L"modified", L"a")) + observer_.count(call(L"modified", L"b"));
  };
  // The creations of the two files take part of what the queue holds.
  EXPECT_TRUE(waiting::until([&] { return told() > longest; })) << told();
  wake(folder_);
  EXPECT_TRUE(log_.nothing_logged(failure));
}

}  // namespace
