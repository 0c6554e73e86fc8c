#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/ResolverTest.h"

namespace {

using support::is_status;
using Calls = std::vector<std::string>;

constexpr const wchar_t* constructor = L"cloud::CirrelResolver::CirrelResolver";
constexpr const wchar_t* configure = L"cloud::CirrelResolver::configure_instance";

class ResolverConstruction : public support::ResolverTest {};

TEST_F(ResolverConstruction, WithoutServersMakesATechnologyInstanceAndSaysSo) {
  make_resolver();

  EXPECT_EQ(client.calls(), (Calls{"init #1", "set_option #1 1 1"}));
  EXPECT_EQ(log.texts(),
            (std::vector<std::wstring>{L"No separate server set for connect services.",
                                       L"No separate server set for technology services."}));
  EXPECT_LOGGED(log, 16, constructor, L"No separate server set for connect services.");
  EXPECT_LOGGED(log, 16, constructor, L"No separate server set for technology services.");
}

TEST_F(ResolverConstruction, WithServersConfiguresConnectBeforeItMakesTheTechnologyInstance) {
  make_resolver(
      R"({"categories": {"technology": "t.example", "connect": "c.example"}, "services": {}})");

  EXPECT_EQ(client.calls(),
            (Calls{"set_option shared 28 'c.example'", "set_option shared 34 1", "init #1",
                   "set_option #1 1 1", "set_option #1 28 't.example'", "set_option #1 34 1"}));
  EXPECT_EQ(log.texts(),
            (std::vector<std::wstring>{L"Set server c.example for connect services.",
                                       L"Set server t.example for technology services."}));
  EXPECT_LOGGED(log, 16, configure, L"Set server c.example for connect services.");
  EXPECT_LOGGED(log, 16, configure, L"Set server t.example for technology services.");
}

TEST_F(ResolverConstruction, TakesAnEmptyServerOfACategoryForNone) {
  make_resolver(R"({"categories": {"connect": "", "technology": ""}, "services": {}})");

  EXPECT_EQ(client.calls(), (Calls{"init #1", "set_option #1 1 1"}));
  EXPECT_LOGGED(log, 16, constructor, L"No separate server set for connect services.");
  EXPECT_LOGGED(log, 16, constructor, L"No separate server set for technology services.");
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(ResolverConstruction, IgnoresOtherCategories) {
  make_resolver(R"({"categories": {"Connect": "x", "push": "y"}, "services": {}})");

  EXPECT_EQ(client.calls(), (Calls{"init #1", "set_option #1 1 1"}));
}

TEST_F(ResolverConstruction, WithoutASettingsFileGoesOnWithoutAWord) {
  resolver = std::make_unique<cloud::CirrelResolver>(client.table(), client.shared_instance());

  EXPECT_EQ(client.calls(), (Calls{"init #1", "set_option #1 1 1"}));
  EXPECT_EQ(log.texts().size(), 2U);
  EXPECT_TRUE(is_status(connect("svc"), 0, 0));
  EXPECT_EQ(client.last_ask().instance, "shared");
}

TEST_F(ResolverConstruction, DoesNotUseTheGoodHalfOfABrokenFile) {
  make_resolver(R"({"categories": {"connect": "c.example"}, "services": {"svc": 1}})");

  EXPECT_EQ(client.calls(), (Calls{"init #1", "set_option #1 1 1"}));
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(ResolverConstruction, NamesConnectInAFailureWhateverTheCategory) {
  client.fail_option("#1", 28, 77);
  make_resolver(R"({"categories": {"technology": "t.example"}, "services": {}})");

  EXPECT_EQ(client.calls(),
            (Calls{"init #1", "set_option #1 1 1", "set_option #1 28 't.example'"}));
  EXPECT_LOGGED(log, 4, configure, L"Could not set local cloud for connect services, err: 77");
}

TEST_F(ResolverConstruction, SaysWhenSslCannotBeSet) {
  client.fail_option("shared", 34, 78);
  make_resolver(R"({"categories": {"connect": "c.example"}, "services": {}})");

  EXPECT_LOGGED(log, 4, configure, L"Could not set SSL on for connect services, err: 78");
  EXPECT_EQ(client.count("set_option shared 34 1"), 1U);
}

TEST_F(ResolverConstruction, LeavesAnInstanceInUseThatCouldNotBeConfigured) {
  client.fail_option("shared", 28, 77);
  make_resolver(R"({"categories": {"connect": "c.example"}, "services": {}})");

  EXPECT_TRUE(is_status(connect(), 0, 0));
  EXPECT_EQ(client.last_ask().instance, "shared");
}

TEST_F(ResolverConstruction, WithoutATechnologyInstanceStillServesConnect) {
  client.fail_init(20011, 1);
  make_resolver(R"({"categories": {"technology": "t.example"}, "services": {}})");

  EXPECT_TRUE(is_status(connect(), 0, 0));
  EXPECT_EQ(client.count_starting("set_option"), 0U);

  // Nothing retries it, although the library would give one now.
  EXPECT_TRUE(is_status(technology(), 1, 1359));
  EXPECT_LOGGED(log, 4, L"cloud::CirrelResolver::resolve",
                L"missing data for req type technology 1");
  cloud::upload_request upload;
  upload.service = "svc";
  upload.path = "/file";
  EXPECT_EQ(resolver->resolve(upload, nullptr), 1359U);
  EXPECT_EQ(client.asks().size(), 1U);
  EXPECT_TRUE(client.uploads().empty());
}

TEST_F(ResolverConstruction, WithoutASharedInstanceRefusesConnectRequests) {
  folder.write_services_settings(R"({"categories": {}, "services": {}})");
  for (const bool with_client : {true, false}) {
    resolver = std::make_unique<cloud::CirrelResolver>(
        with_client ? client.table() : nullptr, with_client ? nullptr : client.shared_instance());
    EXPECT_TRUE(is_status(connect(), 1, 1359));
    EXPECT_TRUE(is_status(technology(), 0, 0));
    resolver.reset();
  }
  EXPECT_EQ(log.count(4, L"cloud::CirrelResolver::resolve", L"missing data for req type connect 0"),
            2U);
  EXPECT_EQ(client.asks().size(), 2U);
}

class RequestType : public support::ResolverTest {};

TEST_F(RequestType, OfAConnectRequestHasToBeConnect) {
  make_resolver();
  reply.text = "former";
  cloud::connect_request request;
  request.service = "svc";
  for (const std::uint32_t type : {1U, 2U}) {
    request.type = static_cast<cloud::request_type>(type);
    EXPECT_TRUE(is_status(resolver->resolve(request, reply), 1, 1359));
    EXPECT_LOGGED(log, 4, L"cloud::CirrelResolver::resolve",
                  L"missing data for req type connect " + std::to_wstring(type));
  }
  EXPECT_TRUE(client.asks().empty());
  EXPECT_EQ(std::string(reply.text.view()), "former");
}

TEST_F(RequestType, OfATechnologyRequestHasToBeTechnology) {
  make_resolver();
  cloud::technology_request request;
  request.service = "svc";
  request.type = cloud::request_type::connect;
  EXPECT_TRUE(is_status(resolver->resolve(request, reply), 1, 1359));
  EXPECT_LOGGED(log, 4, L"cloud::CirrelResolver::resolve",
                L"missing data for req type technology 0");
  EXPECT_TRUE(client.asks().empty());
}

TEST_F(RequestType, IsTestedBeforeTheMessage) {
  make_resolver();
  cloud::connect_request request;
  request.type = cloud::request_type::technology;
  request.message = "not json";
  EXPECT_TRUE(is_status(resolver->resolve(request, reply), 1, 1359));
}

class TechnologyRequest : public support::ResolverTest {};

TEST_F(TechnologyRequest, IsSentByteForByteOnItsOwnInstance) {
  make_resolver();
  EXPECT_TRUE(is_status(technology("svc", "{ \"a\":\t\xff, not json"), 0, 0));

  const support::Ask ask = client.last_ask();
  EXPECT_EQ(ask.body, "{ \"a\":\t\xff, not json");
  EXPECT_EQ(ask.instance, "#1");
  EXPECT_EQ(ask.road, zvnc::Road::library);
  EXPECT_EQ(ask.timeout, 5000U);
  EXPECT_EQ(ask.format, 1U);
  EXPECT_EQ(ask.service, "svc");
}

TEST_F(TechnologyRequest, IsLogged) {
  make_resolver();
  technology("svc", "body");
  EXPECT_LOGGED(log, 16, L"cloud::CirrelResolver::resolve", L"service: svc request: body");
  EXPECT_TRUE(log.traced(L"cloud::CirrelResolver::resolve"));
}

TEST_F(TechnologyRequest, MayBeEmpty) {
  make_resolver();
  technology("", "");
  EXPECT_EQ(client.last_ask().body, "");
  EXPECT_EQ(client.last_ask().service, "");
}

TEST_F(TechnologyRequest, OfSeveralMegabytesArrivesWhole) {
  make_resolver();
  const std::string body(5 << 20, 'b');
  technology("svc", body.c_str());
  EXPECT_TRUE(client.last_ask().body == body);
}

class ServiceInstance : public support::ResolverTest {
 protected:
  static constexpr const char* settings =
      R"({"categories": {}, "services": {"a": "a.example", "b": "b.example", "bare": ""}})";
};

TEST_F(ServiceInstance, IsBuiltOnFirstUseAndKept) {
  make_resolver(settings);
  client.forget_calls();

  connect("a");
  connect("a");
  technology("a");

  EXPECT_EQ(client.calls(), (Calls{"init #2", "set_option #2 1 1", "set_option #2 28 'a.example'",
                                   "set_option #2 34 1", "ask #2 'a'", "free_response",
                                   "ask #2 'a'", "free_response", "ask #2 'a'", "free_response"}));
  EXPECT_LOGGED(log, 16, configure, L"Set server a.example for a services.");
}

TEST_F(ServiceInstance, IsOneForEachService) {
  make_resolver(settings);
  connect("b");
  EXPECT_EQ(client.last_ask().instance, "#2");
  connect("a");
  EXPECT_EQ(client.last_ask().instance, "#3");
  connect("b");
  EXPECT_EQ(client.last_ask().instance, "#2");
}

TEST_F(ServiceInstance, IsNotTakenForAServiceOfAnotherName) {
  make_resolver(settings);
  for (const char* service : {"", "A", "ab", "a ", "other"}) {
    connect(service);
    EXPECT_EQ(client.last_ask().instance, "shared") << service;
    technology(service);
    EXPECT_EQ(client.last_ask().instance, "#1") << service;
  }
}

// What counts is the entry.
TEST_F(ServiceInstance, OfAnEntryWithoutAServerIsBuiltAllTheSame) {
  make_resolver(settings);
  client.forget_calls();

  EXPECT_TRUE(is_status(connect("bare"), 0, 0));

  EXPECT_EQ(client.calls(),
            (Calls{"init #2", "set_option #2 1 1", "ask #2 'bare'", "free_response"}));
  EXPECT_LOGGED(log, 4, configure, L"No separate server set for bare services.");
}

TEST_F(ServiceInstance, ThatCannotBeConfiguredIsUsedAllTheSame) {
  make_resolver(settings);
  client.fail_option("#2", 28, 20031);

  EXPECT_TRUE(is_status(connect("a"), 0, 0));

  EXPECT_EQ(client.last_ask().instance, "#2");
  EXPECT_LOGGED(log, 4, configure, L"Could not set local cloud for connect services, err: 20031");
  EXPECT_EQ(client.count("set_option #2 34 1"), 0U);
}

TEST_F(ServiceInstance, ThatCannotBeMadeEndsItsRequestAndTheNextOneTriesAnew) {
  make_resolver(settings);
  client.fail_init(20011, 3);
  client.forget_calls();

  EXPECT_TRUE(is_status(connect("a"), 1, 1359));
  EXPECT_TRUE(is_status(technology("a"), 1, 1359));
  cloud::upload_request upload;
  upload.service = "a";
  upload.path = "/file";
  EXPECT_EQ(resolver->resolve(upload, nullptr), 1359U);
  EXPECT_EQ(client.calls(), (Calls{"init failed", "init failed", "init failed"}));

  EXPECT_TRUE(is_status(connect("a"), 0, 0));
  EXPECT_EQ(client.last_ask().instance, "#2");
}

TEST_F(ServiceInstance, ThatCannotBeMadeLeavesOtherServicesAlone) {
  make_resolver(settings);
  client.fail_init(20011);

  EXPECT_TRUE(is_status(connect("a"), 1, 1359));
  EXPECT_TRUE(is_status(connect("other"), 0, 0));
}

// The technology instance is missing, but this service has one of its own.
TEST_F(ServiceInstance, DoesNotSaveATechnologyRequestWithoutATechnologyInstance) {
  client.fail_init(20011, 1);
  make_resolver(settings);

  EXPECT_TRUE(is_status(technology("a"), 1, 1359));
  EXPECT_TRUE(client.asks().empty());
}

TEST_F(ServiceInstance, GivesItsAnswerBackThroughTheClientOfTheMode) {
  make_resolver(settings);
  connect("a");
  technology("a");
  const auto freed = client.freed();
  ASSERT_EQ(freed.size(), 2U);
  EXPECT_EQ(freed[0].road, zvnc::Road::table);
  EXPECT_EQ(freed[1].road, zvnc::Road::library);
}

class ResolverDestruction : public support::ResolverTest {};

TEST_F(ResolverDestruction, EndsTheTechnologyInstanceThenTheServicesAndNotTheSharedOne) {
  make_resolver(R"({"categories": {}, "services": {"a": "x", "b": "y", "c": "z"}})");
  connect("c");
  connect("a");
  connect("b");
  client.forget_calls();

  resolver.reset();

  EXPECT_EQ(client.calls(), (Calls{"uninit #1", "uninit #3", "uninit #4", "uninit #2"}));
}

TEST_F(ResolverDestruction, WithoutATechnologyInstanceEndsNone) {
  client.fail_init(20011);
  make_resolver();
  client.forget_calls();

  resolver.reset();

  EXPECT_TRUE(client.calls().empty());
}

TEST_F(ResolverDestruction, GivesEachCountOfTheLibraryBack) {
  make_resolver(R"({"categories": {}, "services": {"a": "x"}})");
  connect("a");

  client.release_library();
  EXPECT_TRUE(support::FakeCloudClient::library_is_loaded());
  resolver.reset();
  EXPECT_FALSE(support::FakeCloudClient::library_is_loaded());
}

}  // namespace
