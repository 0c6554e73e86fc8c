#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ResolverTest.h"

namespace {

using cloud::proxy_target;
using Calls = std::vector<std::string>;

constexpr const char* no_servers =
    R"({"categories": {}, "services": {"a": "a.example", "b": "b.example"}})";
constexpr const char* servers =
    R"({"categories": {"connect": "c.example", "technology": "t.example"}, "services": {}})";
constexpr const char* empty_servers =
    R"({"categories": {"connect": "", "technology": ""}, "services": {}})";

cloud::proxy_settings proxy(const char* host, std::uint32_t port = 8080) {
  cloud::proxy_settings settings;
  settings.host = host;
  settings.port = port;
  settings.user = "user";
  settings.password = "secret";
  return settings;
}

class ProxyTest : public support::ResolverTest {
 protected:
  void make(const char* settings) {
    make_resolver(settings);
    client.forget_calls();
  }

  /// The set_option lines of the proxy on a service's instance made just now.
  Calls proxies_of_new_instance(const char* service) {
    client.forget_calls();
    connect(service);
    Calls calls = client.calls();
    std::erase_if(calls, [](const std::string& call) {
      return call.find(" 39 ") == std::string::npos && call.find(" 12 ") == std::string::npos;
    });
    return calls;
  }
};

TEST_F(ProxyTest, OfConnectGoesToTheSharedInstance) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::connect), 0U);
  EXPECT_EQ(client.calls(), Calls{"set_option shared 12 'host:8080' 'user' 'secret'"});
}

TEST_F(ProxyTest, OfTechnologyGoesToTheTechnologyInstance) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::technology), 0U);
  EXPECT_EQ(client.calls(), Calls{"set_option #1 12 'host:8080' 'user' 'secret'"});
}

TEST_F(ProxyTest, OfACategoryWithAServerUsesTheOtherOption) {
  make(servers);
  resolver->set_proxy(proxy("host"), proxy_target::connect);
  resolver->set_proxy(proxy("host"), proxy_target::technology);
  EXPECT_EQ(client.calls(), (Calls{"set_option shared 39 'host:8080' 'user' 'secret'",
                                   "set_option #1 39 'host:8080' 'user' 'secret'"}));
}

TEST_F(ProxyTest, OfACategoryWithAnEmptyServerUsesTheDefaultOption) {
  make(empty_servers);
  resolver->set_proxy(proxy("host"), proxy_target::connect);
  resolver->set_proxy(proxy("host"), proxy_target::technology);
  EXPECT_EQ(client.calls(), (Calls{"set_option shared 12 'host:8080' 'user' 'secret'",
                                   "set_option #1 12 'host:8080' 'user' 'secret'"}));
}

TEST_F(ProxyTest, WithoutUserAndPasswordHandsOnEmptyTexts) {
  make(no_servers);
  cloud::proxy_settings settings;
  settings.host = "h";
  EXPECT_EQ(resolver->set_proxy(settings, proxy_target::connect), 0U);
  EXPECT_EQ(client.calls(), Calls{"set_option shared 12 'h:0' '' ''"});
}

TEST_F(ProxyTest, ReturnsWhatTheLibrarySays) {
  make(no_servers);
  client.fail_option(12, 20032);
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::connect), 20032U);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::connect), 20032U);
}

TEST_F(ProxyTest, TakesTheHighestPort) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("host", 65535), proxy_target::connect), 0U);
  EXPECT_EQ(client.calls(), Calls{"set_option shared 12 'host:65535' 'user' 'secret'"});
}

TEST_F(ProxyTest, WithAPortBeyondTheHighestIsInvalidAndSetsNothing) {
  make(no_servers);
  for (const std::uint32_t port : {65536U, 0xffffffffU}) {
    EXPECT_EQ(resolver->set_proxy(proxy("host", port), proxy_target::connect), 13U);
    EXPECT_EQ(resolver->set_proxy(proxy("host", port), proxy_target::technology), 13U);
  }
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(ProxyTest, WithoutAHostIsInvalidAndSetsNothing) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy(""), proxy_target::connect), 13U);
  EXPECT_EQ(resolver->set_proxy(cloud::proxy_settings(), proxy_target::technology), 13U);
  EXPECT_TRUE(client.calls().empty());
}

// Setting again applies at once, although the remembered settings stay the first ones.
TEST_F(ProxyTest, SetAgainIsApplied) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("first"), proxy_target::connect), 0U);
  EXPECT_EQ(resolver->set_proxy(proxy("second"), proxy_target::connect), 0U);
  EXPECT_EQ(client.calls(), (Calls{"set_option shared 12 'first:8080' 'user' 'secret'",
                                   "set_option shared 12 'second:8080' 'user' 'secret'"}));
}

TEST_F(ProxyTest, OfServicesGoesToTheirInstancesAlone) {
  make(no_servers);
  connect("a");
  connect("b");
  client.forget_calls();
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::per_service), 0U);
  EXPECT_EQ(client.calls(), (Calls{"set_option #2 39 'host:8080' 'user' 'secret'",
                                   "set_option #3 39 'host:8080' 'user' 'secret'"}));
}

TEST_F(ProxyTest, OfServicesWithoutAnInstanceIsOnlyRemembered) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::per_service), 0U);
  EXPECT_TRUE(client.calls().empty());
  EXPECT_EQ(proxies_of_new_instance("a"), Calls{"set_option #2 39 'host:8080' 'user' 'secret'"});
}

TEST_F(ProxyTest, ReachesANewInstanceAfterItsServer) {
  make(no_servers);
  resolver->set_proxy(proxy("host"), proxy_target::per_service);
  client.forget_calls();
  connect("a");
  EXPECT_EQ(
      client.calls(),
      (Calls{"init #2", "set_option #2 1 1", "set_option #2 28 'a.example'", "set_option #2 34 1",
             "set_option #2 39 'host:8080' 'user' 'secret'", "ask #2 'a'", "free_response"}));
}

TEST_F(ProxyTest, OfTheFirstHostReachesNewInstancesUntilItIsDisabled) {
  make(no_servers);
  resolver->set_proxy(proxy("A"), proxy_target::per_service);
  resolver->set_proxy(proxy("B"), proxy_target::per_service);
  EXPECT_EQ(proxies_of_new_instance("a"), Calls{"set_option #2 39 'A:8080' 'user' 'secret'"});

  resolver->disable_proxy(proxy_target::per_service);
  resolver->set_proxy(proxy("B"), proxy_target::per_service);
  EXPECT_EQ(proxies_of_new_instance("b"), Calls{"set_option #3 39 'B:8080' 'user' 'secret'"});
}

TEST_F(ProxyTest, ThatIsDisabledReachesNoNewInstance) {
  make(no_servers);
  resolver->set_proxy(proxy("A"), proxy_target::per_service);
  resolver->disable_proxy(proxy_target::per_service);
  EXPECT_TRUE(proxies_of_new_instance("a").empty());
}

TEST_F(ProxyTest, OfOtherTargetsReachesNoNewInstance) {
  make(no_servers);
  resolver->set_proxy(proxy("A"), proxy_target::connect);
  resolver->set_proxy(proxy("B"), proxy_target::technology);
  EXPECT_TRUE(proxies_of_new_instance("a").empty());
}

// An unusable first entry is remembered all the same, and holds its place.
TEST_F(ProxyTest, ThatIsUnusableIsRememberedAndKeepsLaterOnesOut) {
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("A", 65536), proxy_target::per_service), 0U);
  resolver->set_proxy(proxy("B"), proxy_target::per_service);
  EXPECT_TRUE(proxies_of_new_instance("a").empty());
  EXPECT_EQ(client.last_ask().instance, "#2");

  resolver->disable_proxy(proxy_target::per_service);
  resolver->set_proxy(proxy("B"), proxy_target::per_service);
  EXPECT_EQ(proxies_of_new_instance("b"), Calls{"set_option #3 39 'B:8080' 'user' 'secret'"});
}

TEST_F(ProxyTest, ThatIsUnusableIsRefusedForEachInstance) {
  make(no_servers);
  connect("a");
  client.forget_calls();
  EXPECT_EQ(resolver->set_proxy(proxy("A", 65536), proxy_target::per_service), 13U);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(ProxyTest, OfServicesReturnsTheLastFailure) {
  make(no_servers);
  connect("a");
  connect("b");
  client.fail_option("#2", 39, 7);
  EXPECT_EQ(resolver->set_proxy(proxy("A"), proxy_target::per_service), 7U);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::per_service), 7U);
  client.fail_option("#3", 39, 8);
  EXPECT_EQ(resolver->set_proxy(proxy("A"), proxy_target::per_service), 8U);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::per_service), 8U);
  client.let_options_pass();
  EXPECT_EQ(resolver->set_proxy(proxy("A"), proxy_target::per_service), 0U);
}

TEST_F(ProxyTest, GoesToEveryInstanceAlthoughOneRefuses) {
  make(no_servers);
  connect("a");
  connect("b");
  client.fail_option("#2", 39, 7);
  client.forget_calls();
  resolver->set_proxy(proxy("A"), proxy_target::per_service);
  EXPECT_EQ(client.calls().size(), 2U);
}

TEST_F(ProxyTest, OfATargetBeyondTheKnownOnesIsThatOfServices) {
  make(no_servers);
  for (const std::uint32_t number : {3U, 0xffffffffU}) {
    const auto target = static_cast<proxy_target>(number);
    const std::string service = number == 3 ? "a" : "b";
    EXPECT_EQ(resolver->set_proxy(proxy("A"), target), 0U);
    client.forget_calls();
    EXPECT_EQ(proxies_of_new_instance(service.c_str()).size(), 1U) << number;
    EXPECT_EQ(resolver->disable_proxy(proxy_target::per_service), 0U);
  }
  connect("a");
  client.forget_calls();
  resolver->set_proxy(proxy("B"), static_cast<proxy_target>(3));
  EXPECT_EQ(client.calls(), (Calls{"set_option #2 39 'B:8080' 'user' 'secret'",
                                   "set_option #3 39 'B:8080' 'user' 'secret'"}));
}

// Remembered under one key, so that either name of it disables it.
TEST_F(ProxyTest, OfATargetBeyondTheKnownOnesIsDisabledAsThatOfServices) {
  make(no_servers);
  resolver->set_proxy(proxy("A"), proxy_target::per_service);
  EXPECT_EQ(resolver->disable_proxy(static_cast<proxy_target>(7)), 0U);
  EXPECT_TRUE(proxies_of_new_instance("a").empty());
}

TEST_F(ProxyTest, WithoutATechnologyInstanceIsAnInvalidParameter) {
  client.fail_init(1);
  make(no_servers);
  EXPECT_EQ(resolver->set_proxy(proxy("host"), proxy_target::technology), 87U);
  EXPECT_EQ(resolver->set_proxy(proxy("", 65536), proxy_target::technology), 87U);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::technology), 87U);
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(ProxyTest, IsClearedWithThreeEmptyTexts) {
  make(no_servers);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::connect), 0U);
  EXPECT_EQ(resolver->disable_proxy(proxy_target::technology), 0U);
  EXPECT_EQ(client.calls(), (Calls{"set_option shared 12 '' '' ''", "set_option #1 12 '' '' ''"}));
  EXPECT_TRUE(log.traced(L"cloud::CirrelResolver::disable_proxy"));
}

TEST_F(ProxyTest, IsClearedWithTheOptionThatSetIt) {
  make(servers);
  resolver->disable_proxy(proxy_target::connect);
  resolver->disable_proxy(proxy_target::technology);
  EXPECT_EQ(client.calls(), (Calls{"set_option shared 39 '' '' ''", "set_option #1 39 '' '' ''"}));
}

TEST_F(ProxyTest, OfServicesIsClearedOnEachInstance) {
  make(no_servers);
  connect("a");
  connect("b");
  client.forget_calls();
  EXPECT_EQ(resolver->disable_proxy(proxy_target::per_service), 0U);
  EXPECT_EQ(client.calls(), (Calls{"set_option #2 39 '' '' ''", "set_option #3 39 '' '' ''"}));
}

}  // namespace
