#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/exported_plugin_releaser.h"
#include "frame/get_plugin.h"
#include "frame/load_exported_plugin.h"
#include "frame/mgr_plugin_releaser.h"
#include "frame/plugin_handle.h"
#include "support/FakeHost.h"
#include "support/PluginProbe.h"
#include "support/loadable.h"

namespace {

using Calls = std::vector<std::wstring>;
using zv::framework::get_any_plugin;
using zv::framework::get_plugin;
using zv::framework::details::exported_plugin_releaser;
using zv::framework::details::iplugin_releaser;
using zv::framework::details::mgr_plugin_releaser;

constexpr IID wanted_id = {0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

class RecordingReleaser final : public iplugin_releaser {
 public:
  explicit RecordingReleaser(Calls& calls) : calls_(calls) {}
  ~RecordingReleaser() override { calls_.push_back(L"deleted"); }
  void release() override { calls_.push_back(L"released"); }

 private:
  Calls& calls_;
};

int plugin_object = 0;

TEST(PluginHandle, ReleasesThePluginBeforeItDeletesTheReleaser) {
  Calls calls;
  {
    const plugin_handle<int> handle(std::make_unique<RecordingReleaser>(calls), &plugin_object);
    EXPECT_EQ(handle.get(), &plugin_object);
    EXPECT_EQ(calls, Calls{});
  }
  EXPECT_EQ(calls, (Calls{L"released", L"deleted"}));
}

TEST(PluginHandle, ReleasesNothingWithoutAPlugin) {
  Calls calls;
  { const plugin_handle<int> handle(std::make_unique<RecordingReleaser>(calls), nullptr); }
  EXPECT_EQ(calls, (Calls{L"deleted"}));
}

TEST(PluginHandle, IsEmptyAtFirst) {
  const plugin_handle<int> handle;
  EXPECT_FALSE(handle);
  EXPECT_EQ(handle.get(), nullptr);
}

TEST(PluginHandle, ReleasesOnceHoweverOftenItMoves) {
  Calls calls;
  {
    plugin_handle<int> first(std::make_unique<RecordingReleaser>(calls), &plugin_object);
    plugin_handle<int> second(std::move(first));
    plugin_handle<int> third;
    third = std::move(second);
    EXPECT_EQ(third.get(), &plugin_object);
  }
  EXPECT_EQ(calls, (Calls{L"released", L"deleted"}));
}

TEST(PluginHandle, ReleasesWhatItHeldWhenAssignedAnew) {
  Calls old_calls;
  Calls new_calls;
  plugin_handle<int> handle(std::make_unique<RecordingReleaser>(old_calls), &plugin_object);
  handle = plugin_handle<int>(std::make_unique<RecordingReleaser>(new_calls), &plugin_object);
  EXPECT_EQ(old_calls, (Calls{L"released", L"deleted"}));
  EXPECT_EQ(new_calls, Calls{});
}

TEST(MgrPluginReleaser, GivesThePluginBackToItsHostByName) {
  support::FakeHost host;
  mgr_plugin_releaser releaser(&host, L"cloud_requests");
  releaser.release();
  EXPECT_EQ(host.calls(), (Calls{L"release_plugin cloud_requests"}));
}

TEST(MgrPluginReleaser, DoesNothingWithoutAManager) {
  mgr_plugin_releaser releaser(nullptr, L"cloud_requests");
  releaser.release();
}

TEST(GetPlugin, AsksTheHostAndGivesThePluginBackAtTheEnd) {
  support::FakeHost host;
  host.add_plugin(L"connect_integrator", &plugin_object);
  std::uint32_t status = 4711;
  {
    const auto handle = get_plugin<int>(&host, L"connect_integrator", wanted_id, status);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(handle.get(), &plugin_object);
    EXPECT_EQ(host.last_id(), wanted_id);
    EXPECT_EQ(host.calls(), (Calls{L"get_plugin connect_integrator"}));
  }
  EXPECT_EQ(host.calls(),
            (Calls{L"get_plugin connect_integrator", L"release_plugin connect_integrator"}));
}

TEST(GetPlugin, IsEmptyOnAnyOtherStatusEvenIfTheHostWroteAPointer) {
  support::FakeHost host;
  host.fail_plugin(L"connect_integrator", 1234, &plugin_object);
  std::uint32_t status = 0;
  {
    const auto handle = get_plugin<int>(&host, L"connect_integrator", wanted_id, status);
    EXPECT_FALSE(handle);
    EXPECT_EQ(status, 1234u);
  }
  EXPECT_EQ(host.calls(), (Calls{L"get_plugin connect_integrator"})) << "nothing to give back";
}

TEST(GetAnyPlugin, PrefersTheHost) {
  support::PluginProbe probe(support::loadable(L"plugin_probe"));
  support::FakeHost host;
  host.add_plugin(L"productinfo", &plugin_object);
  std::uint32_t status = 4711;
  const std::wstring path = support::loadable(L"plugin_probe").wstring();
  const auto handle = get_any_plugin<int>(&host, path.c_str(), L"productinfo", wanted_id, status);
  EXPECT_EQ(handle.get(), &plugin_object);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(probe.steps(), Calls{});
}

TEST(GetAnyPlugin, DoesNotFallBackOnTheLibraryWhenTheHostFails) {
  support::PluginProbe probe(support::loadable(L"plugin_probe"));
  support::FakeHost host;
  std::uint32_t status = 0;
  const std::wstring path = support::loadable(L"plugin_probe").wstring();
  EXPECT_FALSE(get_any_plugin<int>(&host, path.c_str(), L"productinfo", wanted_id, status));
  EXPECT_EQ(status, 1168u);
  EXPECT_EQ(probe.steps(), Calls{});
}

TEST(GetAnyPlugin, LoadsTheLibraryWithoutAHost) {
  support::PluginProbe probe(support::loadable(L"plugin_probe"));
  std::uint32_t status = 4711;
  const std::wstring path = support::loadable(L"plugin_probe").wstring();
  const auto handle =
      get_any_plugin<IServPlugin>(nullptr, path.c_str(), L"productinfo", wanted_id, status);
  EXPECT_TRUE(handle);
  EXPECT_EQ(status, 0u);
  ASSERT_FALSE(probe.steps().empty());
  EXPECT_EQ(probe.steps().front(), L"create productinfo IServPlugin");
}

}  // namespace
