#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "_base/slots.h"
#include "support/ProxySupportTest.h"

namespace {

using support::app_client;
using support::core_client;

class ProxySupport : public support::ProxySupportTest {};
class ProxyClient : public support::ProxyClientTest {};

INSTANTIATE_TEST_SUITE_P(, ProxyClient, testing::Values(app_client, core_client), support::name_of);

TEST_F(ProxySupport, LoadsNothingInAProcessOfNeitherKind) {
  probe->set_proxy(L"proxy", 8080);
  EXPECT_EQ(init(), 0U);
  EXPECT_TRUE(probe->calls().empty());
  EXPECT_TRUE(proxies().empty()) << "the chain is as it was";
  EXPECT_TRUE(log.traced(loading));
  for (const support::LogLine& line : log.lines()) {
    EXPECT_TRUE(line.level == logging::trace || line.function != loading);
    EXPECT_NE(line.function, change);
  }
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_TRUE(probe->calls().empty());
}

TEST_F(ProxySupport, TakesTheAppClientBesideBothServices) {
  make_process_of(app_client);
  make_process_of(core_client);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(probe->calls().at(0), L"create proxy.msgbus.client.app IServPlugin");
  EXPECT_EQ(probe->count(L"create proxy.msgbus.client.core IServPlugin"), 0U);
}

TEST_F(ProxySupport, LooksBesideTheExecutableAndNotBesideTheModule) {
  folder.write(std::filesystem::path("services") / platform::library_file_name(L"zvappservice"),
               "");
  EXPECT_EQ(init(), 0U);
  EXPECT_TRUE(probe->calls().empty());
}

TEST_P(ProxyClient, IsLoadedFollowedAndAskedAtTheStart) {
  probe->set_proxy(L"proxy", 8080, L"user", L"secret");
  EXPECT_EQ(init(), 0U);

  EXPECT_EQ(probe->calls(), start_and_questions());
  EXPECT_EQ(proxies(), both("'proxy:8080' 'user' 'secret'"));
  EXPECT_TRUE(log.traced(loading));
  EXPECT_TRUE(log.traced(kind.road));
  EXPECT_TRUE(log.traced(change));
  EXPECT_LOGGED(log, 16, change, std::wstring(L"Using ") + kind.plugin + L" to obtain proxy data");
  EXPECT_LOGGED(log, 16, change, L"Using proxy: host = proxy, port = 8080");
  for (const support::LogLine& line : log.lines(4))
    EXPECT_EQ(line.function.find(L"roxy"), std::wstring::npos);
}

TEST_P(ProxyClient, IsAskedWhenTheChainStands) {
  std::size_t made_by_then = 0;
  probe->set_hook([&](const std::wstring& call) {
    if (call == L"initialize_communication " + std::wstring(kind.channel)) {
      made_by_then = client.count_starting("init");
    }
  });
  init();
  EXPECT_EQ(made_by_then, 2U) << "the shared instance and the technology one";
}

TEST_P(ProxyClient, IsGivenItsOwnFacetToReportTo) {
  init();
  plugin->UnInit();
  ProxyManager::IProxyMgrEvents* const app =
      static_cast<proxy_msgbus::client_observer_app*>(plugin.get());
  ProxyManager::IProxyMgrEvents* const core =
      static_cast<proxy_msgbus::client_observer_core*>(plugin.get());
  const std::vector<support::ProxyClientProbe::Observer> expected = {
      {std::string(kind.name) == "App" ? app : core, 0}};
  EXPECT_EQ(probe->added(), expected);
  EXPECT_EQ(probe->removed(), expected);
}

TEST_P(ProxyClient, ThatReportsAProxyReachesAllTargetsInOrder) {
  init_with_three_instances();
  probe->set_proxy(L"proxy", 3128, L"user", L"secret");
  EXPECT_TRUE(probe->report_change());

  EXPECT_EQ(probe->calls(), kind.questions);
  EXPECT_EQ(proxies(), all_three("'proxy:3128' 'user' 'secret'"));
  EXPECT_EQ(log.texts(),
            (WideCalls{std::wstring(L"Using ") + kind.plugin + L" to obtain proxy data",
                       L"Using proxy: host = proxy, port = 3128"}));
}

TEST_P(ProxyClient, ThatReportsNoProxyDisablesAllTargetsInOrder) {
  probe->set_proxy(L"proxy", 3128);
  init_with_three_instances();
  probe->turn_proxy_off();
  EXPECT_TRUE(probe->report_change());

  EXPECT_EQ(probe->calls(), WideCalls{L"get_enabled_state"});
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(log.texts(),
            (WideCalls{std::wstring(L"Using ") + kind.plugin + L" to obtain proxy data",
                       L"Proxy usage disabled"}))
      << "and no outcome of a disabling";
}

TEST_P(ProxyClient, IsSubjectToTheFirstSettingsOfAnInstanceBuiltLater) {
  probe->set_proxy(L"first", 1);
  EXPECT_EQ(init(), 0U);
  probe->set_proxy(L"second", 2);
  probe->report_change();
  connect("own");
  EXPECT_EQ(client.count("set_option #3 39 'first:1' '' ''"), 1U);
  forget();

  probe->report_change();
  EXPECT_EQ(proxies(), all_three("'second:2' '' ''")) << "those that run get the change at once";
}

TEST_P(ProxyClient, ReportsTextsOfAnyLanguageAndOfFullLength) {
  init_with_three_instances();
  const std::wstring longest(proxy_msgbus::proxy_info::text_size - 1, L'u');
  probe->set_proxy(L"\u043f\u0440\u043e\u043a\u0441\u0438", 1, longest, L"p\u00e4ss");
  probe->report_change();
  EXPECT_EQ(proxies(), all_three("'\u043f\u0440\u043e\u043a\u0441\u0438:1' '" +
                                 std::string(longest.size(), 'u') + "' 'p\u00e4ss'"));
}

TEST_P(ProxyClient, MayReportWhatTheChainRefuses) {
  init_with_three_instances();
  probe->set_proxy(L"", 8080);
  EXPECT_TRUE(probe->report_change());
  EXPECT_TRUE(proxies().empty());
  EXPECT_LOGGED(log, 16, change, L"Using proxy: host = , port = 8080");

  probe->set_proxy(L"proxy", 0xFFFFFFFF);
  EXPECT_TRUE(probe->report_change());
  EXPECT_TRUE(proxies().empty());
  EXPECT_LOGGED(log, 16, change, L"Using proxy: host = proxy, port = -1");
}

TEST_P(ProxyClient, ReachesTheOtherTargetsThoughOneRefuses) {
  init_with_three_instances();
  client.fail_option(12, 20032);
  probe->set_proxy(L"proxy", 1);
  probe->report_change();
  EXPECT_EQ(proxies(), all_three("'proxy:1' '' ''"));
  forget();
  probe->turn_proxy_off();
  probe->report_change();
  EXPECT_EQ(proxies(), all_three(off));
}

TEST_P(ProxyClient, EndsBeforeTheChain) {
  init_with_three_instances();
  std::size_t ended_by_then = 0;
  probe->set_hook([&](const std::wstring&) { ended_by_then += client.count_starting("uninit"); });

  EXPECT_EQ(plugin->UnInit(), 0U);

  EXPECT_EQ(probe->calls(), end());
  EXPECT_EQ(ended_by_then, 0U);
  EXPECT_EQ(client.count_starting("uninit"), 3U);
  EXPECT_TRUE(log.traced(L"cloud::requests::FreeProxySupport"));
  EXPECT_TRUE(log.traced(app_client.way_back));
  EXPECT_TRUE(log.traced(core_client.way_back));
  EXPECT_FALSE(probe->report_change());
}

TEST_P(ProxyClient, IsLoadedOnceForNestedStarts) {
  init();
  forget();
  init();
  EXPECT_TRUE(probe->calls().empty());
  plugin->UnInit();
  EXPECT_TRUE(probe->calls().empty());
  plugin->UnInit();
  EXPECT_EQ(probe->calls(), end());
  probe->forget_calls();
  plugin->UnInit();
  EXPECT_TRUE(probe->calls().empty()) << "a surplus end finds none";
}

TEST_P(ProxyClient, IsLoadedAnewAtALaterStart) {
  init();
  plugin->UnInit();
  forget();
  probe->set_proxy(L"proxy", 1);
  init();
  EXPECT_EQ(probe->calls(), start_and_questions());
}

TEST_P(ProxyClient, LeavesItsLibraryToTheNextLoadOrTheObjectsEnd) {
  init();
  plugin->UnInit();
  probe->release_library();
  EXPECT_TRUE(probe->library_is_loaded()) << "after the end";
  init();
  EXPECT_EQ(probe->count(start().at(0)), 2U);
  plugin->UnInit();
  EXPECT_TRUE(probe->library_is_loaded());
  plugin.reset();
  EXPECT_FALSE(probe->library_is_loaded());
}

TEST_P(ProxyClient, OfAnEarlierStartGivesItsLibraryBackToALoadThatFails) {
  init();
  plugin->UnInit();
  probe->release_library();
  probe->fail(L"Start", 5);
  init();
  EXPECT_FALSE(probe->library_is_loaded());
}

TEST_P(ProxyClient, IsReleasedBeforeTheChainByAnObjectThatNobodyEnded) {
  init_with_three_instances();
  std::size_t ended_by_then = 0;
  probe->set_hook([&](const std::wstring&) { ended_by_then += client.count_starting("uninit"); });
  plugin.reset();
  const WideCalls all = end();
  EXPECT_EQ(probe->calls(), WideCalls(all.begin() + 2, all.end()))
      << "released, though neither left nor shut down";
  EXPECT_EQ(ended_by_then, 0U);
  EXPECT_EQ(client.count_starting("uninit"), 3U);
}

// The facets, as a client compiled elsewhere calls them.

template <class Facet>
class ProxyFacet : public support::ProxySupportTest {
 protected:
  Facet* facet() { return plugin.get(); }
};

using Facets =
    testing::Types<proxy_msgbus::client_observer_app, proxy_msgbus::client_observer_core>;
TYPED_TEST_SUITE(ProxyFacet, Facets);

TYPED_TEST(ProxyFacet, HasTheSlotsOfItsTable) {
  EXPECT_EQ(slots::slot(&TypeParam::OnProxySettingsChanged), 0U);
  EXPECT_EQ(slots::slot(&TypeParam::ignored_1), 1U);
  EXPECT_EQ(slots::slot(&TypeParam::ignored_2), 2U);
  EXPECT_EQ(slots::slot(&TypeParam::ignored_3), 3U);
  EXPECT_EQ(slots::slot(&TypeParam::scalar_deleting_destructor), 4U);
}

TYPED_TEST(ProxyFacet, LeadsToThePluginsOwnOperation) {
  this->init();
  this->forget();
  EXPECT_EQ(this->facet()->OnProxySettingsChanged(), 0U);
  EXPECT_EQ(this->proxies(), this->both(this->off)) << "there is no client to tell of a proxy";
  EXPECT_EQ(this->log.texts(), std::vector<std::wstring>{L"Proxy usage disabled"});
  EXPECT_LOGGED(this->log, 16, this->change, L"Proxy usage disabled");
}

TYPED_TEST(ProxyFacet, DoesNothingInItsOtherOperations) {
  this->init();
  this->forget();
  EXPECT_EQ(this->facet()->ignored_1(), 0U);
  EXPECT_EQ(this->facet()->ignored_2(), 0U);
  EXPECT_EQ(this->facet()->ignored_3(), 0U);
  EXPECT_TRUE(this->client.calls().empty());
  EXPECT_TRUE(this->log.lines().empty());
}

TYPED_TEST(ProxyFacet, EndsTheWholeObjectByItsDestructor) {
  this->init();
  void* const object = this->plugin.get();
  TypeParam* const facet = this->plugin.release();
  EXPECT_EQ(facet->scalar_deleting_destructor(msvc_abi::free_memory), object);
  EXPECT_EQ(this->client.instances_alive(), 0U);
}

TEST_F(ProxySupport, HasItsFacetsBehindTheOlderFaceAndSideBySide) {
  const auto address = [](auto* facet) { return reinterpret_cast<char*>(facet); };
  char* const observable =
      address(static_cast<zv::iobservable<cloud::ICloudConnectionObserver*>*>(plugin.get()));
  char* const older = address(static_cast<cloud::ICloudRequestsCompatibility*>(plugin.get()));
  char* const app = address(static_cast<proxy_msgbus::client_observer_app*>(plugin.get()));
  char* const core = address(static_cast<proxy_msgbus::client_observer_core*>(plugin.get()));
  EXPECT_GT(older, observable);
  EXPECT_EQ(app - older, 32);
  EXPECT_EQ(core - app, 8);
}

}  // namespace
