// The rights are looked at once in a process: each answer has a program of its own.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "frame/host_paths.h"
#include "support/ProductInfoFolder.h"

namespace {

class SettingsPathOfAUser : public testing::Test {
 protected:
  SettingsPathOfAUser() { product.seam.set_elevated(false); }

  support::ProductInfoFolder product;
};

TEST_F(SettingsPathOfAUser, LiesInTheProfilesFolder) {
  const support::TemporaryFolder profiles;
  product.probe->set_string(408, profiles.path().wstring().c_str());
  const auto path = get_settings_path(L"user", L"admin");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(std::filesystem::path(path.value()), profiles / "user");
}

TEST_F(SettingsPathOfAUser, PassesTheFailureOfTheProfilesOn) {
  product.probe->set_string(408, L"<missing>");
  const auto path = get_settings_path(L"user", L"admin");
  ASSERT_TRUE(path.has_error());
  EXPECT_EQ(path.error().code.value(), 1168);
  EXPECT_EQ(path.error().message, L"GetString PATH_COMMON_PRODUCT_DESKTOP_PROFILES");
}

TEST_F(SettingsPathOfAUser, StaysWhateverBecomesOfTheRights) {
  EXPECT_FALSE(is_user_admin());
  product.seam.set_elevated(true);
  EXPECT_FALSE(is_user_admin());
}

}  // namespace
