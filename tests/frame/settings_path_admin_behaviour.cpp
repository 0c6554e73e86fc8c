// The rights are looked at once in a process: each answer has a program of its own.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "frame/host_paths.h"
#include "support/ProductInfoFolder.h"

namespace {

class SettingsPathOfAnAdministrator : public testing::Test {
 protected:
  SettingsPathOfAnAdministrator() { product.seam.set_elevated(true); }

  support::ProductInfoFolder product;
};

TEST_F(SettingsPathOfAnAdministrator, LiesBesideTheModule) {
  const auto path = get_settings_path(L"user", L"admin");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), product.folder / "admin");
  EXPECT_TRUE(product.probe->steps().empty()) << "the profiles are not asked for";
}

TEST_F(SettingsPathOfAnAdministrator, PassesTheFailureOfTheModulesPathOn) {
  product.seam.set_own_module_name(L"", 5);
  const auto path = get_settings_path(L"user", L"admin");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 5);
  EXPECT_EQ(path.error().message, L"dll::get_foldername");
}

TEST_F(SettingsPathOfAnAdministrator, StaysWhateverBecomesOfTheRights) {
  EXPECT_TRUE(is_user_admin());
  product.seam.set_elevated(false);
  EXPECT_TRUE(is_user_admin());
  const auto path = get_settings_path(L"user", L"admin");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), product.folder / "admin");
}

}  // namespace
