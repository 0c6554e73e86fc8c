#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "frame/IServConfig.h"
#include "frame/load_exported_plugin.h"
#include "support/PluginProbe.h"
#include "support/TemporaryFolder.h"
#include "support/loadable.h"

namespace {

using Steps = std::vector<std::wstring>;
using zv::framework::load_exported_plugin;

bool is_loaded(const std::filesystem::path& path) {
  return platform::find_loaded(path.wstring().c_str()) != nullptr;
}

class LoadExportedPlugin : public testing::Test {
 protected:
  plugin_handle<IServConfig> load() {
    return load_exported_plugin<IServConfig>(path.wstring().c_str(), L"productinfo",
                                             IID_IServConfig, status);
  }

  /// The probe's own reference goes, and with it the last one, unless someone else holds one.
  bool stays_loaded_without_the_probe() {
    probe.reset();
    return is_loaded(path);
  }

  const std::filesystem::path path = support::loadable(L"plugin_probe");
  std::optional<support::PluginProbe> probe{path};
  std::uint32_t status = 4711;
};

TEST_F(LoadExportedPlugin, DrivesThePluginToItsInterface) {
  const auto handle = load();
  EXPECT_TRUE(handle);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(probe->steps(), (Steps{L"create productinfo IServPlugin", L"Init without a host",
                                   L"Start", L"QueryInterface IServConfig"}));
}

TEST_F(LoadExportedPlugin, WindsThePluginDownInOrderWhenTheHandleEnds) {
  auto handle = load();
  const std::size_t before = probe->steps().size();
  handle.reset();
  Steps steps = probe->steps();
  steps.erase(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(before));
  EXPECT_EQ(steps, (Steps{L"Stop", L"UnInit", L"QueryInterface IZvBaseInterface",
                          L"destroy productinfo"}));
  EXPECT_FALSE(stays_loaded_without_the_probe());
}

TEST_F(LoadExportedPlugin, IgnoresTheResultOfUnInitOnTheWayDown) {
  auto handle = load();
  probe->fail(L"UnInit", 5);
  handle.reset();
  EXPECT_EQ(probe->steps().back(), L"destroy productinfo");
}

TEST_F(LoadExportedPlugin, KeepsTheLibraryAsLongAsTheReleaser) {
  auto handle = load();
  EXPECT_TRUE(stays_loaded_without_the_probe()) << "the releaser has taken the library over";
  handle.release_plugin();
  EXPECT_FALSE(handle);
  EXPECT_TRUE(is_loaded(path)) << "only the releaser's end unloads";
  handle.reset();
  EXPECT_FALSE(is_loaded(path));
}

TEST_F(LoadExportedPlugin, FailsWithTheSystemsNumberForAMissingLibrary) {
  const support::TemporaryFolder folder;
  const std::wstring missing = folder.module_name(L"missing").wstring();
  std::uint32_t expected = 0;
  ASSERT_EQ(platform::load_library_with_altered_search_path(missing.c_str(), expected), nullptr);
  EXPECT_FALSE(
      load_exported_plugin<IServConfig>(missing.c_str(), L"productinfo", IID_IServConfig, status));
  EXPECT_EQ(status, expected);
  EXPECT_NE(status, 0u);
}

TEST_F(LoadExportedPlugin, FailsWithTheSystemsNumberForAMissingLibraryWithoutAPath) {
  const std::wstring missing = platform::library_file_name(L"no-such-library-anywhere");
  std::uint32_t expected = 0;
  ASSERT_EQ(platform::load_library(missing.c_str(), expected), nullptr);
  EXPECT_FALSE(
      load_exported_plugin<IServConfig>(missing.c_str(), L"productinfo", IID_IServConfig, status));
  EXPECT_EQ(status, expected);
  EXPECT_NE(status, 0u);
}

TEST_F(LoadExportedPlugin, UnloadsALibraryThatLacksAnExport) {
  for (const wchar_t* const name :
       {L"plugin_probe_without_create", L"plugin_probe_without_destroy"}) {
    const std::filesystem::path lacking = support::loadable(name);
    status = 0;
    EXPECT_FALSE(load_exported_plugin<IServConfig>(lacking.wstring().c_str(), L"productinfo",
                                                   IID_IServConfig, status));
    EXPECT_EQ(status, 127u) << "the number for a procedure that is not found";
    EXPECT_FALSE(is_loaded(lacking));
  }
}

TEST_F(LoadExportedPlugin, CreatesNothingInALibraryThatLacksZvDestroyObject) {
  support::PluginProbe lacking(support::loadable(L"plugin_probe_without_destroy"));
  EXPECT_FALSE(load_exported_plugin<IServConfig>(
      support::loadable(L"plugin_probe_without_destroy").wstring().c_str(), L"productinfo",
      IID_IServConfig, status));
  EXPECT_EQ(lacking.steps(), Steps{});
}

TEST_F(LoadExportedPlugin, UnloadsAfterAFailedCreation) {
  probe->fail(L"create", 1168);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 1168u);
  EXPECT_EQ(probe->steps(), (Steps{L"create productinfo IServPlugin"}));
  EXPECT_FALSE(stays_loaded_without_the_probe());
}

TEST_F(LoadExportedPlugin, DestroysWithoutUnInitAfterAFailedInit) {
  probe->fail(L"Init", 31);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 31u);
  EXPECT_EQ(probe->steps(), (Steps{L"create productinfo IServPlugin", L"Init without a host",
                                   L"QueryInterface IZvBaseInterface", L"destroy productinfo"}));
  EXPECT_FALSE(stays_loaded_without_the_probe());
}

TEST_F(LoadExportedPlugin, UninitialisesWithoutStopAfterAFailedStart) {
  probe->fail(L"Start", 1627);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 1627u);
  EXPECT_EQ(probe->steps(),
            (Steps{L"create productinfo IServPlugin", L"Init without a host", L"Start", L"UnInit",
                   L"QueryInterface IZvBaseInterface", L"destroy productinfo"}));
  EXPECT_FALSE(stays_loaded_without_the_probe());
}

TEST_F(LoadExportedPlugin, StopsAndUninitialisesAPluginThatLacksTheInterface) {
  probe->fail(L"QueryInterface", 1);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 31u);
  EXPECT_EQ(probe->steps(), (Steps{L"create productinfo IServPlugin", L"Init without a host",
                                   L"Start", L"QueryInterface IServConfig", L"Stop", L"UnInit",
                                   L"QueryInterface IZvBaseInterface", L"destroy productinfo"}));
  EXPECT_FALSE(stays_loaded_without_the_probe());
}

TEST_F(LoadExportedPlugin, KeepsTheFirstFailuresNumberWhenUnInitFailsToo) {
  probe->fail(L"Start", 1627);
  probe->fail(L"UnInit", 5);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 1627u);
  EXPECT_EQ(probe->steps().back(), L"destroy productinfo");
}

}  // namespace
