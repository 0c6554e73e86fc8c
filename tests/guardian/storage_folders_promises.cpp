// Of an elevated process; the rights are looked at once in a process.

#include <gtest/gtest.h>

#include <filesystem>

#include "guardian/storage_folders.h"
#include "support/GuardianFolder.h"
#include "support/ModuleFolder.h"

namespace {

using cloud::guardian::create_storage_folder;
using cloud::guardian::get_storage_folder;

class StorageFoldersOfAnAdministrator : public testing::Test {
 protected:
  StorageFoldersOfAnAdministrator() { module.seam().set_elevated(true); }

  support::ModuleFolder module;
  guardian_paths paths = support::GuardianFolder::paths();
};

TEST_F(StorageFoldersOfAnAdministrator, LieBelowTheModule) {
  const auto folder = get_storage_folder(paths);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(std::filesystem::path(folder.value()), module.path() / "settings" / "cloud");
}

TEST_F(StorageFoldersOfAnAdministrator, AreNotCreatedByAsking) {
  ASSERT_TRUE(get_storage_folder(paths).has_value());
  EXPECT_FALSE(std::filesystem::exists(module.path() / "settings"));
}

TEST_F(StorageFoldersOfAnAdministrator, AreCreatedWithAllAboveThem) {
  const auto folder = create_storage_folder(paths);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(std::filesystem::path(folder.value()), module.path() / "settings" / "cloud");
  EXPECT_TRUE(std::filesystem::is_directory(module.path() / "settings" / "cloud"));
}

TEST_F(StorageFoldersOfAnAdministrator, MayBeThereAlready) {
  ASSERT_TRUE(create_storage_folder(paths).has_value());
  EXPECT_TRUE(create_storage_folder(paths).has_value());
}

TEST_F(StorageFoldersOfAnAdministrator, FailWhereTheyCannotBeCreated) {
  module.write("settings", "a file");
  const auto folder = create_storage_folder(paths);
  ASSERT_TRUE(folder.has_error());
  EXPECT_NE(folder.error().code.value(), 0);
  EXPECT_EQ(folder.error().message, L"filesystem::create_directories");
}

TEST_F(StorageFoldersOfAnAdministrator, FailWithoutTheModulesFolder) {
  module.seam().set_own_module_name(L"", 126);
  for (const auto& folder : {get_storage_folder(paths), create_storage_folder(paths)}) {
    ASSERT_TRUE(folder.has_error());
    EXPECT_EQ(folder.error().code.value(), 126);
    EXPECT_EQ(folder.error().message, L"dll::get_foldername");
  }
}

}  // namespace
