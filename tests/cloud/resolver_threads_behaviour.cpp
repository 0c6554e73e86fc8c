#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/ResolverTest.h"

namespace {

using support::is_status;

constexpr int thread_count = 16;
constexpr int rounds = 25;

template <class Work>
void on_all_threads(Work work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < thread_count; ++i) threads.emplace_back([&work, i] { work(i); });
}

class ManyThreads : public support::ResolverTest {
 protected:
  ManyThreads() {
    make_resolver(R"({"categories": {}, "services": {"a": "x", "b": "y", "c": "z"}})");
    client.forget_calls();
    // Each reply names its request, so that a mix-up shows.
    client.answer_by([](const support::Ask& ask) {
      return support::answer_text(nlohmann::json{{"result", {{"of", ask.body}}}}.dump());
    });
  }

  static cloud::connect_request request_to(const std::string& service) {
    cloud::connect_request request;
    request.service = service.c_str();
    request.request_method = "do";
    return request;
  }
};

TEST_F(ManyThreads, BuildTheInstanceOfEachServiceOnce) {
  const std::vector<std::string> services = {"a", "b", "c"};
  on_all_threads([&](int thread) {
    for (int round = 0; round < rounds; ++round) {
      const auto& service = services[static_cast<std::size_t>(thread + round) % services.size()];
      cloud::request_reply answer;
      EXPECT_TRUE(is_status(resolver->resolve(request_to(service), answer), 0, 0));
    }
  });

  EXPECT_EQ(client.count_starting("init"), 3U);
  std::set<std::pair<std::string, std::string>> used;
  for (const support::Ask& ask : client.asks()) used.insert({ask.service, ask.instance});
  EXPECT_EQ(used.size(), 3U);
}

TEST_F(ManyThreads, NumberTheirRequestsWithoutRepeatingOne) {
  on_all_threads([&](int) {
    for (int round = 0; round < rounds; ++round) {
      cloud::request_reply answer;
      EXPECT_TRUE(is_status(resolver->resolve(request_to("svc"), answer), 0, 0));
    }
  });

  std::set<int> ids;
  for (const support::Ask& ask : client.asks()) {
    ids.insert(nlohmann::json::parse(ask.body).at("id").get<int>());
  }
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(thread_count * rounds));
  EXPECT_EQ(*ids.begin(), 1);
  EXPECT_EQ(*ids.rbegin(), thread_count * rounds);
}

TEST_F(ManyThreads, GetTheirOwnAnswers) {
  on_all_threads([&](int thread) {
    for (int round = 0; round < rounds; ++round) {
      const std::string body = std::to_string(thread) + "." + std::to_string(round);
      cloud::technology_request request;
      request.service = round % 2 == 0 ? "a" : "svc";
      request.message = body.c_str();
      cloud::request_reply answer;
      EXPECT_TRUE(is_status(resolver->resolve(request, answer), 0, 0));
      EXPECT_EQ(std::string(answer.text.view()), R"({"result": {"of": ")" + body + R"("}})");
    }
  });
  EXPECT_EQ(client.freed().size(), static_cast<std::size_t>(thread_count * rounds));
}

// Requests, uploads and changes of the proxy, all at once: nothing to assert but that each ends,
// and that the sanitizers have nothing to say.
TEST_F(ManyThreads, MayDoEverythingAtOnce) {
  on_all_threads([&](int thread) {
    cloud::proxy_settings proxy;
    proxy.host = "proxy";
    for (int round = 0; round < rounds; ++round) {
      const auto target = static_cast<cloud::proxy_target>(round % 4);
      const std::string service(1, static_cast<char>('a' + round % 4));
      switch (thread % 4) {
        case 0:
          EXPECT_EQ(resolver->set_proxy(proxy, target), 0U);
          EXPECT_EQ(resolver->disable_proxy(target), 0U);
          break;
        case 1: {
          cloud::upload_request upload;
          upload.service = service.c_str();
          upload.path = "/file";
          EXPECT_EQ(resolver->resolve(upload, nullptr), 0U);
          break;
        }
        default: {
          cloud::request_reply answer;
          EXPECT_TRUE(is_status(resolver->resolve(request_to(service), answer), 0, 0));
          break;
        }
      }
    }
  });
  EXPECT_EQ(client.count_starting("init"), 3U);
}

// A request that blocks in the library holds up no other, not even one that builds an instance.
TEST_F(ManyThreads, DoNotWaitForARequestThatBlocks) {
  std::mutex mutex;
  std::condition_variable changed;
  bool inside = false;
  bool released = false;
  client.answer_by([&](const support::Ask& ask) {
    if (ask.service == "a") {
      std::unique_lock lock(mutex);
      inside = true;
      changed.notify_all();
      changed.wait(lock, [&] { return released; });
    }
    return support::answer_text(R"({"result": {}})");
  });

  std::jthread blocked([&] {
    cloud::request_reply answer;
    EXPECT_TRUE(is_status(resolver->resolve(request_to("a"), answer), 0, 0));
  });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return inside; });
  }
  EXPECT_TRUE(is_status(connect("b"), 0, 0));
  EXPECT_TRUE(is_status(connect("svc"), 0, 0));
  cloud::proxy_settings proxy;
  proxy.host = "proxy";
  EXPECT_EQ(resolver->set_proxy(proxy, cloud::proxy_target::per_service), 0U);
  {
    const std::lock_guard lock(mutex);
    released = true;
    changed.notify_all();
  }
}

}  // namespace
