#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "_base/FailingAllocation.h"
#include "platform/directory_changes.h"
#include "platform/file_lock.h"
#include "platform/library.h"
#include "platform/wide_file.h"
#include "support/TemporaryFolder.h"
#include "support/loadable.h"
#include "support/long_folder.h"

namespace {

constexpr std::uint32_t out_of_memory = 14;

/// Long paths, as they allocate on every system.
class WithoutMemory : public testing::Test {
 protected:
  /// Has each allocation of `call` fail in turn: it then has to say so. The last time none fails.
  void expect_told(const std::function<bool(std::uint32_t& error)>& call) {
    for (long index = 0;; ++index) {
      SCOPED_TRACE(testing::Message() << "allocation " << index);
      bool done = false;
      std::uint32_t error = 0;
      if (!failing_allocation::met_by(index, [&] { done = call(error); })) {
        EXPECT_TRUE(done);
        EXPECT_GT(index, 0);
        break;
      }
      EXPECT_FALSE(done);
      EXPECT_EQ(error, out_of_memory);
    }
  }

  support::TemporaryFolder folder_;
  std::wstring long_folder_ = support::make_long_folder(folder_.path());
  std::wstring file_ = long_folder_ + platform::path_separator + L"file";
};

TEST_F(WithoutMemory, ALockFileIsNotOpened) {
  expect_told([&](std::uint32_t& error) {
    void* const file = platform::open_lock_file(file_.c_str(), error);
    if (file != platform::no_file) platform::close_lock_file(file);
    return file != platform::no_file;
  });
}

TEST_F(WithoutMemory, AFolderIsNotOpened) {
  expect_told([&](std::uint32_t& error) {
    auto* const reader = platform::open_directory(long_folder_.c_str(), error);
    if (reader != nullptr) platform::close_directory(reader);
    return reader != nullptr;
  });
}

TEST_F(WithoutMemory, ALibraryIsNotLoaded) {
  const std::wstring path =
      long_folder_ + platform::path_separator + platform::library_file_name(L"library");
  std::filesystem::copy_file(support::loadable(L"answer"), support::reachable(path));
  expect_told([&](std::uint32_t& error) {
    auto* const module = platform::load_library(path.c_str(), error);
    if (module != nullptr) platform::unload_library(module);
    return module != nullptr;
  });
}

TEST_F(WithoutMemory, AFileIsNotFound) {
  platform::close_lock_file([&] {
    std::uint32_t error = 0;
    return platform::open_lock_file(file_.c_str(), error);
  }());
  // Neither has a number to tell.
  EXPECT_TRUE(
      failing_allocation::met_by(0, [&] { EXPECT_FALSE(platform::file_exists(file_.c_str())); }));
  EXPECT_TRUE(platform::file_exists(file_.c_str()));
  EXPECT_TRUE(failing_allocation::met_by(
      0, [&] { EXPECT_EQ(platform::open_wide(file_.c_str(), "rb"), nullptr); }));
}

}  // namespace
