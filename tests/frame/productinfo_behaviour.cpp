#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "frame/host_paths.h"
#include "platform/library.h"
#include "support/ProductInfoFolder.h"

namespace {

using support::ProductInfoFolder;

class ProductInfo : public testing::Test {
 protected:
  /// True if nobody but the probe holds the library.
  bool was_unloaded() {
    product.probe.reset();
    const std::wstring path = product.folder.module_name(L"iservconfig").wstring();
    return platform::find_loaded(path.c_str()) == nullptr;
  }

  ProductInfoFolder product;
};

using ProfilePath = ProductInfo;
using ProductAppId = ProductInfo;

TEST_F(ProfilePath, JoinsARelativePathToTheProfilesFolder) {
  const support::TemporaryFolder profiles;
  product.probe->set_string(408, profiles.path().wstring().c_str());
  const auto path = get_profile_path(L"guardian.json");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), profiles / "guardian.json");
  EXPECT_EQ(product.probe->steps(), ProductInfoFolder::road(L"IServConfig", L"408 Desktop"));
  EXPECT_TRUE(was_unloaded());
}

TEST_F(ProfilePath, CopiesTheTextBeforeThePluginGoes) {
  // The plug-in overwrites its texts when it is destroyed.
  product.probe->set_string(408, std::wstring(300, L'p').c_str());
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()),
            std::filesystem::path(std::wstring(300, L'p')) / "x");
}

TEST_F(ProfilePath, FailsForANullValue) {
  product.probe->set_string(408, nullptr);
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 1168);
  EXPECT_STREQ(path.error().code.category().name(), "win_error");
  EXPECT_EQ(path.error().message, L"GetString PATH_COMMON_PRODUCT_DESKTOP_PROFILES");
  EXPECT_EQ(product.probe->steps().back(), L"destroy productinfo");
  EXPECT_TRUE(was_unloaded());
}

TEST_F(ProfilePath, FailsForATextThatTellsOfAMissingValue) {
  product.probe->set_string(408, L"<missing 408>");
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 1168);
  EXPECT_EQ(path.error().message, L"GetString PATH_COMMON_PRODUCT_DESKTOP_PROFILES");
  EXPECT_EQ(product.probe->steps().back(), L"destroy productinfo");
}

TEST_F(ProfilePath, TakesATextWithTheSignFurtherIn) {
  product.probe->set_string(408, L"a<b");
  EXPECT_TRUE(get_profile_path(L"x").has_value());
}

TEST_F(ProfilePath, TellsTheStatusOfTheConfigurationPlugin) {
  product.probe->fail(L"Init", 87);
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 87);
  EXPECT_STREQ(path.error().code.category().name(), "win_error");
  EXPECT_EQ(path.error().message, L"get_any_plugin<IServConfig>");
}

TEST_F(ProfilePath, TellsOfAPluginWithoutTheInterface) {
  product.probe->fail(L"QueryInterface", 1);
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 31);
  EXPECT_EQ(path.error().message, L"get_any_plugin<IServConfig>");
}

TEST_F(ProfilePath, PassesTheFailureOfTheModulesPathOn) {
  product.seam.set_own_module_name(L"", 5);
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 5);
  EXPECT_EQ(path.error().message, L"dll::get_foldername");
}

TEST_F(ProfilePath, LooksForTheLibraryBesideTheModuleOnly) {
  const support::TemporaryFolder elsewhere;
  product.seam.set_own_module_name(elsewhere.module_name(L"cloudsplicer").wstring());
  const auto path = get_profile_path(L"x");
  ASSERT_TRUE(path.has_error());
  EXPECT_NE(path.error().code.value(), 0);
  EXPECT_EQ(path.error().message, L"get_any_plugin<IServConfig>");
  EXPECT_TRUE(product.probe->steps().empty());
}

TEST_F(ProductAppId, IsTheConfiguredValueInUtf8) {
  product.probe->set_string(44, L"D\u00E9sktop \u20AC");
  EXPECT_EQ(get_product_app_id(), "D\xC3\xA9sktop \xE2\x82\xAC");
  EXPECT_EQ(product.probe->steps(), ProductInfoFolder::road(L"ProductInfo", L"44 Desktop"));
  EXPECT_TRUE(was_unloaded());
}

TEST_F(ProductAppId, IsDesktopByDefault) {
  EXPECT_EQ(get_product_app_id(), "Desktop");
}

TEST_F(ProductAppId, IsEmptyForANullOrEmptyValue) {
  for (const wchar_t* const text : {static_cast<const wchar_t*>(nullptr), L""}) {
    product.probe->set_string(44, text);
    EXPECT_EQ(get_product_app_id(), "");
    EXPECT_EQ(product.probe->steps().back(), L"destroy productinfo");
  }
  EXPECT_TRUE(was_unloaded());
}

TEST_F(ProductAppId, IsTheTextOfAMissingValueAsItStands) {
  product.probe->set_string(44, L"<missing 44>");
  EXPECT_EQ(get_product_app_id(), "<missing 44>");
}

TEST_F(ProductAppId, IsEmptyWithoutTheConfigurationPlugin) {
  product.probe->fail(L"Start", 5);
  EXPECT_EQ(get_product_app_id(), "");
  EXPECT_EQ(product.probe->steps().back(), L"destroy productinfo");
}

TEST_F(ProductAppId, IsEmptyWithoutAModuleFolder) {
  product.seam.set_own_module_name(L"", 5);
  EXPECT_EQ(get_product_app_id(), "");
  EXPECT_TRUE(product.probe->steps().empty());
}

}  // namespace
