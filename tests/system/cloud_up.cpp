#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "system/kit_client.h"

namespace kit_test {

namespace {

using devkit::Cloud;

/// What a callback's context does, and knows of its calls.
struct Listener {
  std::mutex mutex;
  std::condition_variable changed;
  int started = 0;
  int finished = 0;
  bool hold = false;
  Client* removes_itself_from = nullptr;
  std::uint32_t removal = ~0u;

  bool wait_for(int& counter, int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(30), [&] { return counter >= count; });
  }
  void let_go() {
    const std::lock_guard guard(mutex);
    hold = false;
    changed.notify_all();
  }
};

void on_cloud_up(void* context) {
  Listener& listener = *static_cast<Listener*>(context);
  std::unique_lock lock(listener.mutex);
  ++listener.started;
  listener.changed.notify_all();
  if (listener.removes_itself_from != nullptr) {
    lock.unlock();
    const std::uint32_t removal =
        listener.removes_itself_from->set(ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB, &on_cloud_up);
    lock.lock();
    listener.removal = removal;
  }
  listener.changed.wait(lock, [&] { return !listener.hold; });
  ++listener.finished;
  listener.changed.notify_all();
}

std::uint16_t free_port() {
  return Cloud({}).port();
}

std::string address(std::uint16_t port) {
  return "http://127.0.0.1:" + std::to_string(port);
}

bool becomes(Client& client, bool up) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (client.is_up() != up) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

class CloudUp : public testing::Test {
 protected:
  CloudUp() { devkit::os::set_environment("SPLICE_HEALTH_MS", "20"); }
  ~CloudUp() override { devkit::os::set_environment("SPLICE_HEALTH_MS", std::nullopt); }
};

TEST_F(CloudUp, IsToldEachTimeTheServerAppears) {
  const std::uint16_t port = free_port();
  Client client(address(port));
  Listener listener;
  ASSERT_EQ(client.set(ZVCIRREL_OPT_CLOUD_INIT, 1u), 0u);
  ASSERT_EQ(client.set(ZVCIRREL_OPT_ADD_CLOUD_UP_CB, &on_cloud_up, static_cast<void*>(&listener)),
            0u);
  EXPECT_FALSE(client.is_up());
  std::optional<Cloud> cloud;
  for (int round = 1; round <= 2; ++round) {
    cloud.emplace(Cloud::Options{.port = port});
    EXPECT_TRUE(listener.wait_for(listener.finished, round));
    EXPECT_TRUE(client.is_up());
    cloud.reset();
    EXPECT_TRUE(becomes(client, false));
  }
  EXPECT_EQ(listener.started, 2);
}

TEST_F(CloudUp, FollowsAHeartbeatThatFails) {
  Cloud cloud({});
  Client client(cloud.address());
  client.set(ZVCIRREL_OPT_CLOUD_INIT, 1u);
  ASSERT_TRUE(becomes(client, true));
  devkit::Fault failure = fault("http");
  failure.service = "health";
  cloud.faults().add(failure);
  EXPECT_TRUE(becomes(client, false));
  EXPECT_EQ(client.ask("time").status, status::ok);
  cloud.faults().clear();
  EXPECT_TRUE(becomes(client, true));
}

TEST_F(CloudUp, RemovalWaitsForTheRunningCallback) {
  Cloud cloud({});
  Client client(cloud.address());
  Listener listener;
  listener.hold = true;
  client.set(ZVCIRREL_OPT_ADD_CLOUD_UP_CB, &on_cloud_up, static_cast<void*>(&listener));
  client.set(ZVCIRREL_OPT_CLOUD_INIT, 1u);
  ASSERT_TRUE(listener.wait_for(listener.started, 1));
  std::thread releasing([&] { listener.let_go(); });
  EXPECT_EQ(client.set(ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB, &on_cloud_up), 0u);
  EXPECT_EQ(listener.finished, 1);
  releasing.join();
  EXPECT_EQ(client.set(ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB, &on_cloud_up), status::invalid_argument);
}

TEST_F(CloudUp, ACallbackMayRemoveItself) {
  Cloud cloud({});
  Client client(cloud.address());
  Listener listener;
  listener.removes_itself_from = &client;
  client.set(ZVCIRREL_OPT_ADD_CLOUD_UP_CB, &on_cloud_up, static_cast<void*>(&listener));
  client.set(ZVCIRREL_OPT_CLOUD_INIT, 1u);
  EXPECT_TRUE(listener.wait_for(listener.finished, 1));
  EXPECT_EQ(listener.removal, 0u);
}

}  // namespace

}  // namespace kit_test
