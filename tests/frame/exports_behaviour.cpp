// The module itself, as a host loads it.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

#include "cloud/ICloudRequests.h"
#include "frame/exported_plugin_releaser.h"
#include "frame/exports.h"
#include "frame/load_exported_plugin.h"
#include "platform/library.h"
#include "support/LogRecorder.h"
#include "support/loadable.h"

namespace {

using zv::framework::details::ZvCreateObject_t;
using zv::framework::details::ZvDestroyObject_t;

constexpr wchar_t known[] = L"cloud_requests";

class Exports : public testing::Test {
 protected:
  Exports() {
    std::uint32_t error = 0;
    module = platform::load_library(support::built_module().wstring().c_str(), error);
    if (module == nullptr) throw std::runtime_error("no module, error " + std::to_string(error));
    create =
        reinterpret_cast<ZvCreateObject_t>(platform::find_symbol(module, "ZvCreateObject", error));
    destroy = reinterpret_cast<ZvDestroyObject_t>(
        platform::find_symbol(module, "ZvDestroyObject", error));
    if (create == nullptr || destroy == nullptr) throw std::runtime_error("no exports");
  }
  ~Exports() override { platform::unload_library(module); }

  /// How many objects were built and destroyed: each plug-in object keeps logging on for life.
  std::ptrdiff_t built() const { return calls_of("LogInit"); }
  std::ptrdiff_t destroyed() const { return calls_of("LogDeinit"); }
  std::ptrdiff_t calls_of(const char* name) const {
    const auto names = recorder.call_names();
    return std::count(names.begin(), names.end(), name);
  }

  const support::LogRecorder recorder{support::loadable(L"log")};
  platform::module_handle module = nullptr;
  ZvCreateObject_t create = nullptr;
  ZvDestroyObject_t destroy = nullptr;
  void* out = nullptr;
  char something = 0;
};

TEST_F(Exports, AnUnknownNameIsNotFound) {
  out = &something;
  EXPECT_EQ(create(L"no_such_plugin", IID_IServPlugin, &out), 1168u);
  EXPECT_EQ(out, nullptr);
}

TEST_F(Exports, AnIdThatOnlyThePluginKnowsIsRefused) {
  EXPECT_EQ(create(known, cloud::IID_ICloudRequests, &out), 13u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(built(), 0);
}

TEST_F(Exports, ANullOutIsRefused) {
  EXPECT_EQ(create(known, IID_IServPlugin, nullptr), 13u);
  EXPECT_EQ(built(), 0);
}

TEST_F(Exports, ANullNameIsRefusedAndOutCleared) {
  out = &something;
  EXPECT_EQ(create(nullptr, IID_IServPlugin, &out), 13u);
  EXPECT_EQ(out, nullptr);
}

TEST_F(Exports, TwoCreationsShareOneObjectUntilTheSecondDestruction) {
  void* again = nullptr;
  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  ASSERT_EQ(create(known, IID_IServPlugin, &again), 0u);
  EXPECT_EQ(out, again);
  EXPECT_EQ(built(), 1);
  destroy(known, out);
  EXPECT_EQ(destroyed(), 0);
  destroy(known, out);
  EXPECT_EQ(destroyed(), 1);

  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  EXPECT_EQ(built(), 2) << "a third creation builds a new one";
  destroy(known, out);
  EXPECT_EQ(destroyed(), 2);
}

TEST_F(Exports, DestructionOfANullObjectChangesNoCount) {
  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  destroy(known, nullptr);
  EXPECT_EQ(destroyed(), 0);
  destroy(known, out);
  EXPECT_EQ(destroyed(), 1);
}

TEST_F(Exports, DestructionOfAnUnknownNameDoesNothing) {
  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  destroy(L"no_such_plugin", out);
  EXPECT_EQ(destroyed(), 0);
  destroy(known, out);
}

TEST_F(Exports, AHostReachesFurtherInterfacesThroughTheObject) {
  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  IServPlugin* const plugin = static_cast<IServPlugin*>(out);
  EXPECT_NE(plugin->QueryInterface(cloud::IID_ICloudRequests), nullptr);
  void* const base = plugin->QueryInterface(IID_IZvBaseInterface);
  ASSERT_NE(base, nullptr);
  destroy(known, base);
  EXPECT_EQ(destroyed(), 1);
}

TEST_F(Exports, TheRootFacetMayBeAskedForDirectly) {
  ASSERT_EQ(create(known, IID_IZvBaseInterface, &out), 0u);
  EXPECT_NE(static_cast<IZvBaseInterface*>(out)->QueryInterface(IID_IServPlugin), nullptr);
  destroy(known, out);
}

TEST_F(Exports, TheLastPluginObjectUnloadsTheLoggingLibrary) {
  ASSERT_EQ(create(known, IID_IServPlugin, &out), 0u);
  destroy(known, out);
  EXPECT_EQ(recorder.call_names().back(), "LogRemoveModule");
}

}  // namespace
