#include "platform/directory_changes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/event.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/long_folder.h"
#include "support/starved_process.h"

namespace {

using Change = std::pair<std::uint32_t, std::wstring>;

/// Sets an event when a test takes far too long, so that an endless wait ends in a failure.
class Watchdog {
 public:
  explicit Watchdog(void* event)
      : thread_([this, event] {
          std::unique_lock lock(mutex_);
          std::uint32_t error = 0;
          if (!ended_.wait_for(lock, std::chrono::seconds(30), [&] { return over_; })) {
            platform::set_event(event, error);
          }
        }) {}
  ~Watchdog() {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
    }
    ended_.notify_one();
    thread_.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool over_ = false;
  std::thread thread_;
};

class DirectoryChanges : public testing::Test {
 protected:
  static constexpr std::uint32_t filter = 0x53;

  ~DirectoryChanges() override {
    if (reader_ != nullptr) platform::close_directory(reader_);
    platform::close_event(stop_);
  }

  void open(const std::wstring& path) {
    reader_ = platform::open_directory(path.c_str(), error_);
    ASSERT_NE(reader_, nullptr) << error_;
    ASSERT_TRUE(platform::create_read_event(reader_, error_)) << error_;
    EXPECT_EQ(error_, 0u);
  }

  void start() {
    ASSERT_TRUE(platform::start_reading(reader_, buffer_.data(), size_, filter, error_)) << error_;
    EXPECT_EQ(error_, 0u);
  }

  void watch() {
    open(platform::wide_text(folder_.path()));
    start();
  }

  std::size_t wait() {
    const Watchdog watchdog(stop_);
    return platform::wait_for_changes(&reader_, 1, stop_);
  }

  /// Reads on until `last` has come, and gives all that came, of equal neighbours one.
  std::vector<Change> read_until(const Change& last) {
    while (std::find(changes_.begin(), changes_.end(), last) == changes_.end()) {
      if (wait() != 0) {
        ADD_FAILURE() << "the change didn't come";
        break;
      }
      collect();
      start();
    }
    changes_.erase(std::unique(changes_.begin(), changes_.end()), changes_.end());
    return std::exchange(changes_, {});
  }

  void collect() {
    const char* at = reinterpret_cast<const char*>(buffer_.data());
    for (;;) {
      platform::change_record record;
      std::memcpy(&record, at, sizeof record);
      std::wstring name(record.name_bytes / sizeof(wchar_t), L'\0');
      std::memcpy(name.data(), at + sizeof record, record.name_bytes);
      changes_.emplace_back(record.action, name);
      if (record.next_entry_offset == 0) return;
      at += record.next_entry_offset;
    }
  }

  void write(const std::filesystem::path& path, std::string_view text) const {
    std::ofstream stream = platform::open_for_writing(path);
    ASSERT_TRUE(stream << text << std::flush);
  }

  support::TemporaryFolder folder_;
  std::uint32_t error_ = 1;
  void* stop_ = platform::create_event(error_);
  platform::directory_reader* reader_ = nullptr;
  std::array<std::uint32_t, 1024> buffer_{};
  std::uint32_t size_ = sizeof buffer_;
  std::vector<Change> changes_;
};

TEST_F(DirectoryChanges, TellANewFile) {
  watch();
  folder_.touch("new");
  EXPECT_EQ(read_until({platform::change_added, L"new"}).front(),
            Change(platform::change_added, L"new"));
}

TEST_F(DirectoryChanges, TellANewFolder) {
  watch();
  std::filesystem::create_directory(folder_ / "new");
  read_until({platform::change_added, L"new"});
}

TEST_F(DirectoryChanges, TellAWrittenFile) {
  folder_.touch("old");
  watch();
  write(folder_ / "old", "text");
  EXPECT_EQ(read_until({platform::change_modified, L"old"}).front(),
            Change(platform::change_modified, L"old"));
}

TEST_F(DirectoryChanges, TellARemovedFile) {
  folder_.touch("old");
  watch();
  std::filesystem::remove(folder_ / "old");
  EXPECT_EQ(read_until({platform::change_removed, L"old"}).back(),
            Change(platform::change_removed, L"old"));
}

TEST_F(DirectoryChanges, TellARenameInTwoHalvesSideBySide) {
  folder_.touch("old");
  watch();
  std::filesystem::rename(folder_ / "old", folder_ / "new");
  const std::vector<Change> changes = read_until({platform::change_renamed_new_name, L"new"});
  ASSERT_GE(changes.size(), 2u);
  EXPECT_EQ(changes[0], Change(platform::change_renamed_old_name, L"old"));
  EXPECT_EQ(changes[1], Change(platform::change_renamed_new_name, L"new"));
}

TEST_F(DirectoryChanges, TellAMoveOutAsARemovalAndAMoveInAsNew) {
  const support::TemporaryFolder elsewhere;
  folder_.touch("out");
  elsewhere.touch("in");
  watch();
  std::filesystem::rename(folder_ / "out", elsewhere / "out");
  std::filesystem::rename(elsewhere / "in", folder_ / "in");
  const std::vector<Change> changes = read_until({platform::change_added, L"in"});
  EXPECT_EQ(changes.front(), Change(platform::change_removed, L"out"));
  EXPECT_EQ(changes.size(), 2u);
}

TEST_F(DirectoryChanges, LeaveSubfoldersOut) {
  std::filesystem::create_directory(folder_ / "sub");
  watch();
  folder_.touch(std::filesystem::path("sub") / "inner");
  folder_.touch("last");
  for (const auto& [action, name] : read_until({platform::change_added, L"last"})) {
    EXPECT_EQ(name.find(L"inner"), std::wstring::npos) << action;
  }
}

TEST_F(DirectoryChanges, AreKeptBetweenTwoReads) {
  watch();
  folder_.touch("first");
  ASSERT_EQ(wait(), 0u);
  collect();
  folder_.touch("second");
  start();
  const std::vector<Change> changes = read_until({platform::change_added, L"second"});
  EXPECT_EQ(changes.front(), Change(platform::change_added, L"first"));
}

TEST_F(DirectoryChanges, HaveNamesBeyondAscii) {
  watch();
  const std::wstring name = L"\u00e9\u4e2d\U0001f600";
  folder_.touch(platform::file_path(name));
  read_until({platform::change_added, name});
}

TEST_F(DirectoryChanges, AreReadInALongPathBeyondAscii) {
  const std::wstring path = support::make_long_folder(folder_.path());
  open(path);
  start();
  write(support::reachable(path + platform::path_separator + L"new"), "x");
  read_until({platform::change_added, L"new"});
}

TEST_F(DirectoryChanges, OfTwoFoldersNameTheRightOne) {
  const support::TemporaryFolder other;
  watch();
  platform::directory_reader* readers[] = {
      reader_, platform::open_directory(platform::wide_text(other.path()).c_str(), error_)};
  std::array<std::uint32_t, 1024> buffer{};
  ASSERT_TRUE(platform::create_read_event(readers[1], error_));
  ASSERT_TRUE(platform::start_reading(readers[1], buffer.data(), sizeof buffer, filter, error_));
  other.touch("there");
  const Watchdog watchdog(stop_);
  EXPECT_EQ(platform::wait_for_changes(readers, 2, stop_), 1u);
  platform::close_directory(readers[1]);
}

TEST_F(DirectoryChanges, LeaveTheBufferAloneWhenTheyDoNotFit) {
  if (platform::path_separator == L'\\') {
    GTEST_SKIP() << "Wine writes a part of what doesn't fit, unlike Windows";
  }
  size_ = 16;
  watch();
  buffer_.fill(0x5a5a5a5a);
  folder_.touch("a name that is longer than the buffer");
  ASSERT_EQ(wait(), 0u);
  for (const std::uint32_t word : buffer_) ASSERT_EQ(word, 0x5a5a5a5au);
}

TEST_F(DirectoryChanges, LeaveTheBufferAloneWhenTheSystemLostSome) {
  if (platform::path_separator == L'\\') {
    GTEST_SKIP() << "the loss of the system's own queue is made on Linux only";
  }
  std::size_t longest = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> longest;
  ASSERT_GT(longest, 0u);
  watch();
  // Two files in turn, as the system makes one of equal neighbours.
  std::ofstream files[] = {platform::open_for_writing(folder_ / "a"),
                           platform::open_for_writing(folder_ / "b")};
  for (std::size_t i = 0; i <= longest; ++i) ASSERT_TRUE(files[i % 2] << 'x' << std::flush);
  bool untouched = false;
  while (!untouched) {
    buffer_.fill(0x5a5a5a5a);
    ASSERT_EQ(wait(), 0u);
    untouched = std::all_of(buffer_.begin(), buffer_.end(),
                            [](std::uint32_t word) { return word == 0x5a5a5a5a; });
    start();
  }
  folder_.touch("after");
  read_until({platform::change_added, L"after"});
}

TEST_F(DirectoryChanges, GiveWayToTheStopEvent) {
  watch();
  std::thread stopper([&] {
    std::uint32_t error = 0;
    EXPECT_TRUE(platform::set_event(stop_, error));
  });
  EXPECT_EQ(platform::wait_for_changes(&reader_, 1, stop_), platform::stop_signalled);
  stopper.join();
}

TEST_F(DirectoryChanges, WaitForTheStopEventAlone) {
  ASSERT_TRUE(platform::set_event(stop_, error_));
  EXPECT_EQ(platform::wait_for_changes(nullptr, 0, stop_), platform::stop_signalled);
}

TEST_F(DirectoryChanges, CannotBeWaitedForInTooManyFolders) {
  watch();
  const std::vector<platform::directory_reader*> readers(platform::most_readers + 1, reader_);
  EXPECT_EQ(platform::wait_for_changes(readers.data(), readers.size(), stop_), platform::no_reader);
}

// What leaves the folder may be half of a rename, and the other half is awaited: a little, but not
// behind whatever else there is. Here more changes are queued than it may be looked for in.
TEST_F(DirectoryChanges, AreToldBeforeAllOthersThatNobodyWantsAreThrough) {
  if (platform::path_separator == L'\\') GTEST_SKIP() << "Windows tells the halves apart itself";
  const support::TemporaryFolder elsewhere;
  folder_.touch("out");
  open(platform::wide_text(folder_.path()));
  constexpr std::uint32_t file_names = 0x1;
  ASSERT_TRUE(platform::start_reading(reader_, buffer_.data(), sizeof buffer_, file_names, error_));
  std::filesystem::rename(folder_ / "out", elsewhere / "out");
  for (int i = 0; i != 2500; ++i) {
    std::filesystem::create_directory(folder_ / "unwanted");
    std::filesystem::remove(folder_ / "unwanted");
  }
  folder_.touch("last");
  ASSERT_EQ(wait(), 0u);
  collect();
  EXPECT_EQ(std::exchange(changes_, {}), std::vector<Change>({{platform::change_removed, L"out"}}));
  ASSERT_TRUE(platform::start_reading(reader_, buffer_.data(), sizeof buffer_, file_names, error_));
  read_until({platform::change_added, L"last"});
}

TEST_F(DirectoryChanges, EndWithTheirFolder) {
  if (platform::path_separator == L'\\') {
    GTEST_SKIP() << "Wine doesn't end a read with its folder, unlike Windows";
  }
  const std::filesystem::path gone = folder_ / "gone";
  std::filesystem::create_directory(gone);
  open(platform::wide_text(gone));
  start();
  buffer_.fill(0x5a5a5a5a);
  std::filesystem::remove(gone);
  ASSERT_EQ(wait(), 0u);
  for (const std::uint32_t word : buffer_) ASSERT_EQ(word, 0x5a5a5a5au);
  EXPECT_FALSE(platform::start_reading(reader_, buffer_.data(), size_, filter, error_));
  EXPECT_EQ(error_, 5u);
}

TEST_F(DirectoryChanges, AreNotReadWithoutAnEvent) {
  if (!support::starved_process::possible()) {
    GTEST_SKIP() << "Windows doesn't run out of events in a test";
  }
  reader_ = platform::open_directory(platform::wide_text(folder_.path()).c_str(), error_);
  ASSERT_NE(reader_, nullptr);
  {
    const support::starved_process::WithoutDescriptors none;
    EXPECT_FALSE(platform::create_read_event(reader_, error_));
  }
  EXPECT_EQ(error_, 4u) << "too many open files";
  EXPECT_TRUE(platform::create_read_event(reader_, error_));
  start();
}

TEST_F(DirectoryChanges, CannotBeReadOfAnAbsentFolder) {
  EXPECT_EQ(platform::open_directory(nullptr, error_), nullptr);
  EXPECT_EQ(error_, 87u);
  EXPECT_EQ(platform::open_directory(platform::wide_text(folder_ / "absent").c_str(), error_),
            nullptr);
  EXPECT_TRUE(error_ == 2 || error_ == 3) << error_;
}

TEST_F(DirectoryChanges, FailWhenASeamSaysSo) {
  support::TestSeam seam;
  seam.fail_call(platform::Call::watch, 5);
  EXPECT_EQ(platform::open_directory(platform::wide_text(folder_.path()).c_str(), error_), nullptr);
  EXPECT_EQ(error_, 5u);
  seam.fail_call(platform::Call::watch, 1450, 2);
  open(platform::wide_text(folder_.path()));
  EXPECT_FALSE(platform::start_reading(reader_, buffer_.data(), size_, filter, error_));
  EXPECT_EQ(error_, 1450u);
  start();
}

}  // namespace
