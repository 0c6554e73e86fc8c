// When the plug-in takes a proxy client and when it lets it go, also when things fail.

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

std::wstring with_number(const std::wstring& text, std::uint32_t number) {
  return text + L" failed with error code " + std::to_wstring(number);
}

class RequestsProxyLife : public support::ProxyClientTest {
 protected:
  /// What went wrong with the proxy, in order; the guardian that isn't there has its own lines.
  Lines failures() const {
    Lines texts;
    for (const support::LogLine& line : log.lines(4)) {
      if (line.function.find(L"Proxy") != std::wstring::npos) texts.push_back(line.text);
    }
    return texts;
  }
  std::wstring load_failed(std::uint32_t number) const {
    return with_number(kind.loader + (L"(" + std::wstring(kind.plugin) + L")"), number);
  }
  /// The line that tells that this kind of client couldn't be loaded to the end.
  std::wstring road_failed(std::uint32_t number) const { return with_number(kind.road, number); }
};

INSTANTIATE_TEST_SUITE_P(Client, RequestsProxyLife,
                         testing::Values(support::app_client, support::core_client),
                         support::name_of);

TEST_P(RequestsProxyLife, IsDoneWithoutWhereItCannotBeLoaded) {
  for (const wchar_t* step : {L"create", L"Init", L"Start"}) {
    forget();
    probe->fail(step, 77);
    EXPECT_EQ(init(), 0u);
    EXPECT_EQ(failures(), (Lines{load_failed(77), road_failed(77)}));
    EXPECT_LOGGED(log, 4, kind.road, load_failed(77));
    EXPECT_LOGGED(log, 4, loading, road_failed(77));
    EXPECT_EQ(probe->count(L"add_observer"), 0u);
    EXPECT_EQ(proxies(), Calls{});
    probe->fail(step, 0);
    forget();
    EXPECT_EQ(plugin->UnInit(), 0u);
    EXPECT_EQ(probe->calls(), WideCalls{});
  }
}

TEST_P(RequestsProxyLife, IsDoneWithoutWhereItLacksItsInterface) {
  probe->fail(L"QueryInterface " + std::wstring(kind.interface_name), 1);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(failures(), (Lines{load_failed(31), road_failed(31)}));
}

TEST_P(RequestsProxyLife, IsDoneWithoutWhereItsLibraryIsMissing) {
  folder.seam().set_executable_name((folder.path() / "elsewhere" / "host.exe").wstring());
  folder.write(
      std::filesystem::path("elsewhere") / "services" / platform::library_file_name(kind.service),
      "");
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(failures().size(), 2u);
  EXPECT_TRUE(support::has_line_beginning(
      log, 4, kind.loader + (L"(" + std::wstring(kind.plugin) + L") failed with error code ")));
  EXPECT_TRUE(
      support::has_line_beginning(log, 4, kind.road + std::wstring(L" failed with error code ")));
  EXPECT_EQ(probe->calls(), WideCalls{});
}

TEST_P(RequestsProxyLife, IsHeldThoughItsCommunicationFailed) {
  probe->fail(L"initialize_communication", 77);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(failures(), (Lines{kind.line(L"initialize_communication failed with error code 77"),
                               road_failed(77)}));
  EXPECT_EQ(probe->count(L"add_observer"), 0u);
  EXPECT_EQ(probe->count(L"get_enabled_state"), 0u);
  EXPECT_EQ(proxies(), Calls{});
  probe->forget_calls();
  plugin->UnInit();
  EXPECT_EQ(probe->calls(), end());
}

TEST_P(RequestsProxyLife, IsHeldThoughItRefusedItsObserver) {
  probe->fail(L"add_observer", 1);
  EXPECT_EQ(init(), 0u);
  EXPECT_LOGGED(log, 4, kind.road, kind.line(L"add_observer failed"));
  EXPECT_EQ(failures().size(), 1u) << "a deaf client is no failure";
  EXPECT_EQ(probe->calls(), start());
  EXPECT_EQ(proxies(), Calls{});
  probe->forget_calls();
  plugin->UnInit();
  EXPECT_EQ(probe->calls(), end());
}

// the end

TEST_P(RequestsProxyLife, IsWoundDownInOrder) {
  EXPECT_EQ(init(), 0u);
  forget();
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_EQ(probe->calls(), end());
  EXPECT_TRUE(log.traced(L"cloud::requests::FreeProxySupport"));
  EXPECT_TRUE(log.traced(L"cloud::requests::FreeProxySupport_msgbus_client_app"));
  EXPECT_TRUE(log.traced(L"cloud::requests::FreeProxySupport_msgbus_client_core"));
}

TEST_P(RequestsProxyLife, IsWoundDownBeforeTheChain) {
  EXPECT_EQ(init(), 0u);
  std::vector<std::size_t> alive;
  probe->set_hook([&](const std::wstring&) { alive.push_back(client.instances_alive()); });
  forget();
  plugin->UnInit();
  probe->set_hook({});
  EXPECT_EQ(alive, std::vector<std::size_t>(end().size(), 2));
  EXPECT_EQ(client.instances_alive(), 0u);
}

TEST_P(RequestsProxyLife, LeavesItsLibraryUntilThePluginEnds) {
  EXPECT_EQ(init(), 0u);
  plugin->UnInit();
  probe->release_library();
  EXPECT_TRUE(probe->library_is_loaded());
  plugin.reset();
  EXPECT_FALSE(probe->library_is_loaded());
}

TEST_P(RequestsProxyLife, LeavesItsLibraryNoLongerThanToTheNextLoad) {
  EXPECT_EQ(init(), 0u);
  plugin->UnInit();
  probe->release_library();
  probe->fail(L"create", 77);
  EXPECT_EQ(init(), 0u);
  EXPECT_FALSE(probe->library_is_loaded());
}

TEST_P(RequestsProxyLife, IsWoundDownByThePluginsEndWithoutUnInit) {
  EXPECT_EQ(init(), 0u);
  forget();
  plugin.reset();
  const WideCalls calls = probe->calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), L"UnInit"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), std::wstring(L"destroy ") + kind.plugin), 1);
}

TEST_P(RequestsProxyLife, IsLoadedOnceForNestedInits) {
  EXPECT_EQ(init(), 0u);
  forget();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_EQ(probe->calls(), WideCalls{});
  EXPECT_TRUE(probe->report_change());
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_FALSE(probe->report_change());
}

TEST_P(RequestsProxyLife, IsNotAskedByASurplusUnInit) {
  EXPECT_EQ(init(), 0u);
  plugin->UnInit();
  forget();
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_EQ(probe->calls(), WideCalls{});
}

TEST_P(RequestsProxyLife, IsLoadedAnewByTheNextInit) {
  EXPECT_EQ(init(), 0u);
  plugin->UnInit();
  forget();
  probe->set_proxy(L"host", 1);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->calls(), start_and_questions());
}

TEST_P(RequestsProxyLife, BeginsAgainOnlyWhenASurplusUnInitIsMadeUpFor) {
  EXPECT_EQ(init(), 0u);
  plugin->UnInit();
  plugin->UnInit();
  forget();
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->calls(), WideCalls{});
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->count(L"add_observer"), 1u);
}

TEST_P(RequestsProxyLife, DoesNotBeginWhereTheHostLacksAService) {
  support::PlainHost host;
  host.has_manager = false;
  EXPECT_EQ(init(&host), 87u);
  EXPECT_EQ(init(), 0u) << "started it is not";
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_EQ(plugin->UnInit(), 0u);
  EXPECT_EQ(probe->calls(), WideCalls{});
}

TEST_P(RequestsProxyLife, DoesNotBeginWithoutTheCloudClient) {
  client.fail_init(5);
  EXPECT_EQ(init(), 31u);
  EXPECT_EQ(probe->calls(), WideCalls{});
  client.fail_init(0, 0);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(probe->count(L"add_observer"), 1u);
}

TEST_P(RequestsProxyLife, DoesNotBeginWhereTheExecutablesFolderGetsLost) {
  log.recorder().set_hook([&](const support::log_call& call) {
    // The kind of process is known by now.
    if (call.depth == 1 && call.function == std::wstring(kind.road)) {
      folder.seam().set_executable_name(L"", 5);
    }
  });
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(failures(), (Lines{L"zv::PathString::AskExeFolder failed", road_failed(1627)}));
  EXPECT_LOGGED(log, 4, kind.road, L"zv::PathString::AskExeFolder failed");
  EXPECT_EQ(probe->calls(), WideCalls{});
}

TEST_P(RequestsProxyLife, TellsAStatusAsASignedNumber) {
  probe->fail(L"initialize_communication", 0x80004005);
  EXPECT_EQ(init(), 0u);
  EXPECT_EQ(failures(),
            (Lines{kind.line(L"initialize_communication failed with error code -2147467259"),
                   std::wstring(kind.road) + L" failed with error code -2147467259"}));
}

}  // namespace
