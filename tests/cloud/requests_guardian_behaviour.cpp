// The circuit breaker in the plug-in's chain: how it is made, and that it guards.

#include <gtest/gtest.h>

#include <string>

#include "support/CloudRequestsTest.h"

namespace {

constexpr std::uint32_t server_failure = 20011;
constexpr const wchar_t* serial_execution_lines =
    L"cloud::guardian::circuit_breaker::init_serial_execution";

class GuardedRequests : public support::CloudRequestsTest {
 protected:
  GuardedRequests() { folder.seam().set_elevated(true); }

  /// Two failures open a circuit, for an hour at least.
  void package_guardian_settings() {
    folder.write(std::filesystem::path("settings") / "cloud_guardian_settings.json",
                 R"({"storage_folder": "product", "storage_filename": "services.json",
                     "circuit_config": {"threshold": 2, "reset_threshold": 600,
                                        "intervals": [{"min": 3600, "max": 7200}]}})");
  }

  void expect_guarded() {
    client.answer(support::answer_failure(server_failure));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(connect().code, server_failure);
    const std::size_t sent = client.asks().size();
    const cloud::request_status refused = connect();
    EXPECT_EQ(refused.error_type, 1U);
    EXPECT_EQ(refused.code, 5U);
    EXPECT_EQ(client.asks().size(), sent);
    EXPECT_EQ(connect("other").code, server_failure) << "a circuit of its own";
  }
};

TEST_F(GuardedRequests, AreGuardedByLocalSettingsWithoutAHost) {
  package_guardian_settings();
  EXPECT_EQ(init(nullptr), 0U);
  for (const support::LogLine& line : log.lines(4)) {
    EXPECT_FALSE(line.function.starts_with(L"cloud::guardian::circuit_breaker")) << line;
  }
  expect_guarded();
}

TEST_F(GuardedRequests, AreGuardedByLocalSettingsWithAHostThatHasNothingForTheBreaker) {
  package_guardian_settings();
  support::PlainHost host;
  EXPECT_EQ(init(&host), 0U);
  EXPECT_LOGGED(log, 4, serial_execution_lines, L"make_serial_execution err=31");
  expect_guarded();
}

TEST_F(GuardedRequests, PassUnguardedWithoutSettings) {
  EXPECT_EQ(init(nullptr), 0U);
  EXPECT_FALSE(log.lines(4).empty()) << "the cause is told";
  client.answer(support::answer_failure(server_failure));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(connect().code, server_failure);
  EXPECT_EQ(client.asks().size(), 20U);
}

TEST_F(GuardedRequests, AreRefusedAfterANewStartToo) {
  package_guardian_settings();
  init();
  expect_guarded();
  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(connect().code, 5U) << "the circuit is remembered";
}

TEST_F(GuardedRequests, NeedNoBreakerToChangeTheProxy) {
  package_guardian_settings();
  init();
  expect_guarded();
  cloud::proxy_settings proxy;
  proxy.host = "h";
  EXPECT_EQ(plugin->set_proxy(proxy, cloud::proxy_target::connect), 0U);
  EXPECT_EQ(plugin->disable_proxy(cloud::proxy_target::connect), 0U);
}

}  // namespace
