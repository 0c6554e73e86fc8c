#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "_base/change_records.h"
#include "_base/directory_mgmt/directories_changes.h"
#include "_base/waiting.h"
#include "platform/file.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace watching {

using winapi::directory_mgmt::directories_changes;
namespace notify = winapi::directory_mgmt::notify;
using Calls = std::vector<std::wstring>;

inline constexpr std::uint32_t everything =
    notify::file_name | notify::dir_name | notify::last_write | notify::creation;
inline constexpr std::uint32_t failure = 4;

/// Can hold the worker within a call, and does then what a test wants.
class Observer final : public change_records::RecordingObserver {
 public:
  /// Called within each call, on the worker's thread. Set before the watcher begins.
  std::function<void(const std::wstring& call)> on_call;

  bool hears(const std::wstring& call) const {
    return waiting::until([&] { return count(call) != 0; });
  }

 private:
  void noted(const std::wstring& call) override {
    if (on_call) on_call(call);
  }
};

class DirectoriesChangesTest : public testing::Test {
 protected:
  static std::wstring wide(const std::filesystem::path& path) { return platform::wide_text(path); }

  /// Waits until the folders are watched: what happens before that is not told.
  void watch(std::vector<std::wstring> folders, std::size_t calls) {
    const std::size_t before = seam_.calls(platform::Call::watch);
    watcher_ = std::make_unique<directories_changes>(&observer_, std::move(folders), everything);
    // The last start may still be on its way into the system.
    ASSERT_TRUE(
        waiting::until([&] { return seam_.calls(platform::Call::watch) >= before + calls; }));
  }

  /// Has files come up in a folder until the observer hears of one.
  void wake(const support::TemporaryFolder& folder) {
    static int number = 0;
    const std::wstring name = L"wake" + std::to_wstring(++number);
    const std::wstring call = L" " + wide(folder.path()) + L" " + name;
    const auto heard = [&] {
      write(folder / name, "x");
      return observer_.count(L"created" + call) + observer_.count(L"modified" + call) != 0;
    };
    ASSERT_TRUE(waiting::until(heard)) << "no change of the folder is told";
  }

  void watch_folder() {
    watch({name_}, 2);
    wake(folder_);
  }

  static void write(const std::filesystem::path& path, std::string_view text) {
    std::ofstream stream = platform::open_for_writing(path);
    ASSERT_TRUE(stream << text << std::flush);
  }

  std::wstring call(const wchar_t* what, const wchar_t* names) const {
    return std::wstring(what) + L" " + name_ + L" " + names;
  }

  support::RecordingLog log_;
  support::TestSeam seam_;
  support::TemporaryFolder folder_;
  support::TemporaryFolder other_;
  const std::wstring name_ = wide(folder_.path());
  const std::wstring other_name_ = wide(other_.path());
  Observer observer_;
  std::unique_ptr<directories_changes> watcher_;
};

}  // namespace watching
