// The module in a folder whose path is long and has letters beyond ASCII: it finds what lies beside
// it there.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "frame/IServPlugin.h"
#include "frame/exported_plugin_releaser.h"
#include "platform/file.h"
#include "platform/library.h"
#include "support/FakeCloudClient.h"
#include "support/TemporaryFolder.h"
#include "support/loadable.h"
#include "support/long_folder.h"

namespace {

using zv::framework::details::ZvCreateObject_t;
using zv::framework::details::ZvDestroyObject_t;

class FarAwayModule : public testing::Test {
 protected:
  FarAwayModule() : folder(support::make_long_folder(base.path())) {
    put(support::built_module(), L"cloudsplicer");
    put(support::loadable(L"log"), L"log");
    std::filesystem::create_directory(support::reachable(folder) / "settings");
    std::ofstream(support::reachable(folder) / "settings" / "cloud_services_settings.json")
        << R"({"categories": {"connect": "far.example"}, "services": {}})";
    client.load_library();
  }

  std::wstring file(const wchar_t* stem) const {
    return folder + platform::path_separator + platform::library_file_name(stem);
  }
  void put(const std::filesystem::path& library, const wchar_t* stem) const {
    std::filesystem::copy_file(library, support::reachable(folder) /
                                            platform::file_path(platform::library_file_name(stem)));
  }

  const support::TemporaryFolder base;
  const std::wstring folder;
  support::FakeCloudClient client;
};

TEST_F(FarAwayModule, ReadsItsSettingsAndLogsByTheLibraryBesideIt) {
  ASSERT_GT(folder.size(), 300u);
  std::uint32_t error = 0;
  platform::module_handle const module =
      platform::load_library(file(L"cloudsplicer").c_str(), error);
  ASSERT_NE(nullptr, module) << "error " << error;
  const auto create =
      reinterpret_cast<ZvCreateObject_t>(platform::find_symbol(module, "ZvCreateObject", error));
  const auto destroy =
      reinterpret_cast<ZvDestroyObject_t>(platform::find_symbol(module, "ZvDestroyObject", error));

  void* object = nullptr;
  ASSERT_EQ(0u, create(L"cloud_requests", IID_IServPlugin, &object));
  auto* const plugin = static_cast<IServPlugin*>(object);
  EXPECT_NE(nullptr, platform::find_loaded(platform::library_file_name(L"log").c_str()));
  EXPECT_EQ(0u, plugin->Init(nullptr));
  const auto calls = client.calls();
  EXPECT_EQ(1, std::count_if(calls.begin(), calls.end(), [](const std::string& call) {
              return call.find("28 'far.example'") != std::string::npos;
            }));

  EXPECT_EQ(0u, plugin->UnInit());
  destroy(L"cloud_requests", object);
  EXPECT_EQ(nullptr, platform::find_loaded(platform::library_file_name(L"log").c_str()));
  platform::unload_library(module);
}

}  // namespace
