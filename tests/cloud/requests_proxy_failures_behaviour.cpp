#include <gtest/gtest.h>

#include <string>

#include "support/ProxySupportTest.h"

namespace {

using support::app_client;
using support::core_client;

class ProxySupport : public support::ProxySupportTest {};
using AppClient = ProxySupport;

/// No failure of the proxy's is one of the start: each test ends with a request that passes.
class FailingProxyClient : public support::ProxyClientTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(connect().error_type, 0U);
    ProxyClientTest::TearDown();
  }

  void expect_load_failure(const std::wstring& number) {
    EXPECT_EQ(init(), 0U);
    EXPECT_LOGGED(
        log, 4, kind.road,
        std::wstring(kind.loader) + L"(" + kind.plugin + L") failed with error code " + number);
    EXPECT_LOGGED(log, 4, loading, std::wstring(kind.road) + L" failed with error code " + number);
    EXPECT_TRUE(proxies().empty());
  }

  /// The lines of a change that ends in a failure of `operation`.
  WideCalls lines_of_failed(const wchar_t* operation) const {
    return {std::wstring(L"Using ") + kind.plugin + L" to obtain proxy data",
            kind.line(operation) + L" failed with error code 1722"};
  }
};

INSTANTIATE_TEST_SUITE_P(, FailingProxyClient, testing::Values(app_client, core_client),
                         support::name_of);

TEST_F(ProxySupport, IsLeftOutWithoutTheExecutablesFolder) {
  make_process_of(app_client);
  folder.seam().set_executable_name(L"", 5);
  EXPECT_EQ(init(), 0U);
  EXPECT_LOGGED(log, 4, L"GetRunningFolderId", L"zv::PathString::AskExeFolder failed");
  EXPECT_LOGGED(log, 4, loading, L"GetRunningFolderId failed with error code 1627");
  EXPECT_TRUE(probe->calls().empty());
  EXPECT_TRUE(proxies().empty());
  EXPECT_EQ(connect().error_type, 0U);
}

TEST_P(FailingProxyClient, IsNotLookedForOnceTheExecutablesFolderIsLost) {
  log.recorder().set_hook([&](const support::log_call& call) {
    if (call.text == std::wstring(L"-> ") + kind.road + L"()") {
      folder.seam().set_executable_name(L"", 5);
    }
  });
  EXPECT_EQ(init(), 0U);
  EXPECT_LOGGED(log, 4, kind.road, L"zv::PathString::AskExeFolder failed");
  EXPECT_LOGGED(log, 4, loading, std::wstring(kind.road) + L" failed with error code 1627");
  EXPECT_TRUE(probe->calls().empty());
}

TEST_P(FailingProxyClient, MayBeAbsent) {
  probe.reset();
  std::filesystem::remove(executable.module_name(L"proxy.msgbus.client"));
  expect_load_failure(L"126");
}

TEST_P(FailingProxyClient, MayNotBeMade) {
  probe->fail(L"create", 1168);
  expect_load_failure(L"1168");
  EXPECT_EQ(probe->calls(), WideCalls{start().at(0)});
}

TEST_P(FailingProxyClient, MayNotStart) {
  probe->fail(L"Start", 0x80070005);
  expect_load_failure(L"-2147024891");
}

TEST_P(FailingProxyClient, MayLackItsInterface) {
  probe->fail(std::wstring(L"QueryInterface ") + kind.interface_name, 1);
  expect_load_failure(L"31");
  EXPECT_EQ(probe->count(L"Stop"), 1U);
}

TEST_P(FailingProxyClient, ThatIsNotThereIsNotEndedEither) {
  probe->fail(L"create", 1168);
  init();
  probe->forget_calls();
  plugin->UnInit();
  EXPECT_TRUE(probe->calls().empty());
  EXPECT_EQ(init(), 0U);
}

TEST_P(FailingProxyClient, WithoutCommunicationIsHeldAndWoundDown) {
  probe->set_proxy(L"proxy", 1);
  probe->fail(L"initialize_communication", 1722);
  EXPECT_EQ(init(), 0U);
  EXPECT_LOGGED(log, 4, kind.road,
                kind.line(L"initialize_communication failed with error code 1722"));
  EXPECT_LOGGED(log, 4, loading, std::wstring(kind.road) + L" failed with error code 1722");
  EXPECT_EQ(probe->calls().back(), L"initialize_communication " + std::wstring(kind.channel));
  EXPECT_TRUE(proxies().empty());
  probe->forget_calls();

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(probe->calls(), end());
  EXPECT_EQ(init(), 0U);
}

TEST_P(FailingProxyClient, ThatTakesNoObserverIsNotAskedButWoundDown) {
  probe->set_proxy(L"proxy", 1);
  probe->fail(L"add_observer", 1);
  EXPECT_EQ(init(), 0U);
  EXPECT_LOGGED(log, 4, kind.road, kind.line(L"add_observer failed"));
  for (const support::LogLine& line : log.lines(4)) EXPECT_NE(line.function, loading);
  EXPECT_EQ(probe->calls(), start());
  EXPECT_TRUE(proxies().empty());
  EXPECT_FALSE(log.traced(change));
  probe->forget_calls();

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(probe->calls(), end());
  EXPECT_EQ(init(), 0U);
}

// The client says "on" and yet that it failed: what it said does not count.
TEST_P(FailingProxyClient, ThatCannotTellWhetherThereIsAProxyCountsAsHavingNone) {
  probe->set_proxy(L"proxy", 1);
  init_with_three_instances();
  probe->fail(L"get_enabled_state", 1722);
  EXPECT_TRUE(probe->report_change());

  EXPECT_EQ(probe->calls(), WideCalls{L"get_enabled_state"});
  EXPECT_EQ(proxies(), all_three(off));
  WideCalls lines = lines_of_failed(L"get_enabled_state");
  lines.push_back(L"Proxy usage disabled");
  EXPECT_EQ(log.texts(), lines);
  EXPECT_EQ(log.lines(4).at(0).function, change);
}

TEST_P(FailingProxyClient, ThatCannotTellItsProxyHasItDisabledWithoutSayingSo) {
  probe->set_proxy(L"proxy", 1);
  init_with_three_instances();
  probe->fail(kind.questions.back(), 1722);
  EXPECT_TRUE(probe->report_change());

  EXPECT_EQ(probe->calls(), kind.questions);
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(log.texts(), lines_of_failed(L"get_proxy"));
  EXPECT_EQ(log.lines(4).at(0).function, change);
}

TEST_F(AppClient, ThatCannotTellTheTypeIsNotAskedForTheProxy) {
  make_process_of(app_client);
  probe->set_proxy(L"proxy", 1);
  init();
  connect("own");
  forget();
  probe->fail(L"get_proxy_type", 1722);
  EXPECT_TRUE(probe->report_change());

  EXPECT_EQ(probe->calls(), (WideCalls{L"get_enabled_state", L"get_proxy_type"}));
  EXPECT_EQ(proxies(), all_three(off));
  EXPECT_EQ(log.texts(),
            (WideCalls{L"Using proxy.msgbus.client.app to obtain proxy data",
                       L"proxy_msgbus::iclient_app::get_proxy_type failed with error code 1722"}));
  EXPECT_EQ(log.lines(4).at(0).function, change);
}

TEST_F(AppClient, IsAskedForTheTypeThatItNamed) {
  make_process_of(app_client);
  probe->set_type(0xFFFFFFFE);
  probe->set_proxy(L"proxy", 1);
  init();
  EXPECT_EQ(probe->calls().back(), L"get_proxy 4294967294");
}

TEST_P(FailingProxyClient, ThatRecoversHasItsProxyUsedAgain) {
  probe->set_proxy(L"proxy", 1);
  probe->fail(L"get_enabled_state", 1722);
  init_with_three_instances();
  probe->fail(L"get_enabled_state", 0);
  probe->report_change();
  EXPECT_EQ(proxies(), all_three("'proxy:1' '' ''"));
}

}  // namespace
