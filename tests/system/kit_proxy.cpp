#include <condition_variable>
#include <mutex>

#include "_base/waiting.h"
#include "cloud/proxy_msgbus.h"
#include "frame/load_exported_plugin.h"
#include "system/OwnKit.h"

namespace kit_test {

namespace {

using nlohmann::json;
using proxy_msgbus::iclient_app;
using proxy_msgbus::iclient_core;
using proxy_msgbus::proxy_info;

constexpr auto patience = std::chrono::seconds(30);

json settings(const std::string& host, std::uint32_t port) {
  return {{"enabled", true}, {"type", 1}, {"host", host}, {"port", port}};
}

/// Counts its calls, and can be held in the middle of one.
template <class Facet>
class Listener final : public Facet {
 public:
  std::uint32_t OnProxySettingsChanged() override {
    std::unique_lock lock(mutex_);
    ++calls_;
    changed_.notify_all();
    if (in_call_) {
      lock.unlock();
      in_call_();
      lock.lock();
    }
    changed_.wait(lock, [&] { return !held_; });
    ++ended_;
    changed_.notify_all();
    return 0;
  }
  std::uint32_t ignored_1() override { return 0; }
  std::uint32_t ignored_2() override { return 0; }
  std::uint32_t ignored_3() override { return 0; }
  void* scalar_deleting_destructor(std::uint32_t) override { return this; }

  bool hears(int calls) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return calls_ >= calls; });
  }
  bool ends(int calls) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return ended_ >= calls; });
  }
  int calls() {
    const std::lock_guard guard(mutex_);
    return calls_;
  }
  int ended() {
    const std::lock_guard guard(mutex_);
    return ended_;
  }
  void hold(bool held) {
    const std::lock_guard guard(mutex_);
    held_ = held;
    changed_.notify_all();
  }
  /// Before it is added.
  void in_each_call(std::function<void()> action) { in_call_ = std::move(action); }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> in_call_;
  int calls_ = 0;
  int ended_ = 0;
  bool held_ = false;
};

std::filesystem::path library_name() {
  return devkit::os::library_name("proxy.msgbus.client");
}

/// The kit's proxy library, its file in a folder of its own.
class KitProxy : public testing::Test {
 protected:
  void write_text(const std::string& content) { folder_.write("proxy.json", content); }
  void write(const json& content) { write_text(content.dump()); }

  plugin_handle<iclient_app> load_app() {
    return zv::framework::load_exported_plugin<iclient_app>(library_.wstring().c_str(),
                                                            L"proxy.msgbus.client.app",
                                                            proxy_msgbus::IID_iclient_app, status);
  }
  plugin_handle<iclient_core> load_core() {
    return zv::framework::load_exported_plugin<iclient_core>(
        library_.wstring().c_str(), L"proxy.msgbus.client.core", proxy_msgbus::IID_iclient_core,
        status);
  }

  const std::filesystem::path library_ = KIT_FOLDER / library_name();
  const Folder folder_;
  const Variable named_{"SPLICE_PROXY", devkit::path_text(folder_.path() / "proxy.json")};
  std::uint32_t status = ~0u;
};

TEST_F(KitProxy, GivesWhatItsFileSaysToTheAppClient) {
  write({{"enabled", true},
         {"type", 3},
         {"host", "pr\xC3\xB6xy"},
         {"port", 3128},
         {"user", "me"},
         {"password", "secret"}});
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  bool enabled = false;
  EXPECT_EQ(client->get_enabled_state(&enabled), 0u);
  EXPECT_TRUE(enabled);
  std::uint32_t type = 0;
  EXPECT_EQ(client->get_proxy_type(&type), 0u);
  EXPECT_EQ(type, 3u);
  proxy_info info;
  EXPECT_EQ(client->get_proxy(2, &info), 87u);
  EXPECT_EQ(client->get_proxy(3, &info), 0u);
  EXPECT_STREQ(info.host, L"pr\u00f6xy");
  EXPECT_EQ(info.port, 3128u);
  EXPECT_STREQ(info.user, L"me");
  EXPECT_STREQ(info.password, L"secret");
}

TEST_F(KitProxy, GivesWhatItsFileSaysToTheCoreClient) {
  write(settings("proxy", 1));
  const auto client = load_core();
  ASSERT_EQ(status, 0u);
  bool enabled = false;
  EXPECT_EQ(client->get_enabled_state(&enabled), 0u);
  EXPECT_TRUE(enabled);
  proxy_info info;
  EXPECT_EQ(client->get_proxy(&info), 0u);
  EXPECT_STREQ(info.host, L"proxy");
  EXPECT_STREQ(info.user, L"");
}

TEST_F(KitProxy, IsOffWithoutAFile) {
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  bool enabled = true;
  EXPECT_EQ(client->get_enabled_state(&enabled), 0u);
  EXPECT_FALSE(enabled);
}

TEST_F(KitProxy, IsOffAndSaysWhyWithABrokenFile) {
  const std::string long_name(260, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"", "not a JSON object"},
      {"[1]", "not a JSON object"},
      {R"({"enabled":"yes"})", "\"enabled\" is to be true or false"},
      {R"({"enabled":true,"port":"80"})", "\"port\" is to be a number from 0 to 65535"},
      {R"({"enabled":true,"port":65536})", "\"port\" is to be a number from 0 to 65535"},
      {R"({"enabled":true,"host":7})", "\"host\" is to be a text"},
      {R"({"enabled":true,"host":")" + long_name + "\"}", "\"host\" is longer than 259 characters"},
      {R"({"enabled":true,"fail":{"get_proxies":5}})", "\"get_proxies\""},
      {R"({"enabled":true,"fail":5})", "\"fail\" is to be an object"}};
  for (const auto& [content, sentence] : cases) {
    write_text(content);
    testing::internal::CaptureStderr();
    const auto client = load_app();
    const std::string said = testing::internal::GetCapturedStderr();
    ASSERT_EQ(status, 0u);
    bool enabled = true;
    EXPECT_EQ(client->get_enabled_state(&enabled), 0u);
    EXPECT_FALSE(enabled) << content;
    EXPECT_NE(said.find(sentence), std::string::npos) << content << ": " << said;
    EXPECT_NE(said.find("proxy.json"), std::string::npos) << said;
  }
}

TEST_F(KitProxy, NeverShowsThePassword) {
  write_text(R"({"enabled":"yes","password":"secret"})");
  testing::internal::CaptureStderr();
  const auto client = load_app();
  EXPECT_EQ(testing::internal::GetCapturedStderr().find("secret"), std::string::npos);
}

TEST_F(KitProxy, TellsOfEachChangeWhileThereIsCommunication) {
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  Listener<proxy_msgbus::client_observer_app> listener;
  EXPECT_EQ(client->initialize_communication(""), 87u);
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  EXPECT_TRUE(client->add_observer(&listener, 0));
  EXPECT_FALSE(client->add_observer(&listener, 1));

  write(settings("first", 1));
  EXPECT_TRUE(listener.hears(1));
  proxy_info info;
  EXPECT_EQ(client->get_proxy(1, &info), 0u);
  EXPECT_STREQ(info.host, L"first");
  write(settings("other", 2));
  EXPECT_TRUE(listener.hears(2));
  EXPECT_EQ(client->get_proxy(1, &info), 0u);
  EXPECT_STREQ(info.host, L"other");
  std::filesystem::remove(folder_.path() / "proxy.json");
  EXPECT_TRUE(listener.hears(3));
  bool enabled = true;
  EXPECT_EQ(client->get_enabled_state(&enabled), 0u);
  EXPECT_FALSE(enabled);

  EXPECT_FALSE(client->remove_observer(&listener, 1));
  EXPECT_TRUE(client->remove_observer(&listener, 0));
  EXPECT_FALSE(client->remove_observer(&listener, 0));
  client->shutdown_communication();
}

TEST_F(KitProxy, TellsOfAChangeThatCameBetweenTwoCommunications) {
  const auto client = load_core();
  ASSERT_EQ(status, 0u);
  Listener<proxy_msgbus::client_observer_core> listener;
  EXPECT_TRUE(client->add_observer(&listener, 0));
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  client->shutdown_communication();
  write(settings("late", 1));
  EXPECT_EQ(listener.calls(), 0);
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  EXPECT_TRUE(listener.hears(1));
  EXPECT_TRUE(client->remove_observer(&listener, 0));
}

TEST_F(KitProxy, WaitsForARunningCallBeforeItLetsAnObserverGo) {
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  Listener<proxy_msgbus::client_observer_app> listener;
  listener.hold(true);
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  EXPECT_TRUE(client->add_observer(&listener, 0));
  write(settings("proxy", 1));
  EXPECT_TRUE(listener.hears(1));
  const waiting::Gate removing;
  const waiting::Attempt removal([&client, &listener, removing] {
    removing.open();
    EXPECT_TRUE(client->remove_observer(&listener, 0));
    EXPECT_EQ(listener.ended(), listener.calls());
  });
  EXPECT_TRUE(removing.wait());
  listener.hold(false);
  EXPECT_TRUE(removal.ends());
}

TEST_F(KitProxy, LetsAnObserverGoInItsOwnCall) {
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  Listener<proxy_msgbus::client_observer_app> listener;
  bool removed = false;
  listener.in_each_call([&] { removed = client->remove_observer(&listener, 0); });
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  EXPECT_TRUE(client->add_observer(&listener, 0));
  write(settings("proxy", 1));
  EXPECT_TRUE(listener.ends(1));
  client->shutdown_communication();
  EXPECT_TRUE(removed);
  EXPECT_EQ(listener.calls(), 1);
}

TEST_F(KitProxy, EndsItsCommunicationInACallOfItsOwn) {
  const auto client = load_app();
  ASSERT_EQ(status, 0u);
  Listener<proxy_msgbus::client_observer_app> listener;
  listener.in_each_call([&] { client->shutdown_communication(); });
  EXPECT_EQ(client->initialize_communication("channel"), 0u);
  EXPECT_TRUE(client->add_observer(&listener, 0));
  write(settings("proxy", 1));
  EXPECT_TRUE(listener.ends(1));
  EXPECT_TRUE(client->remove_observer(&listener, 0));
}

TEST_F(KitProxy, FailsInEachOperationOnDemand) {
  json content = settings("proxy", 1);
  content["fail"] = {{"initialize_communication", 5},
                     {"add_observer", 1},
                     {"get_enabled_state", 6},
                     {"get_proxy_type", 7},
                     {"get_proxy", 8}};
  write(content);
  {
    const auto client = load_app();
    ASSERT_EQ(status, 0u);
    Listener<proxy_msgbus::client_observer_app> listener;
    bool enabled = false;
    std::uint32_t type = 0;
    proxy_info info;
    EXPECT_EQ(client->initialize_communication("channel"), 5u);
    EXPECT_FALSE(client->add_observer(&listener, 0));
    EXPECT_EQ(client->get_enabled_state(&enabled), 6u);
    EXPECT_EQ(client->get_proxy_type(&type), 7u);
    EXPECT_EQ(client->get_proxy(1, &info), 8u);
  }
  {
    const auto client = load_core();
    ASSERT_EQ(status, 0u);
    proxy_info info;
    EXPECT_EQ(client->get_proxy(&info), 8u);
  }
  {
    content["fail"] = {{"remove_observer", 1}};
    write(content);
    const auto client = load_app();
    ASSERT_EQ(status, 0u);
    Listener<proxy_msgbus::client_observer_app> listener;
    EXPECT_TRUE(client->add_observer(&listener, 0));
    EXPECT_FALSE(client->remove_observer(&listener, 0));
  }
  content["fail"] = {{"QueryInterface", 1}};
  write(content);
  EXPECT_FALSE(load_app());
  EXPECT_EQ(status, 31u);
  EXPECT_FALSE(load_core());
  EXPECT_EQ(status, 31u);
  for (const char* const operation : {"ZvCreateObject", "Init", "Start"}) {
    content["fail"] = {{operation, 9}};
    write(content);
    EXPECT_FALSE(load_app());
    EXPECT_EQ(status, 9u) << operation;
  }
}

}  // namespace

}  // namespace kit_test
