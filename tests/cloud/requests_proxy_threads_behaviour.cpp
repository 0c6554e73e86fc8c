#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "support/ProxySupportTest.h"

namespace {

class ProxyClient : public support::ProxyClientTest {};

INSTANTIATE_TEST_SUITE_P(, ProxyClient, testing::Values(support::app_client, support::core_client),
                         support::name_of);

// Nothing to assert but that all pass, and that the sanitizers have nothing to say.
TEST_P(ProxyClient, MayChangeTheProxyWhileRequestsRun) {
  ASSERT_EQ(init(), 0U);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([this, i] {
        for (int round = 0; round < 50; ++round) {
          cloud::connect_request request;
          request.service = i % 2 == 0 ? "own" : "svc";
          cloud::request_reply answer;
          EXPECT_EQ(plugin->resolve(request, answer).error_type, 0U);
        }
      });
    }
    threads.emplace_back([this] {
      for (std::uint32_t round = 0; round < 100; ++round) {
        if (round % 3 == 0) {
          probe->turn_proxy_off();
        } else {
          probe->set_proxy(L"proxy", round);
        }
        EXPECT_TRUE(probe->report_change());
      }
    });
  }
  EXPECT_EQ(client.asks().size(), 200U);
}

// The client calls from the moment it has the observer, which is within Init.
TEST_P(ProxyClient, MayReportFromAnotherThreadThroughStartsAndEnds) {
  probe->set_proxy(L"proxy", 1);
  std::atomic<bool> done = false;
  std::jthread reporter([&] {
    while (!done) {
      if (!probe->report_change()) std::this_thread::yield();
    }
  });
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(init(), 0U);
    EXPECT_EQ(connect("own").error_type, 0U);
    EXPECT_EQ(plugin->UnInit(), 0U);
  }
  done = true;
}

// The end waits for a change that is under way, which therefore must not wait for the end.
TEST_P(ProxyClient, IsLeftOnlyWhenItsReportIsThrough) {
  init_with_three_instances();
  probe->set_proxy(L"proxy", 1);
  const waiting::Gate asked;
  const waiting::Gate leaving;
  probe->set_hook([&](const std::wstring& call) {
    if (call == L"get_enabled_state") {
      asked.open();
      EXPECT_TRUE(leaving.wait());
    }
    if (call == L"remove_observer") leaving.open();
  });
  std::jthread reporter([&] { EXPECT_TRUE(probe->report_change()); });
  ASSERT_TRUE(asked.wait());

  EXPECT_EQ(plugin->UnInit(), 0U);

  const Calls all = client.calls();
  const Calls expected = all_three("'proxy:1' '' ''");
  ASSERT_GE(all.size(), expected.size());
  EXPECT_EQ(Calls(all.begin(), all.begin() + 3), expected) << "before anything of the chain ended";
}

}  // namespace
