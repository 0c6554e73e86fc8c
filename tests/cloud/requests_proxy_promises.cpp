// How the plug-in follows the proxy of its kind of process.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/GuardianFolder.h"
#include "support/ProxySupportTest.h"

namespace {

using support::ProxyKind;
using Lines = std::vector<std::wstring>;

// without a client

class RequestsProxy : public support::ProxySupportTest {};

TEST_F(RequestsProxy, IsLeftAloneInAnyOtherProcess) {
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->calls(), WideCalls{});
  EXPECT_EQ(proxies(), Calls{});
  EXPECT_TRUE(log.traced(loading));
  for (const support::LogLine& line : log.lines()) {
    EXPECT_TRUE(line.function != loading || line.level == 32) << line;
    EXPECT_NE(line.function, change);
  }
  plugin->UnInit();
  EXPECT_EQ(probe->calls(), WideCalls{});
}

TEST_F(RequestsProxy, IsLeftAloneWhereTheKindOfProcessIsUnknown) {
  make_process_of(support::app_client);
  folder.seam().set_executable_name(L"", 5);
  EXPECT_EQ(init(), 0u);
  EXPECT_LOGGED(log, 4, loading, L"GetRunningFolderId failed with error code 1627");
  EXPECT_EQ(probe->calls(), WideCalls{});
  EXPECT_EQ(proxies(), Calls{});
}

TEST_F(RequestsProxy, ComesFromTheAppClientWhereBothServicesLie) {
  make_process_of(support::core_client);
  make_process_of(support::app_client);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->count(L"create proxy.msgbus.client.app IServPlugin"), 1u);
  EXPECT_EQ(probe->count(L"create proxy.msgbus.client.core IServPlugin"), 0u);
}

TEST_F(RequestsProxy, IsTurnedOffByAChangeWithoutAnyClient) {
  EXPECT_EQ(init(), 0u);
  forget();
  EXPECT_EQ(plugin->OnProxySettingsChanged(), 0u);
  EXPECT_LOGGED(log, 16, change, L"Proxy usage disabled");
  EXPECT_EQ(proxies(), both(off));
}

// with either client

class RequestsProxyClient : public support::ProxyClientTest {
 protected:
  /// The lines of this level that a change of the proxy wrote.
  Lines lines_of_change(std::uint32_t level) const {
    Lines texts;
    for (const support::LogLine& line : log.lines(level)) {
      if (line.function == change) texts.push_back(line.text);
    }
    return texts;
  }
  /// What went wrong with the proxy, in order; the guardian that isn't there has its own lines.
  Lines failures() const {
    Lines texts;
    for (const support::LogLine& line : log.lines(4)) {
      if (line.function.find(L"Proxy") != std::wstring::npos) texts.push_back(line.text);
    }
    return texts;
  }
  std::wstring using_line() const {
    return L"Using " + std::wstring(kind.plugin) + L" to obtain proxy data";
  }
};

INSTANTIATE_TEST_SUITE_P(Client, RequestsProxyClient,
                         testing::Values(support::app_client, support::core_client),
                         support::name_of);

TEST_P(RequestsProxyClient, IsStartedObservedAndAskedInOrder) {
  probe->set_proxy(L"host", 8080, L"user", L"password");
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->calls(), start_and_questions());
  EXPECT_EQ(failures(), Lines{});
  EXPECT_TRUE(log.traced(loading));
  EXPECT_TRUE(log.traced(kind.road));
  EXPECT_TRUE(log.traced(change));
}

TEST_P(RequestsProxyClient, IsObservedByTheFacetOfItsOwn) {
  EXPECT_EQ(init(), 0u);
  ProxyManager::IProxyMgrEvents* const app =
      static_cast<proxy_msgbus::client_observer_app*>(plugin.get());
  ProxyManager::IProxyMgrEvents* const core =
      static_cast<proxy_msgbus::client_observer_core*>(plugin.get());
  auto* const facet = kind.interface_name == std::wstring(L"iclient_app") ? app : core;
  ASSERT_EQ(probe->added().size(), 1u);
  EXPECT_EQ(probe->added()[0].observer, facet);
  EXPECT_EQ(probe->added()[0].context, 0u);
  plugin->UnInit();
  EXPECT_EQ(probe->removed(), probe->added());
}

TEST_P(RequestsProxyClient, GivesItsProxyToAllTargetsInOrder) {
  init_with_three_instances();
  probe->set_proxy(L"host", 8080, L"user", L"password");
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(probe->calls(), kind.questions);
  EXPECT_EQ(proxies(), all_three("'host:8080' 'user' 'password'"));
  EXPECT_EQ(lines_of_change(16), (Lines{using_line(), L"Using proxy: host = host, port = 8080"}));
  EXPECT_EQ(lines_of_change(4), Lines{});
}

TEST_P(RequestsProxyClient, GivesItsProxyInUtf8) {
  init_with_three_instances();
  probe->set_proxy(L"h\u00e9", 1, L"u\u4e2d", L"p\u00fc");
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(proxies(), all_three("'h\xc3\xa9:1' 'u\xe4\xb8\xad' 'p\xc3\xbc'"));
  EXPECT_LOGGED(log, 16, change, L"Using proxy: host = h\u00e9, port = 1");
}

TEST_P(RequestsProxyClient, TurnsTheProxyOffWhereItIsDisabled) {
  init_with_three_instances();
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(probe->calls(), WideCalls{L"get_enabled_state"});
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(lines_of_change(16), (Lines{using_line(), L"Proxy usage disabled"}));
  EXPECT_EQ(lines_of_change(4), Lines{});
}

TEST_P(RequestsProxyClient, TurnsTheProxyOffWithoutTheWordWhereItCannotBeHad) {
  init_with_three_instances();
  probe->set_proxy(L"host", 8080);
  probe->fail(L"get_proxy", 87);
  if (kind.interface_name == std::wstring(L"iclient_app")) probe->fail(L"get_proxy_type", 0);
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(probe->calls(), kind.questions);
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(lines_of_change(4), Lines{kind.line(L"get_proxy failed with error code 87")});
  EXPECT_EQ(lines_of_change(16), Lines{using_line()});
}

TEST_P(RequestsProxyClient, TurnsTheProxyOffWithTheWordWhereItsStateIsUnknown) {
  init_with_three_instances();
  probe->fail(L"get_enabled_state", 87);
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(probe->calls(), WideCalls{L"get_enabled_state"});
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(lines_of_change(4), Lines{kind.line(L"get_enabled_state failed with error code 87")});
  EXPECT_EQ(lines_of_change(16), (Lines{using_line(), L"Proxy usage disabled"}));
}

TEST_P(RequestsProxyClient, TurnsTheProxyOffBesideTheOperationThatLogsIt) {
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(support::count_lines(log, 16, L" err: 0"), 0u);
  EXPECT_EQ(plugin->disable_proxy(cloud::proxy_target::connect), 0u);
  EXPECT_EQ(log.count(16, L"cloud::requests::disable_proxy", L" err: 0"), 1u);
}

TEST_P(RequestsProxyClient, MayGiveAProxyWithoutAHost) {
  probe->set_proxy(L"", 8080);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(proxies(), Calls{});
  EXPECT_EQ(failures(), Lines{});
}

TEST_P(RequestsProxyClient, MayChangeItsProxyAgainAndAgain) {
  init_with_three_instances();
  probe->set_proxy(L"first", 1);
  probe->report_change();
  forget();
  probe->set_proxy(L"second", 2);
  probe->report_change();
  EXPECT_EQ(proxies(), all_three("'second:2' '' ''"));
  forget();
  probe->turn_proxy_off();
  probe->report_change();
  EXPECT_EQ(proxies(), all_three(off));
}

TEST_P(RequestsProxyClient, GivesALaterInstanceTheFirstProxySinceTheLastDisabling) {
  probe->set_proxy(L"first", 1);
  EXPECT_EQ(init(), 0u);
  probe->set_proxy(L"second", 2);
  probe->report_change();
  forget();
  connect("own");
  EXPECT_EQ(proxies(), Calls{"set_option #3 39 'first:1' '' ''"});
}

TEST_P(RequestsProxyClient, GivesALaterInstanceTheProxyAfterADisabling) {
  probe->set_proxy(L"first", 1);
  EXPECT_EQ(init(), 0u);
  probe->turn_proxy_off();
  probe->report_change();
  probe->set_proxy(L"second", 2);
  probe->report_change();
  forget();
  connect("own");
  EXPECT_EQ(proxies(), Calls{"set_option #3 39 'second:2' '' ''"});
}

TEST_P(RequestsProxyClient, MayGiveAHostAsLongAsItsRecord) {
  init_with_three_instances();
  probe->set_proxy(std::wstring(259, L'\u4e2d'), 65535);
  EXPECT_TRUE(probe->report_change());
  std::string host;
  for (int i = 0; i < 259; ++i) host += "\xe4\xb8\xad";
  EXPECT_EQ(proxies(), all_three("'" + host + ":65535' '' ''"));
}

TEST_P(RequestsProxyClient, MayGiveAPortThatIsNone) {
  init_with_three_instances();
  probe->set_proxy(L"host", 65536);
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(proxies(), Calls{});
  EXPECT_EQ(lines_of_change(16), (Lines{using_line(), L"Using proxy: host = host, port = 65536"}));
  log.clear();
  probe->set_proxy(L"host", 4294967295);
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(lines_of_change(16), (Lines{using_line(), L"Using proxy: host = host, port = -1"}));
}

TEST_P(RequestsProxyClient, SetsTheFirstProxyWithinInit) {
  probe->set_proxy(L"host", 8080);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(proxies(), both("'host:8080' '' ''"));
}

// what only the app client has

class RequestsProxyAppClient : public support::ProxySupportTest {
 protected:
  RequestsProxyAppClient() { make_process_of(support::app_client); }
};

TEST_F(RequestsProxyAppClient, GetsItsOwnTypeBack) {
  probe->set_proxy(L"host", 1);
  probe->set_type(4000000000);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->calls().back(), L"get_proxy 4000000000");
}

TEST_F(RequestsProxyAppClient, TurnsTheProxyOffWithoutTheWordWhereItsTypeIsUnknown) {
  EXPECT_EQ(init(), 0u);
  forget();
  probe->set_proxy(L"host", 1);
  probe->fail(L"get_proxy_type", 87);
  probe->report_change();
  EXPECT_EQ(probe->calls(), (WideCalls{L"get_enabled_state", L"get_proxy_type"}));
  EXPECT_LOGGED(log, 4, change,
                L"proxy_msgbus::iclient_app::get_proxy_type failed with error code 87");
  EXPECT_EQ(log.count(16, change, L"Proxy usage disabled"), 0u);
  EXPECT_EQ(proxies(), both(off));
}

}  // namespace
