#include "platform/library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/loadable.h"
#include "support/long_folder.h"

namespace {

std::wstring name_of(platform::module_handle module) {
  std::wstring name(32767, L'?');
  std::uint32_t error = 1;
  const std::uint32_t length = platform::module_file_name(module, name.data(), 32767, error);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(name[length], L'\0');
  name.resize(length);
  return name;
}

bool ends_with(const std::wstring& text, const std::wstring& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class Library : public testing::Test {
 protected:
  platform::module_handle load(const std::wstring& path) {
    error_ = 1;
    return platform::load_library(path.c_str(), error_);
  }

  int ask(platform::module_handle module) {
    void* const symbol = platform::find_symbol(module, "answer", error_);
    EXPECT_EQ(error_, 0u);
    return symbol != nullptr ? reinterpret_cast<int (*)()>(symbol)() : 0;
  }

  /// A copy under a name that no other test uses, for a library counts by its file.
  std::wstring copy_to(const std::wstring& folder, std::wstring_view stem) {
    const std::wstring path = folder + platform::path_separator + platform::library_file_name(stem);
    std::filesystem::copy_file(support::loadable(L"answer"), support::reachable(path));
    return path;
  }

  support::TemporaryFolder folder_;
  std::wstring folder_name_ = platform::wide_text(folder_.path());
  std::uint32_t error_ = 1;
};

TEST_F(Library, IsLoadedAskedAndUnloaded) {
  const std::wstring path = copy_to(folder_name_, L"first");
  platform::module_handle const module = load(path);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(error_, 0u);
  EXPECT_EQ(ask(module), 42);
  EXPECT_EQ(name_of(module), path);
  platform::unload_library(module);
  EXPECT_EQ(platform::find_loaded(path.c_str()), nullptr);
}

TEST_F(Library, IsFoundByItsPathAndItsBareName) {
  const std::wstring path = copy_to(folder_name_, L"second");
  const std::wstring bare = platform::library_file_name(L"second");
  EXPECT_EQ(platform::find_loaded(bare.c_str()), nullptr);
  platform::module_handle const module = load(path);
  EXPECT_EQ(platform::find_loaded(path.c_str()), module);
  EXPECT_EQ(platform::find_loaded(bare.c_str()), module);
  EXPECT_EQ(platform::find_loaded((L"x" + bare).c_str()), nullptr);
  // Nothing of it counted a reference.
  platform::unload_library(module);
  EXPECT_EQ(platform::find_loaded(bare.c_str()), nullptr);
}

TEST_F(Library, StaysWhileItIsReferenced) {
  const std::wstring path = copy_to(folder_name_, L"third");
  const std::wstring bare = platform::library_file_name(L"third");
  EXPECT_EQ(platform::reference_loaded(bare.c_str()), nullptr);
  platform::module_handle const module = load(path);
  EXPECT_EQ(platform::reference_loaded(bare.c_str()), module);
  platform::unload_library(module);
  EXPECT_EQ(platform::find_loaded(path.c_str()), module);
  platform::unload_library(module);
  EXPECT_EQ(platform::find_loaded(path.c_str()), nullptr);
}

TEST_F(Library, IsTheLoadedOneWhenABareNameIsLoaded) {
  const std::wstring path = copy_to(folder_name_, L"fourth");
  const std::wstring bare = platform::library_file_name(L"fourth");
  EXPECT_EQ(load(bare), nullptr);
  EXPECT_EQ(error_, 126u);
  platform::module_handle const module = load(path);
  EXPECT_EQ(load(bare), module);
  EXPECT_EQ(error_, 0u);
  platform::unload_library(module);
  platform::unload_library(module);
}

TEST_F(Library, IsLookedForBesideTheProgram) {
  const std::wstring stem = L"beside" + folder_.path().filename().wstring();
  const std::wstring path = copy_to(platform::wide_text(support::program_folder()), stem);
  platform::module_handle const module = load(platform::library_file_name(stem));
  EXPECT_NE(module, nullptr);
  if (module != nullptr) {
    EXPECT_EQ(name_of(module), path);
    platform::unload_library(module);
  }
  std::filesystem::remove(platform::file_path(path));
}

TEST_F(Library, LoadsByTheAlteredSearchToo) {
  const std::wstring path = copy_to(folder_name_, L"fifth");
  platform::module_handle const module =
      platform::load_library_with_altered_search_path(path.c_str(), error_);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(error_, 0u);
  EXPECT_EQ(ask(module), 42);
  platform::unload_library(module);
}

TEST_F(Library, MayHaveALongPathBeyondAscii) {
  const std::wstring path = copy_to(support::make_long_folder(folder_.path()), L"l\u00e9\u4e2d");
  platform::module_handle const module = load(path);
  ASSERT_NE(module, nullptr) << error_;
  EXPECT_EQ(ask(module), 42);
  EXPECT_TRUE(ends_with(name_of(module), path));
  EXPECT_EQ(platform::find_loaded(path.c_str()), module);
  EXPECT_TRUE(platform::file_exists(path.c_str()));
  platform::unload_library(module);
}

TEST_F(Library, FailsWithTheSystemsNumber) {
  EXPECT_EQ(load(folder_name_ + platform::path_separator + L"absent.so"), nullptr);
  EXPECT_EQ(error_, 126u);
  const std::filesystem::path text =
      folder_ / platform::file_path(platform::library_file_name(L"text"));
  platform::open_for_writing(text) << "this is no library at all, but a text of some length";
  EXPECT_EQ(load(platform::wide_text(text)), nullptr);
  EXPECT_EQ(error_, 193u);
  platform::module_handle const module = load(copy_to(folder_name_, L"sixth"));
  EXPECT_EQ(platform::find_symbol(module, "question", error_), nullptr);
  EXPECT_EQ(error_, 127u);
  platform::unload_library(module);
}

TEST_F(Library, HasToBeNamed) {
  EXPECT_EQ(platform::load_library(nullptr, error_), nullptr);
  EXPECT_EQ(error_, 87u);
  error_ = 0;
  EXPECT_EQ(platform::load_library_with_altered_search_path(nullptr, error_), nullptr);
  EXPECT_EQ(error_, 87u);
  EXPECT_EQ(platform::find_loaded(nullptr), nullptr);
  EXPECT_EQ(platform::reference_loaded(nullptr), nullptr);
}

TEST_F(Library, NamesTheProgramForNull) {
  const std::wstring name = name_of(nullptr);
  EXPECT_TRUE(platform::is_absolute(name.c_str()));
  EXPECT_TRUE(platform::file_exists(name.c_str()));
  EXPECT_NE(name.find(L"test_platform_library"), std::wstring::npos);
}

TEST_F(Library, IsTheProgramThatItsCodeWasLinkedInto) {
  ASSERT_NE(platform::own_module(), nullptr);
  EXPECT_EQ(name_of(platform::own_module()), name_of(nullptr));
}

TEST_F(Library, CutsANameThatDoesNotFit) {
  const std::wstring name = name_of(nullptr);
  const auto length = static_cast<std::uint32_t>(name.size());
  std::wstring buffer(name.size() + 1, L'?');
  EXPECT_EQ(platform::module_file_name(nullptr, buffer.data(), length, error_), length);
  EXPECT_EQ(error_, 122u);
  EXPECT_EQ(std::wstring(buffer.c_str()), name.substr(0, name.size() - 1));
  EXPECT_EQ(platform::module_file_name(nullptr, buffer.data(), length + 1, error_), length);
  EXPECT_EQ(error_, 0u);
}

TEST_F(Library, HasTheNamesThatASeamGives) {
  support::TestSeam seam;
  seam.set_own_module_name(L"module");
  seam.set_executable_name(L"", 5);
  EXPECT_EQ(name_of(platform::own_module()), L"module");
  wchar_t buffer[4];
  EXPECT_EQ(platform::module_file_name(nullptr, buffer, 4, error_), 0u);
  EXPECT_EQ(error_, 5u);
  EXPECT_EQ(platform::module_file_name(platform::own_module(), buffer, 4, error_), 4u);
  EXPECT_EQ(std::wstring(buffer), L"mod");
}

/// The path with this platform's separators in place of slashes.
std::wstring native(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', platform::path_separator);
  return path;
}

std::pair<bool, std::wstring> removed(const std::wstring& path) {
  std::wstring buffer = native(path);
  const bool done = platform::remove_file_spec(buffer.data());
  std::wstring result = buffer.c_str();
  std::replace(result.begin(), result.end(), platform::path_separator, L'/');
  return {done, result};
}

TEST(RemoveFileSpec, CutsTheLastName) {
  EXPECT_EQ(removed(L"/a/b.exe"), std::pair(true, std::wstring(L"/a")));
  EXPECT_EQ(removed(L"a/b/c"), std::pair(true, std::wstring(L"a/b")));
  EXPECT_EQ(removed(L"/a/"), std::pair(true, std::wstring(L"/a")));
}

TEST(RemoveFileSpec, KeepsTheRoot) {
  EXPECT_EQ(removed(L"/a"), std::pair(true, std::wstring(L"/")));
  EXPECT_EQ(removed(L"/"), std::pair(false, std::wstring(L"/")));
}

TEST(RemoveFileSpec, KnowsDrives) {
  if (platform::path_separator != L'\\') GTEST_SKIP() << "no drives on this system";
  EXPECT_EQ(removed(L"C:/a.exe"), std::pair(true, std::wstring(L"C:/")));
  EXPECT_EQ(removed(L"C:/"), std::pair(false, std::wstring(L"C:/")));
}

TEST(RemoveFileSpec, FailsWithoutASeparator) {
  EXPECT_EQ(removed(L"a.exe"), std::pair(false, std::wstring(L"a.exe")));
  EXPECT_EQ(removed(L""), std::pair(false, std::wstring()));
}

TEST(AddSeparator, AddsOneUnlessItIsThere) {
  const std::wstring separated = native(L"a/");
  wchar_t path[4] = L"a";
  EXPECT_TRUE(platform::add_separator(path, 4));
  EXPECT_EQ(std::wstring(path), separated);
  EXPECT_TRUE(platform::add_separator(path, 4));
  EXPECT_EQ(std::wstring(path), separated);
}

TEST(AddSeparator, FailsWithoutRoomAndChangesNothing) {
  wchar_t path[3] = L"ab";
  EXPECT_FALSE(platform::add_separator(path, 3));
  EXPECT_EQ(std::wstring(path), L"ab");
}

TEST(Path, IsAbsoluteFromTheRootOnly) {
  EXPECT_TRUE(platform::is_absolute(platform::path_separator == L'/' ? L"/a" : L"C:\\a"));
  EXPECT_FALSE(platform::is_absolute(L"a"));
  EXPECT_FALSE(platform::is_absolute(native(L"a/b").c_str()));
  EXPECT_FALSE(platform::is_absolute(L""));
}

TEST(Path, IsNeitherAbsoluteNorThereIfItIsNull) {
  EXPECT_FALSE(platform::is_absolute(nullptr));
  EXPECT_FALSE(platform::file_exists(nullptr));
  EXPECT_FALSE(platform::remove_file_spec(nullptr));
  EXPECT_FALSE(platform::add_separator(nullptr, 1));
}

TEST(Path, ExistsAsFileAndAsFolder) {
  const support::TemporaryFolder folder;
  folder.touch("file");
  EXPECT_TRUE(platform::file_exists(platform::wide_text(folder / "file").c_str()));
  EXPECT_TRUE(platform::file_exists(platform::wide_text(folder.path()).c_str()));
  EXPECT_FALSE(platform::file_exists(platform::wide_text(folder / "other").c_str()));
}

}  // namespace
