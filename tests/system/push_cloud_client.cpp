#include <map>
#include <optional>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/cloud/Proxy.h"
#include "system/OwnKit.h"
#include "system/push_cloud_listener.h"

namespace kit_test {

namespace {

using devkit::Cloud;
using devkit::CloudAdmin;
using nlohmann::json;

devkit::Fault push_fault(const char* kind, const char* method) {
  devkit::Fault failure = fault(kind);
  failure.service = "push";
  failure.method = method;
  return failure;
}

bool is_connected(Cloud& cloud) {
  const json streams = cloud.pushes().streams().list();
  return !streams.empty() && streams[0].value("connected", false);
}

/// The number of the one stream's connection, 0 if there is none.
std::uint64_t connection(Cloud& cloud) {
  const json streams = cloud.pushes().streams().list();
  return streams.empty() ? 0 : streams[0].value("connection", std::uint64_t{0});
}

/// Who listens for "Mail", and holds each callback up until the gate opens.
struct HeldListener {
  HeldListener() {
    listener.then([gate = gate] { gate.wait(); });
    EXPECT_EQ(listen(client, listener, "Mail"), 0u);
  }

  Cloud cloud{{}};
  PushListener listener;
  const waiting::Gate gate;
  Client client{cloud.address()};
};

/// Every instance made in the meantime waits this little after a stream that broke.
class PushClient : public testing::Test {
 private:
  const Variable retry_{"SPLICE_PUSH_RETRY_MS", "10"};
};

TEST_F(PushClient, TellsAServerThatIsNotThere) {
  PushListener listener;
  Client client(dead_address());
  EXPECT_EQ(listen(client, listener, "Mail"), status::could_not_connect);
}

TEST_F(PushClient, TellsHowARegistrationFails) {
  Cloud cloud({});
  PushListener listener;
  Client client(cloud.address());
  const std::map<std::string, std::uint32_t> expected = {{"close", status::closed_midway},
                                                         {"error", status::unexpected_answer},
                                                         {"http", status::server_error},
                                                         {"rubbish", status::unexpected_answer}};
  for (const auto& [kind, number] : expected) {
    devkit::Fault failure = push_fault(kind.c_str(), "register");
    failure.count = 1;
    cloud.faults().add(failure);
    EXPECT_EQ(listen(client, listener, "Mail"), number) << kind;
  }
  EXPECT_EQ(cloud.pushes().push_text({"Mail", ""}, "text"), 0u);
  EXPECT_EQ(listen(client, listener, "Mail"), status::ok);
  EXPECT_EQ(cloud.pushes().push_text({"Mail", ""}, "text"), 1u);
  EXPECT_TRUE(listener.hears(1));
}

TEST_F(PushClient, IsNotConcernedByFaultsOfAllServices) {
  Cloud cloud({});
  cloud.faults().add(fault("http"));
  PushListener listener;
  Client client(cloud.address());
  EXPECT_EQ(listen(client, listener, "Mail"), status::ok);
}

TEST_F(PushClient, TellsWrongCalls) {
  Cloud cloud({});
  PushListener listener;
  Client client(cloud.address());
  const cirrel_push_source source = {"token", "Mail", "device"};
  const cirrel_push_source headless = {nullptr, "Mail", "device"};
  const cirrel_push_destination destination = {"Mail", "device"};
  const cirrel_push_destination footless = {"Mail", nullptr};
  const cirrel_push_callbacks callbacks = listener.callbacks();
  const cirrel_push_callbacks deaf = {callbacks.on_done, nullptr, nullptr};
  const auto call = [&](const cirrel_push_source* from, const cirrel_push_destination* to,
                        const char* topic, const char* transport,
                        const cirrel_push_callbacks* back) {
    return client->connect_register(client.instance(), from, to, topic, transport, back);
  };
  const char* const event = "event";
  const char* const web = "secure_web";
  EXPECT_EQ(call(nullptr, &destination, event, web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&headless, &destination, event, web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, nullptr, event, web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, &footless, event, web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, "command", web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, nullptr, web, &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, event, "web", &callbacks), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, event, web, nullptr), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, event, web, &deaf), status::invalid_argument);
  EXPECT_EQ(call(&source, &destination, event, web, &callbacks), status::ok);
}

TEST_F(PushClient, RegistersAgainByItselfAfterTheCloudsRestart) {
  std::optional<Cloud> cloud(std::in_place, Cloud::Options());
  const std::uint16_t port = cloud->port();
  PushListener mail;
  PushListener news;
  Client client(cloud->address());
  listen(client, mail, "Mail");
  listen(client, news, "News");
  for (std::size_t round = 1; round <= 3; ++round) {
    ASSERT_TRUE(waiting::until([&] { return is_connected(*cloud); }));
    EXPECT_EQ(cloud->pushes().push_text({"Mail", "device"}, "text"), 1u);
    EXPECT_EQ(cloud->pushes().push_text({"News", "device"}, "text"), 1u);
    ASSERT_TRUE(mail.hears(round) && news.hears(round));
    cloud.reset();
    cloud.emplace(Cloud::Options{port, {}, {}, 500});
  }
}

TEST_F(PushClient, LosesNoRegistrationThatIsMadeWhileTheCloudRestarts) {
  std::optional<Cloud> cloud(std::in_place, Cloud::Options());
  const std::uint16_t port = cloud->port();
  PushListener listener;
  Client client(cloud->address());
  constexpr int count = 60;
  std::atomic<bool> is_over = false;
  std::thread registering([&] {
    for (int i = 0; i < count; ++i) {
      while (listen(client, listener, "App" + std::to_string(i)) != status::ok)
        std::this_thread::yield();
    }
    is_over = true;
  });
  while (!is_over) {
    std::this_thread::yield();
    cloud.reset();
    cloud.emplace(Cloud::Options{port, {}, {}, 500});
    // Some time for registrations, however slow the machine.
    const auto before = cloud->pushes().streams().registrations();
    waiting::until(
        [&] { return is_over || cloud->pushes().streams().registrations() > before + 10; });
  }
  registering.join();
  EXPECT_TRUE(waiting::until([&] {
    const json streams = cloud->pushes().streams().list();
    return streams.size() == 1 && streams[0]["registrations"].size() == count;
  })) << cloud->pushes().streams().list();
}

TEST_F(PushClient, ComesBackAfterABrokenStream) {
  Cloud cloud({});
  const CloudAdmin admin(cloud.address());
  PushListener listener;
  Client client(cloud.address());
  listen(client, listener, "Mail");
  for (std::size_t round = 1; round <= 5; ++round) {
    ASSERT_TRUE(waiting::until([&] { return is_connected(cloud); }));
    admin.push_event({"Mail", "device"}, "arrived");
    ASSERT_TRUE(listener.hears(round));
    EXPECT_EQ(admin.break_streams(), 1u);
  }
}

TEST_F(PushClient, KeepsTryingWhenNoStreamCanBeMade) {
  Cloud cloud({});
  for (const char* const kind : {"http", "close", "rubbish", "error"}) {
    devkit::Fault failure = push_fault(kind, "stream");
    failure.count = 1;
    cloud.faults().add(failure);
  }
  PushListener listener;
  Client client(cloud.address());
  ASSERT_EQ(listen(client, listener, "Mail"), status::ok);
  EXPECT_EQ(cloud.pushes().push_text({"Mail", ""}, "meanwhile"), 1u);
  EXPECT_TRUE(listener.hears(1));
  EXPECT_TRUE(cloud.faults().list().empty());
}

TEST_F(PushClient, GivesUpOnAStreamThatIsSilent) {
  const Variable silence("SPLICE_PUSH_SILENCE_MS", "1000");
  Cloud cloud({});
  devkit::Fault stall = push_fault("stall", "stream");
  stall.count = 1;
  stall.milliseconds = 3600 * 1000;
  cloud.faults().add(stall);
  PushListener listener;
  Client client(cloud.address());
  listen(client, listener, "Mail");
  cloud.pushes().push_text({"Mail", ""}, "text");
  EXPECT_TRUE(listener.hears(1));
}

TEST_F(PushClient, WaitsForARunningCallbackBeforeItsInstanceEnds) {
  HeldListener held;
  held.cloud.pushes().push_text({"Mail", ""}, "one");
  held.cloud.pushes().push_text({"Mail", ""}, "two");
  ASSERT_TRUE(held.listener.hears(1));
  std::uint32_t result = 1;
  const waiting::Attempt ending(
      [&] { result = held.client->zvcirrel_uninit(held.client.instance()); });
  // The stream goes first, so from here on the end is waiting for the callback alone.
  EXPECT_TRUE(waiting::until([&] { return held.cloud.pushes().streams().list().empty(); }));
  EXPECT_FALSE(ending.is_done());
  held.gate.open();
  ASSERT_TRUE(ending.ends());
  EXPECT_EQ(result, status::ok);
  EXPECT_EQ(held.listener.texts().size(), 1u);
}

TEST_F(PushClient, DoesNotEndItsInstanceInsideACallback) {
  Cloud cloud({});
  PushListener listener;
  Client client(cloud.address());
  std::atomic<std::uint32_t> result = 0;
  const waiting::Gate done;
  listener.then([&] {
    result = client->zvcirrel_uninit(client.instance());
    done.open();
  });
  listen(client, listener, "Mail");
  cloud.pushes().push_text({"Mail", ""}, "text");
  ASSERT_TRUE(done.wait());
  EXPECT_EQ(result, status::wrong_thread);
}

TEST_F(PushClient, LetsACallbackAskAndRegister) {
  Cloud cloud({});
  PushListener listener;
  PushListener other;
  Client client(cloud.address());
  std::atomic<std::uint32_t> asked = 1;
  std::atomic<std::uint32_t> registered = 1;
  const waiting::Gate done;
  listener.then([&] {
    asked = client.ask("time").status;
    registered = listen(client, other, "News");
    done.open();
  });
  listen(client, listener, "Mail");
  cloud.pushes().push_text({"Mail", ""}, "text");
  ASSERT_TRUE(done.wait());
  EXPECT_EQ(asked, status::ok);
  EXPECT_EQ(registered, status::ok);
  cloud.pushes().push_text({"News", ""}, "text");
  EXPECT_TRUE(other.hears(1));
}

TEST_F(PushClient, EndsARegistrationInFlightWithItsInstance) {
  Cloud cloud({});
  devkit::Fault stall = push_fault("stall", "register");
  stall.count = 1;
  cloud.faults().add(stall);
  PushListener listener;
  Client client(cloud.address());
  std::uint32_t result = 0;
  std::thread registering([&] { result = listen(client, listener, "Mail"); });
  EXPECT_TRUE(waiting::until([&] { return cloud.faults().list().empty(); }));
  EXPECT_EQ(client->zvcirrel_uninit(client.instance()), 0u);
  registering.join();
  EXPECT_EQ(result, status::cancelled);
  EXPECT_EQ(listen(client, listener, "Mail"), status::invalid_argument);
}

TEST_F(PushClient, CallsBackFromSeveralThreadsAtOnceIfTold) {
  const Variable threads("SPLICE_PUSH_THREADS", "4");
  HeldListener held;
  for (int i = 0; i < 8; ++i) held.cloud.pushes().push_text({"Mail", ""}, "text");
  EXPECT_TRUE(held.listener.hears(4));
  EXPECT_EQ(held.listener.texts().size(), 4u);
  held.gate.open();
  EXPECT_TRUE(held.listener.hears(8));
}

TEST_F(PushClient, FollowsTheProxyAtOnce) {
  Cloud cloud({});
  devkit::Proxy proxy;
  PushListener listener;
  Client client(cloud.address());
  listen(client, listener, "Mail");
  ASSERT_TRUE(waiting::until([&] { return is_connected(cloud); }));
  const std::uint64_t direct = connection(cloud);
  const std::string address = "127.0.0.1:" + std::to_string(proxy.port());
  client.set(ZVCIRREL_OPT_PROXY, address.c_str(), "", "");
  ASSERT_TRUE(waiting::until([&] { return connection(cloud) > direct; }));
  EXPECT_EQ(proxy.forwarded(), 1u);
  cloud.pushes().push_text({"Mail", ""}, "by the proxy");
  EXPECT_TRUE(listener.hears(1));
  client.set(ZVCIRREL_OPT_PROXY, "", "", "");
  EXPECT_EQ(listen(client, listener, "News"), status::ok);
  EXPECT_EQ(proxy.forwarded(), 1u);
}

TEST_F(PushClient, FollowsTheServerAtOnce) {
  Cloud cloud({});
  Cloud separate({});
  PushListener listener;
  Client client(cloud.address());
  listen(client, listener, "Mail");
  ASSERT_TRUE(waiting::until([&] { return is_connected(cloud); }));
  client.set(ZVCIRREL_OPT_LOCAL_CLOUD, separate.address().c_str());
  ASSERT_TRUE(waiting::until([&] { return is_connected(separate); }));
  EXPECT_EQ(separate.pushes().push_text({"Mail", ""}, "text"), 1u);
  EXPECT_TRUE(listener.hears(1));
  EXPECT_TRUE(waiting::until([&] { return cloud.pushes().streams().list().empty(); }));
}

}  // namespace

}  // namespace kit_test
