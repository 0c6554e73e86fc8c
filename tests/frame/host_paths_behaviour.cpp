#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "_base/PathString.h"
#include "frame/host_paths.h"
#include "platform/library.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace {

const std::wstring separator(1, platform::path_separator);

std::wstring service(std::wstring_view stem) {
  return L"services" + separator + platform::library_file_name(stem);
}

class HostPaths : public testing::Test {
 protected:
  HostPaths() {
    seam.set_executable_name((folder / "host.exe").wstring());
    seam.set_own_module_name(folder.module_name(L"cloudsplicer").wstring());
  }

  /// A full name of exactly this many characters.
  std::wstring name_of_length(std::size_t length) const {
    std::wstring name = folder.path().wstring() + separator;
    name.resize(length, L'x');
    return name;
  }

  const support::TemporaryFolder folder;
  support::TestSeam seam;
};

using AskExeFolder = HostPaths;
using RunningFolderId = HostPaths;
using FolderName = HostPaths;
using ModulePath = HostPaths;

TEST_F(AskExeFolder, GivesTheExecutablesFolderWithItsSeparator) {
  zv::PathString path;
  EXPECT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.view(), folder.path().wstring() + separator);
}

TEST_F(AskExeFolder, FailsWithoutAName) {
  seam.set_executable_name(L"", 5);
  zv::PathString path;
  EXPECT_FALSE(zv::PathString::AskExeFolder(path));
}

TEST_F(AskExeFolder, TakesANameOneShortOfTheBuffer) {
  seam.set_executable_name(name_of_length(259));
  zv::PathString path;
  EXPECT_TRUE(zv::PathString::AskExeFolder(path));
  EXPECT_EQ(path.view(), folder.path().wstring() + separator);
}

TEST_F(AskExeFolder, TakesANameThatFillsTheBufferForCut) {
  for (const std::size_t length : {260u, 261u, 300u}) {
    seam.set_executable_name(name_of_length(length));
    zv::PathString path;
    EXPECT_FALSE(zv::PathString::AskExeFolder(path)) << length;
  }
}

TEST_F(RunningFolderId, IsAppBesideTheAppService) {
  folder.touch(service(L"zvappservice"));
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"app");
}

TEST_F(RunningFolderId, IsCoreBesideTheAuxiliaryService) {
  folder.touch(service(L"zvauxiliaryservice"));
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"core");
}

TEST_F(RunningFolderId, IsAppBesideBothServices) {
  folder.touch(service(L"zvappservice"));
  folder.touch(service(L"zvauxiliaryservice"));
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"app");
}

TEST_F(RunningFolderId, SucceedsAndStaysEmptyBesideNeither) {
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"");
}

TEST_F(RunningFolderId, LeavesTheCallersTextBesideNeither) {
  std::wstring id = L"before";
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"before");
}

TEST_F(RunningFolderId, LooksBesideTheExecutableAndNotBesideTheModule) {
  const support::TemporaryFolder elsewhere;
  elsewhere.touch(service(L"zvappservice"));
  seam.set_own_module_name(elsewhere.module_name(L"cloudsplicer").wstring());
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 0u);
  EXPECT_EQ(id, L"");
}

TEST_F(RunningFolderId, RunsInATraceScopeAndLogsNothingElseOnSuccess) {
  folder.touch(service(L"zvappservice"));
  support::RecordingLog log;
  std::wstring id;
  GetRunningFolderId(id);
  EXPECT_TRUE(log.traced(L"GetRunningFolderId"));
  EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(RunningFolderId, FailsAndLogsWithoutTheExecutablesFolder) {
  seam.set_executable_name(L"", 5);
  support::RecordingLog log;
  std::wstring id;
  EXPECT_EQ(GetRunningFolderId(id), 1627u);
  EXPECT_EQ(id, L"");
  EXPECT_EQ(log.count(4, L"GetRunningFolderId", L"zv::PathString::AskExeFolder failed"), 1u);
  EXPECT_TRUE(log.traced(L"GetRunningFolderId"));
  EXPECT_EQ(log.lines().size(), 3u);
}

TEST_F(FolderName, EndsInASeparator) {
  std::uint32_t error = 4711;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error),
            folder.path().wstring() + separator);
  EXPECT_EQ(error, 0u);
}

TEST_F(FolderName, GivesTheSystemsErrorWithoutAName) {
  seam.set_own_module_name(L"", 5);
  std::uint32_t error = 0;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error), L"");
  EXPECT_EQ(error, 5u);
}

TEST_F(FolderName, TakesANameThatFillsTheBufferForCutIfTheSystemComplains) {
  seam.set_own_module_name(name_of_length(40000), 122);
  std::uint32_t error = 0;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error), L"");
  EXPECT_EQ(error, 122u);
}

TEST_F(FolderName, TakesANameThatFillsTheBufferAsItIsIfTheSystemDoesNotComplain) {
  seam.set_own_module_name(name_of_length(40000), 0);
  std::uint32_t error = 4711;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error),
            folder.path().wstring() + separator);
  EXPECT_EQ(error, 0u);
}

TEST_F(FolderName, TakesALongNameThatFits) {
  seam.set_own_module_name(name_of_length(32000), 0);
  std::uint32_t error = 4711;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error),
            folder.path().wstring() + separator);
  EXPECT_EQ(error, 0u);
}

TEST_F(FolderName, IsAGeneralFailureWithoutASeparator) {
  seam.set_own_module_name(platform::library_file_name(L"cloudsplicer"));
  std::uint32_t error = 0;
  EXPECT_EQ(dll::get_foldername(platform::own_module(), error), L"");
  EXPECT_EQ(error, 31u);
}

TEST_F(ModulePath, JoinsARelativePathToTheModulesFolder) {
  const auto path = get_module_path(L"settings" + separator + L"a.json");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), folder / "settings" / "a.json");
}

TEST_F(ModulePath, LetsAnAbsolutePathReplaceTheFolder) {
  const support::TemporaryFolder elsewhere;
  const auto path = get_module_path((elsewhere / "a.json").wstring());
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), elsewhere / "a.json");
}

TEST_F(ModulePath, TellsWhyTheFolderIsUnknown) {
  seam.set_own_module_name(L"", 5);
  const auto path = get_module_path(L"a.json");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 5);
  EXPECT_STREQ(path.error().code.category().name(), "win_error");
  EXPECT_EQ(path.error().message, L"dll::get_foldername");
}

TEST_F(ModulePath, IsAGeneralFailureWithoutASeparator) {
  seam.set_own_module_name(platform::library_file_name(L"cloudsplicer"));
  const auto path = get_module_path(L"a.json");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 31);
  EXPECT_EQ(path.error().message, L"dll::get_foldername");
}

}  // namespace
