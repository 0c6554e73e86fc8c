#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "frame/servplugin.h"
#include "support/FakeHost.h"

namespace {

using Calls = std::vector<std::wstring>;

template <bool PublishesInterface>
class Plugin final : public zv::framework::servplugin<PublishesInterface> {
 public:
  using base = zv::framework::servplugin<PublishesInterface>;
  using base::execution_service;
  using base::plugin_manager;
  using base::serv_main;

  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }

  bool holds(const support::FakeHost& host, IServPluginManager* manager,
             IExecutionService* service) const {
    return serv_main == &host && plugin_manager == manager && execution_service == service;
  }
  bool holds_nothing() const {
    return serv_main == nullptr && plugin_manager == nullptr && execution_service == nullptr;
  }
};

template <class Argument>
class ServPlugin : public testing::Test {
 protected:
  support::FakeHost host;
  char somewhere_ = 0;
  IExecutionService* service = reinterpret_cast<IExecutionService*>(&somewhere_);
  Plugin<Argument::value> plugin;

  ServPlugin() { host.set_execution_service(service); }
};

using Arguments = testing::Types<std::true_type, std::false_type>;
TYPED_TEST_SUITE(ServPlugin, Arguments);

TYPED_TEST(ServPlugin, AnswersTheTwoCommonIdsWithItselfAndNoOther) {
  void* const self = static_cast<IServPlugin*>(&this->plugin);
  EXPECT_EQ(this->plugin.QueryInterface(IID_IServPlugin), self);
  EXPECT_EQ(this->plugin.QueryInterface(IID_IZvBaseInterface), self);
  IID nearly = IID_IServPlugin;
  ++nearly.data4[7];
  EXPECT_EQ(this->plugin.QueryInterface(nearly), nullptr);
}

TYPED_TEST(ServPlugin, InitWithoutAHostSucceedsAndLeavesTheHostNull) {
  EXPECT_EQ(this->plugin.Init(nullptr), 0u);
  EXPECT_TRUE(this->plugin.holds_nothing());
}

TYPED_TEST(ServPlugin, InitWithoutAHostLeavesAnEarlierHostInPlace) {
  ASSERT_EQ(this->plugin.Init(&this->host), 0u);
  EXPECT_EQ(this->plugin.Init(nullptr), 0u);
  EXPECT_TRUE(this->plugin.holds(this->host, &this->host, this->service));
}

TYPED_TEST(ServPlugin, InitKeepsTheHostAndItsServicesAskingForExecutionFirst) {
  EXPECT_EQ(this->plugin.Init(&this->host), 0u);
  EXPECT_TRUE(this->plugin.holds(this->host, &this->host, this->service));
  EXPECT_EQ(this->host.calls(), (Calls{L"get_execution_service", L"get_plugin_manager"}));
}

TYPED_TEST(ServPlugin, KeepsItsThreeFieldsInOrderBehindTheTable) {
  ASSERT_EQ(this->plugin.Init(&this->host), 0u);
  void* fields[4];
  static_assert(sizeof this->plugin == sizeof fields);
  std::memcpy(fields, static_cast<const void*>(&this->plugin), sizeof fields);
  EXPECT_EQ(fields[1], static_cast<IServMain*>(&this->host));
  EXPECT_EQ(fields[2], static_cast<IServPluginManager*>(&this->host));
  EXPECT_EQ(fields[3], this->service);
}

TYPED_TEST(ServPlugin, InitWithoutAnExecutionServiceNeverAsksForThePluginManager) {
  this->host.set_execution_service(nullptr);
  EXPECT_EQ(this->plugin.Init(&this->host), 87u);
  EXPECT_TRUE(this->plugin.holds_nothing());
  EXPECT_EQ(this->host.calls(), (Calls{L"get_execution_service"}));
}

TYPED_TEST(ServPlugin, InitWithoutAPluginManagerKeepsNothing) {
  this->host.set_plugin_manager(nullptr);
  EXPECT_EQ(this->plugin.Init(&this->host), 87u);
  EXPECT_TRUE(this->plugin.holds_nothing());
}

TYPED_TEST(ServPlugin, FailedInitDropsWhatAnEarlierOneKept) {
  ASSERT_EQ(this->plugin.Init(&this->host), 0u);
  this->host.set_plugin_manager(nullptr);
  EXPECT_EQ(this->plugin.Init(&this->host), 87u);
  EXPECT_TRUE(this->plugin.holds_nothing());
}

TYPED_TEST(ServPlugin, UnInitForgetsTheHost) {
  ASSERT_EQ(this->plugin.Init(&this->host), 0u);
  EXPECT_EQ(this->plugin.UnInit(), 0u);
  EXPECT_TRUE(this->plugin.holds_nothing());
  EXPECT_EQ(this->plugin.UnInit(), 0u);
}

TYPED_TEST(ServPlugin, StartAndStopDoNothing) {
  ASSERT_EQ(this->plugin.Init(&this->host), 0u);
  this->host.clear();
  EXPECT_EQ(this->plugin.Start(), 0u);
  this->plugin.Stop();
  EXPECT_TRUE(this->plugin.holds(this->host, &this->host, this->service));
  EXPECT_EQ(this->host.calls(), Calls{});
}

}  // namespace
