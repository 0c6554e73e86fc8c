#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "guardian/dummy_circuit_breaker.h"
#include "guardian/guarded_resolver.h"
#include "support/OutcomeRecorder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::dummy_circuit_breaker;
using cloud::guardian::guarded_resolver;
using Lines = std::vector<std::string>;

/// What the test keeps of the parts, which the resolver owns.
struct Shared {
  Lines inner;      ///< calls that reached the inner resolver
  Lines destroyed;  ///< parts, in the order of their end
  cloud::request_status status;
  std::int32_t reply_code = 0;
  std::uint32_t result = 0;
};

class InnerResolver final : public cloud::IRequestResolver {
 public:
  explicit InnerResolver(Shared& shared) : shared_(shared) {}
  ~InnerResolver() override { shared_.destroyed.push_back("resolver"); }

  std::uint32_t resolve(const cloud::upload_request& request,
                        cloud::upload_observer* observer) override {
    shared_.inner.push_back("upload " + std::string(request.service.view()) +
                            (observer != nullptr ? " observed" : ""));
    return shared_.result;
  }
  cloud::request_status resolve(const cloud::technology_request& request,
                                cloud::request_reply& reply) override {
    shared_.inner.push_back("technology " + std::string(request.service.view()));
    reply.code = shared_.reply_code;
    return shared_.status;
  }
  cloud::request_status resolve(const cloud::connect_request& request,
                                cloud::request_reply& reply) override {
    shared_.inner.push_back("connect " + std::string(request.service.view()));
    reply.code = shared_.reply_code;
    return shared_.status;
  }
  std::uint32_t set_proxy(const cloud::proxy_settings& settings,
                          cloud::proxy_target target) override {
    shared_.inner.push_back("set_proxy " + std::string(settings.host.view()) + " " +
                            std::to_string(static_cast<std::uint32_t>(target)));
    return shared_.result;
  }
  std::uint32_t disable_proxy(cloud::proxy_target target) override {
    shared_.inner.push_back("disable_proxy " + std::to_string(static_cast<std::uint32_t>(target)));
    return shared_.result;
  }

 private:
  Shared& shared_;
};

class Breaker final : public support::OutcomeRecorder {
 public:
  explicit Breaker(Shared& shared) : shared_(shared) {}
  ~Breaker() override { shared_.destroyed.push_back("breaker"); }

 private:
  Shared& shared_;
};

class GuardedResolver : public testing::Test {
 protected:
  GuardedResolver() {
    auto made = std::make_unique<Breaker>(shared);
    breaker = made.get();
    resolver = std::make_unique<guarded_resolver>(std::make_unique<InnerResolver>(shared),
                                                  std::move(made));
    upload.service = technology.service = connect.service = "svc";
    connect.request_method = "do";
  }

  support::RecordingLog log;
  Shared shared;
  Breaker* breaker;
  std::unique_ptr<guarded_resolver> resolver;
  cloud::upload_request upload;
  cloud::technology_request technology;
  cloud::connect_request connect;
  cloud::request_reply reply;
};

TEST_F(GuardedResolver, AsksSendsAndReports) {
  resolver->resolve(upload, nullptr);
  resolver->resolve(technology, reply);
  resolver->resolve(connect, reply);
  EXPECT_EQ(breaker->asked(), (Lines{"svc", "svc", "svc"}));
  EXPECT_EQ(shared.inner, (Lines{"upload svc", "technology svc", "connect svc"}));
  EXPECT_EQ(breaker->outcomes(), (Lines{"success svc", "success svc", "success svc"}));
}

TEST_F(GuardedResolver, RefusesWhatTheBreakerRefuses) {
  breaker->allow(false);
  reply.text = "former";
  reply.code = -3;

  EXPECT_EQ(resolver->resolve(upload, nullptr), 5U);
  for (const cloud::request_status status :
       {resolver->resolve(technology, reply), resolver->resolve(connect, reply)}) {
    EXPECT_EQ(status.error_type, 1U);
    EXPECT_EQ(status.code, 5U);
  }

  EXPECT_TRUE(shared.inner.empty());
  EXPECT_TRUE(breaker->outcomes().empty());
  EXPECT_EQ(std::string(reply.text.view()), "former");
  EXPECT_EQ(reply.code, -3);
}

TEST_F(GuardedResolver, WarnsOfEachRefusal) {
  breaker->allow(false);
  resolver->resolve(connect, reply);
  resolver->resolve(upload, nullptr);
  const auto lines = log.lines(8);
  ASSERT_EQ(lines.size(), 2U);
  for (const auto& line : lines) EXPECT_EQ(line.text, L"open circuit for service svc");
}

TEST_F(GuardedResolver, ReadsAMissingServiceAsAnEmptyOne) {
  connect.service = cloud::text();
  resolver->resolve(connect, reply);
  EXPECT_EQ(breaker->asked(), Lines{""});
  EXPECT_EQ(breaker->outcomes(), Lines{"success "});
}

TEST_F(GuardedResolver, GivesTheStatusBackUnchanged) {
  shared.status = {2, 20011};
  for (const cloud::request_status status :
       {resolver->resolve(technology, reply), resolver->resolve(connect, reply)}) {
    EXPECT_EQ(status.error_type, 2U);
    EXPECT_EQ(status.code, 20011U);
  }
  shared.result = 20012;
  EXPECT_EQ(resolver->resolve(upload, nullptr), 20012U);
  EXPECT_EQ(breaker->outcomes(), (Lines{"failure svc", "failure svc 0 20011 do", "failure svc"}));
}

TEST_F(GuardedResolver, ReportsAFailureOfThisSystemAsASuccess) {
  shared.status = {1, 13};
  const cloud::request_status status = resolver->resolve(connect, reply);
  EXPECT_EQ(status.error_type, 1U);
  EXPECT_EQ(status.code, 13U);
  EXPECT_EQ(breaker->outcomes(), Lines{"success svc"});
}

TEST_F(GuardedResolver, ReportsTheErrorInAReply) {
  shared.reply_code = 32003;
  resolver->resolve(connect, reply);
  resolver->resolve(technology, reply);
  EXPECT_EQ(reply.code, 32003);
  EXPECT_EQ(breaker->outcomes(), (Lines{"failure svc 1 32003 do", "failure svc"}));
}

TEST_F(GuardedResolver, HandsTheUploadObserverOn) {
  class Observer final : public cloud::upload_observer {
    void on_progress(const cloud::upload_progress&) override {}
  } observer;
  resolver->resolve(upload, &observer);
  EXPECT_EQ(shared.inner, Lines{"upload svc observed"});
}

TEST_F(GuardedResolver, LeavesTheProxyToTheInnerResolver) {
  breaker->allow(false);
  shared.result = 7;
  cloud::proxy_settings settings;
  settings.host = "host";
  EXPECT_EQ(resolver->set_proxy(settings, static_cast<cloud::proxy_target>(3)), 7U);
  EXPECT_EQ(resolver->disable_proxy(cloud::proxy_target::technology), 7U);
  EXPECT_EQ(shared.inner, (Lines{"set_proxy host 3", "disable_proxy 1"}));
  EXPECT_TRUE(breaker->asked().empty());
  EXPECT_TRUE(breaker->outcomes().empty());
}

TEST_F(GuardedResolver, DestroysTheBreakerBeforeTheResolver) {
  resolver.reset();
  EXPECT_EQ(shared.destroyed, (Lines{"breaker", "resolver"}));
}

TEST_F(GuardedResolver, BehavesAsIfUnguardedWithTheDummy) {
  guarded_resolver plain(std::make_unique<InnerResolver>(shared),
                         std::make_unique<dummy_circuit_breaker>());
  shared.status = {2, 20011};
  shared.result = 20012;
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(plain.resolve(connect, reply).code, 20011U);
    EXPECT_EQ(plain.resolve(technology, reply).error_type, 2U);
    EXPECT_EQ(plain.resolve(upload, nullptr), 20012U);
  }
  EXPECT_EQ(shared.inner.size(), 300U);
  EXPECT_TRUE(log.nothing_logged(8));
}

TEST(DummyCircuitBreaker, AllowsEverythingWhateverItHears) {
  dummy_circuit_breaker breaker;
  for (int i = 0; i < 100; ++i) {
    breaker.process_request_server_error("svc");
    breaker.process_request_server_error("svc", {"20011", 0, "do"});
    breaker.process_request_succeded("svc");
    EXPECT_TRUE(breaker.IsSendAllowed("svc"));
  }
  EXPECT_TRUE(breaker.IsSendAllowed(""));
}

/// Answers at once; shared by all threads without a lock.
class QuietResolver final : public cloud::IRequestResolver {
 public:
  std::uint32_t resolve(const cloud::upload_request&, cloud::upload_observer*) override {
    return 20012;
  }
  cloud::request_status resolve(const cloud::technology_request&, cloud::request_reply&) override {
    return {2, 20011};
  }
  cloud::request_status resolve(const cloud::connect_request&,
                                cloud::request_reply& reply) override {
    reply.code = 32005;
    reply.text = R"({"code":1011})";
    return {};
  }
  std::uint32_t set_proxy(const cloud::proxy_settings&, cloud::proxy_target) override { return 0; }
  std::uint32_t disable_proxy(cloud::proxy_target) override { return 0; }
};

TEST(GuardedResolverOnManyThreads, ReportsEachOutcomeOnce) {
  auto made = std::make_unique<support::OutcomeRecorder>();
  support::OutcomeRecorder* const breaker = made.get();
  guarded_resolver resolver(std::make_unique<QuietResolver>(), std::move(made));
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 16; ++i) {
      threads.emplace_back([&resolver] {
        for (int round = 0; round < 20; ++round) {
          cloud::request_reply reply;
          cloud::connect_request connect;
          connect.service = "svc";
          connect.request_method = "do";
          resolver.resolve(connect, reply);
          resolver.resolve(cloud::technology_request(), reply);
          resolver.resolve(cloud::upload_request(), nullptr);
        }
      });
    }
  }
  std::size_t detailed = 0;
  for (const std::string& outcome : breaker->outcomes()) {
    detailed += outcome == "failure svc 2 32005.1011 do" ? 1 : 0;
  }
  EXPECT_EQ(detailed, 320U);
  EXPECT_EQ(breaker->outcomes().size(), 960U);
}

}  // namespace
