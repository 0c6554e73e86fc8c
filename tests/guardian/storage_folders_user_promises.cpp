// Of a process without elevated rights, which are looked at once in a process.

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "guardian/circuit_breaker.h"
#include "guardian/services_storage.h"
#include "guardian/storage_folders.h"
#include "platform/library.h"
#include "support/GuardianFolder.h"
#include "support/ModuleFolder.h"
#include "support/PluginProbe.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"
#include "support/loadable.h"

namespace {

using cloud::guardian::circuit_breaker;
using cloud::guardian::create_storage_folder;
using cloud::guardian::get_storage_folder;
using support::GuardianFolder;
using support::has_line;

class StorageFoldersOfAUser : public testing::Test {
 protected:
  StorageFoldersOfAUser() {
    module.seam().set_elevated(false);
    module.seam().hold_clock(GuardianFolder::start);
    const auto library = module.path() / platform::library_file_name(L"iservconfig");
    std::filesystem::copy_file(support::loadable(L"plugin_probe"), library);
    probe.emplace(library);
    set_profiles(profiles.path().wstring());
    package();
  }

  void set_profiles(const std::wstring& text) { probe->set_string(408, text.c_str()); }
  void package() {
    auto json = nlohmann::json::parse(support::config_text(GuardianFolder::config()));
    json["storage_folder"] = "guardian";
    json["storage_filename"] = "services.json";
    module.write(std::filesystem::path("settings") / "cloud_guardian_settings.json", json.dump());
  }
  template <class Object, class... Arguments>
  static std::string failure_of(Arguments... arguments) {
    try {
      const Object object(arguments...);
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  support::RecordingLog log;
  support::ModuleFolder module;
  const support::TemporaryFolder profiles;
  std::optional<support::PluginProbe> probe;
  guardian_paths paths = GuardianFolder::paths();
  const std::filesystem::path shared = module.path() / "settings" / "cloud";
};

TEST_F(StorageFoldersOfAUser, LieBelowTheDesktopProfiles) {
  const auto folder = get_storage_folder(paths);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(std::filesystem::path(folder.value()), profiles / "guardian");
  EXPECT_FALSE(std::filesystem::exists(profiles / "guardian"));
}

TEST_F(StorageFoldersOfAUser, AreBothCreatedAndTheSharedOneIsGiven) {
  const auto folder = create_storage_folder(paths);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(std::filesystem::path(folder.value()), shared);
  EXPECT_TRUE(std::filesystem::is_directory(profiles / "guardian"));
  EXPECT_TRUE(std::filesystem::is_directory(shared));
}

TEST_F(StorageFoldersOfAUser, DoNotNeedTheSharedOneToBeCreated) {
  module.write(std::filesystem::path("settings") / "cloud", "a file");
  const auto folder = create_storage_folder(paths);
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(std::filesystem::path(folder.value()), shared);
  EXPECT_TRUE(std::filesystem::is_directory(profiles / "guardian"));
}

TEST_F(StorageFoldersOfAUser, FailWhereTheirOwnCannotBeCreated) {
  const auto file = profiles.touch("file");
  set_profiles(file.wstring());
  const auto folder = create_storage_folder(paths);
  ASSERT_TRUE(folder.has_error());
  EXPECT_EQ(folder.error().message, L"filesystem::create_directories");
  EXPECT_NE(folder.error().code.value(), 0);
  EXPECT_FALSE(std::filesystem::exists(shared));
}

TEST_F(StorageFoldersOfAUser, PassTheFailureOfTheProfilesOn) {
  set_profiles(L"<missing>");
  for (const auto& folder : {get_storage_folder(paths), create_storage_folder(paths)}) {
    ASSERT_TRUE(folder.has_error());
    EXPECT_EQ(folder.error().code.value(), 1168);
    EXPECT_EQ(folder.error().message, L"GetString PATH_COMMON_PRODUCT_DESKTOP_PROFILES");
  }
}

TEST_F(StorageFoldersOfAUser, KeepCircuitsApartFromTheAdministratorsAndShareTheLock) {
  module.write(std::filesystem::path("settings") / "cloud" / "services.json",
               nlohmann::json{{"svc", support::stored_circuit(circuit_state::open)}}.dump());
  circuit_breaker breaker;
  EXPECT_TRUE(breaker.IsSendAllowed("svc"));
  EXPECT_TRUE(std::filesystem::exists(profiles / "guardian" / "services.json"));
  EXPECT_TRUE(std::filesystem::exists(shared / "cloud_guardian_lock.lock"));
}

TEST_F(StorageFoldersOfAUser, AreWatchedBoth) {
  ASSERT_TRUE(create_storage_folder(paths).has_value());
  { const cloud::guardian::services_storage storage(paths); }
  // Each is opened and each read is started, before the watcher looks whether it is to stop.
  EXPECT_EQ(module.seam().calls(platform::Call::watch), 4u);
}

TEST_F(StorageFoldersOfAUser, AreWatchedOnceIfTheyAreTheSame) {
  set_profiles(module.path().wstring());
  paths.storage_folder = L"settings/cloud";
  ASSERT_TRUE(create_storage_folder(paths).has_value());
  { const cloud::guardian::services_storage storage(paths); }
  EXPECT_EQ(module.seam().calls(platform::Call::watch), 2u);
}

TEST_F(StorageFoldersOfAUser, AreWatchedOnceIfTheyAreTheSameByAnotherName) {
  set_profiles((module.path() / "settings" / ".." / "settings").wstring());
  paths.storage_folder = L"cloud";
  ASSERT_TRUE(create_storage_folder(paths).has_value());
  { const cloud::guardian::services_storage storage(paths); }
  EXPECT_EQ(module.seam().calls(platform::Call::watch), 2u);
}

TEST_F(StorageFoldersOfAUser, KeepABreakerFromBeingBuiltWithoutProfiles) {
  set_profiles(L"<missing>");
  EXPECT_EQ(failure_of<circuit_breaker>(), "Failed to create storage folder");
  EXPECT_TRUE(has_line(log, 4,
                       L"Failed to create storage folder GetString "
                       L"PATH_COMMON_PRODUCT_DESKTOP_PROFILES err = 1168"));
}

TEST_F(StorageFoldersOfAUser, KeepAStorageFromBeingBuiltWithoutProfiles) {
  set_profiles(L"<missing>");
  EXPECT_EQ(failure_of<cloud::guardian::services_storage>(paths),
            "Failed get cloud guardian services file path");
  EXPECT_TRUE(has_line(log, 4,
                       L"Failed get cloud guardian services file path GetString "
                       L"PATH_COMMON_PRODUCT_DESKTOP_PROFILES err = 1168"));
}

TEST_F(StorageFoldersOfAUser, TakeAConfigurationEvenIfTheCacheCannotBeWritten) {
  ASSERT_TRUE(create_storage_folder(paths).has_value());
  std::filesystem::create_directories(shared / paths.config_storage_filename);
  cloud::guardian::services_storage storage(paths);
  guardian_config config = GuardianFolder::config({"other"});
  EXPECT_TRUE(storage.reload_config(config));
  EXPECT_FALSE(storage.is_monitored("svc"));
  EXPECT_TRUE(support::has_line_beginning(log, 4, L"failed to write to file "));
}

}  // namespace
