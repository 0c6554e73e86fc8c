#include <gtest/gtest.h>

#include <string>

#include "_base/win_error.h"
#include "cloud/services_settings.h"
#include "platform/library.h"
#include "support/ModuleFolder.h"

namespace {

using Table = decltype(cloud::services_settings::services);

class ServicesSettings : public testing::Test {
 protected:
  void expect_error(std::uint32_t code, const std::wstring& message) {
    const auto read = cloud::read_services_settings();
    ASSERT_TRUE(read.has_error());
    EXPECT_EQ(read.error().code, winapi::make_error_code(code));
    EXPECT_EQ(read.error().message, message);
  }

  support::ModuleFolder folder;
};

TEST_F(ServicesSettings, AreReadBesideTheModule) {
  folder.write_services_settings(
      R"({"categories": {"connect": "c.example", "technology": "t.example"},
          "services": {"svc": "s.example", "": "nameless"}})");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().categories,
            (Table{{"connect", "c.example"}, {"technology", "t.example"}}));
  EXPECT_EQ(read.value().services, (Table{{"", "nameless"}, {"svc", "s.example"}}));
}

TEST_F(ServicesSettings, AreReadFromAFolderWithAnyName) {
  const std::wstring separator(1, platform::path_separator);
  folder.seam().set_own_module_name(folder.path().wstring() + separator + L"d\u00f6ssier \u4e2d" +
                                    separator + L"cloudsplicer");
  folder.write(
      std::filesystem::path(u8"d\u00f6ssier \u4e2d") / "settings" / "cloud_services_settings.json",
      R"({"categories": {}, "services": {"svc": "s.example"}})");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().services, (Table{{"svc", "s.example"}}));
}

TEST_F(ServicesSettings, OfAnAbsentFileAreAnOpenError) {
  expect_error(1011, L"open config file failed");
}

TEST_F(ServicesSettings, WithoutAModuleNameGiveTheSystemsNumber) {
  folder.seam().set_own_module_name(L"", 5);

  expect_error(5, L"dll::get_foldername");
}

TEST_F(ServicesSettings, WithoutAModuleFolderGiveAGeneralFailure) {
  folder.seam().set_own_module_name(L"cloudsplicer");

  expect_error(31, L"dll::get_foldername");
}

TEST_F(ServicesSettings, WithTwoEmptyObjectsAreTwoEmptyTables) {
  folder.write_services_settings(R"({"categories": {}, "services": {}})");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_TRUE(read.value().categories.empty());
  EXPECT_TRUE(read.value().services.empty());
}

TEST_F(ServicesSettings, IgnoreMembersTheyDoNotKnow) {
  folder.write_services_settings(
      R"({"version": 7, "categories": {"a": "b"}, "more": {"categories": 1}, "services": {}})");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().categories, (Table{{"a", "b"}}));
}

TEST_F(ServicesSettings, IgnoreAnUnknownMemberHoweverDeep) {
  const std::string deep = std::string(5000, '[') + std::string(5000, ']');
  folder.write_services_settings(R"({"deep": )" + deep + R"(, "categories": {}, "services": {}})");

  EXPECT_TRUE(cloud::read_services_settings().has_value());
}

TEST_F(ServicesSettings, KeepEmptyServers) {
  folder.write_services_settings(R"({"categories": {"connect": ""}, "services": {"svc": ""}})");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().categories, (Table{{"connect", ""}}));
  EXPECT_EQ(read.value().services, (Table{{"svc", ""}}));
}

TEST_F(ServicesSettings, OfSeveralThousandServicesAreAllThere) {
  std::string services;
  for (int i = 0; i < 5000; ++i) {
    services += (i == 0 ? "" : ", ") + ("\"" + std::to_string(i) + "\": \"server\"");
  }
  folder.write_services_settings(R"({"categories": {}, "services": {)" + services + "}}");

  const auto read = cloud::read_services_settings();

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read.value().services.size(), 5000U);
}

struct InvalidFile {
  const char* name;
  std::string content;
};

class InvalidServicesSettings : public ServicesSettings,
                                public testing::WithParamInterface<InvalidFile> {};

TEST_P(InvalidServicesSettings, AreRefusedAsAWhole) {
  folder.write_services_settings(GetParam().content);

  expect_error(1006, L"invalid config file");
}

INSTANTIATE_TEST_SUITE_P(
    , InvalidServicesSettings,
    testing::Values(
        InvalidFile{"Empty", ""}, InvalidFile{"Blank", " \n"},
        InvalidFile{"CutShort", R"({"categories": {}, "services": {"a": "b)"},
        InvalidFile{"WithATail", R"({"categories": {}, "services": {}} x)"},
        InvalidFile{"NotJson", "categories = none"},
        InvalidFile{"NotUtf8",
                    "{\"categories\": "
                    "{\"connect\": \"\xff\"}, "
                    "\"services\": {}}"},
        InvalidFile{"ZeroBytes", std::string(64, '\0')}, InvalidFile{"AnArray", "[]"},
        InvalidFile{"ANumber", "7"}, InvalidFile{"Null", "null"},
        InvalidFile{"AnEmptyObject", "{}"},
        InvalidFile{"WithoutServices", R"({"categories": {"connect": "c"}})"},
        InvalidFile{"WithoutCategories", R"({"services": {"svc": "s"}})"},
        InvalidFile{"OtherCaseOfKeys", R"({"Categories": {}, "Services": {}})"},
        InvalidFile{"CategoriesAnArray", R"({"categories": [], "services": {}})"},
        InvalidFile{"CategoriesNull", R"({"categories": null, "services": {}})"},
        InvalidFile{"CategoriesText", R"({"categories": "connect", "services": {}})"},
        InvalidFile{"ServicesAnArray", R"({"categories": {}, "services": []})"},
        InvalidFile{"ServicesOfPairs", R"({"categories": {}, "services": [["a", "b"]]})"},
        InvalidFile{"ServicesNull", R"({"categories": {}, "services": null})"},
        InvalidFile{"ServicesANumber", R"({"categories": {}, "services": 1})"},
        InvalidFile{"ANumberForAServer", R"({"categories": {}, "services": {"svc": 1}})"},
        InvalidFile{"ANullForAServer", R"({"categories": {"connect": null}, "services": {}})"},
        InvalidFile{"AnObjectForAServer", R"({"categories": {"connect": {}}, "services": {}})"},
        InvalidFile{"ABooleanForAServer",
                    R"({"categories": {}, "services": {"a": "b", "c": true}})"}),
    [](const auto& file) { return file.param.name; });

}  // namespace
