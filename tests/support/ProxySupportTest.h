#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "support/CloudRequestsTest.h"
#include "support/ProxyClientProbe.h"
#include "support/TemporaryFolder.h"

namespace support {

/// What tells the two proxy clients apart.
struct ProxyKind {
  const char* name;
  const wchar_t* service;  ///< the library beside the executable that calls for this client
  const wchar_t* plugin;
  const wchar_t* interface_name;
  const wchar_t* channel;
  const wchar_t* loader;
  const wchar_t* road;  ///< the function that loads it
  const wchar_t* way_back;
  std::vector<std::wstring> questions;  ///< for a proxy that is on

  /// A line about an operation of the client.
  std::wstring line(const wchar_t* rest) const {
    return std::wstring(L"proxy_msgbus::") + interface_name + L"::" + rest;
  }
};

inline void PrintTo(const ProxyKind& kind, std::ostream* out) {
  *out << kind.name;
}

inline const ProxyKind app_client = {"App",
                                     L"zvappservice",
                                     L"proxy.msgbus.client.app",
                                     L"iclient_app",
                                     L"cl.zvappsrv.actions",
                                     L"zv::framework::get_any_plugin",
                                     L"cloud::requests::LoadProxySupport_msgbus_client_app",
                                     L"cloud::requests::FreeProxySupport_msgbus_client_app",
                                     {L"get_enabled_state", L"get_proxy_type", L"get_proxy 7"}};
inline const ProxyKind core_client = {"Core",
                                      L"zvauxiliaryservice",
                                      L"proxy.msgbus.client.core",
                                      L"iclient_core",
                                      L"cl.zvauxsrv.actions",
                                      L"zv::framework::get_plugin",
                                      L"cloud::requests::LoadProxySupport_msgbus_client_core",
                                      L"cloud::requests::FreeProxySupport_msgbus_client_core",
                                      {L"get_enabled_state", L"get_proxy"}};

/// The plug-in in a process whose executable lies in a folder of the test's, beside a proxy client.
class ProxySupportTest : public CloudRequestsTest {
 protected:
  using Calls = std::vector<std::string>;
  using WideCalls = std::vector<std::wstring>;

  static constexpr const wchar_t* change = L"cloud::requests::OnProxySettingsChanged";
  static constexpr const wchar_t* loading = L"cloud::requests::LoadProxySupport";

  ProxySupportTest() {
    probe.emplace(executable.put_library(L"proxy_client", L"proxy.msgbus.client"));
    folder.seam().set_executable_name((executable / "host.exe").wstring());
  }

  void TearDown() override {
    CloudRequestsTest::TearDown();
    if (!probe) return;
    probe->release_library();
    EXPECT_FALSE(probe->library_is_loaded()) << "a count of the proxy client was kept";
  }

  void make_process_of(const ProxyKind& kind) {
    executable.touch(std::filesystem::path("services") / platform::library_file_name(kind.service));
  }

  /// What the client library was told of proxies, in order.
  Calls proxies() const {
    Calls calls = client.calls();
    std::erase_if(calls, [](const std::string& call) {
      return call.find(" 12 ") == std::string::npos && call.find(" 39 ") == std::string::npos;
    });
    return calls;
  }

  /// The same for instances 1 (connect) and 2 (technology) that share `proxy`.
  static Calls both(const std::string& proxy) {
    return {"set_option #1 12 " + proxy, "set_option #2 12 " + proxy};
  }
  static Calls all_three(const std::string& proxy) {
    Calls calls = both(proxy);
    calls.push_back("set_option #3 39 " + proxy);
    return calls;
  }
  static constexpr const char* off = "'' '' ''";

  void forget() {
    client.forget_calls();
    probe->forget_calls();
    log.clear();
  }

  TemporaryFolder executable;
  std::optional<ProxyClientProbe> probe;
};

/// The same for each of the two clients.
class ProxyClientTest : public ProxySupportTest, public testing::WithParamInterface<ProxyKind> {
 protected:
  ProxyClientTest() { make_process_of(kind); }

  void init_with_three_instances() {
    EXPECT_EQ(init(), 0U);
    EXPECT_EQ(connect("own").error_type, 0U);
    forget();
  }

  WideCalls start() const {
    return {std::wstring(L"create ") + kind.plugin + L" IServPlugin",
            L"Init without a host",
            L"Start",
            std::wstring(L"QueryInterface ") + kind.interface_name,
            std::wstring(L"initialize_communication ") + kind.channel,
            L"add_observer"};
  }
  WideCalls end() const {
    return {L"remove_observer",
            L"shutdown_communication",
            L"Stop",
            L"UnInit",
            L"QueryInterface IZvBaseInterface",
            std::wstring(L"destroy ") + kind.plugin};
  }
  WideCalls start_and_questions() const {
    WideCalls calls = start();
    calls.insert(calls.end(), kind.questions.begin(), kind.questions.end());
    return calls;
  }

  const ProxyKind kind = GetParam();
};

inline std::string name_of(const testing::TestParamInfo<ProxyKind>& info) {
  return info.param.name;
}

}  // namespace support
