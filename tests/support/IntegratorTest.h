#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "_base/waiting.h"
#include "connect/IAuthDataProvider.h"
#include "connect/IConnectRequests.h"
#include "connect/connect_integrator_plugin.h"
#include "push/IPushService.h"
#include "support/ConnectOnlyCloudRequests.h"
#include "support/FakeAgent.h"
#include "support/FakeBus.h"
#include "support/FakeCloudClient.h"
#include "support/FakeHost.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// What the plug-in did to everybody around it, in one order: "host <call>", "bus <call>",
/// "agent <call>", "cloud <call>" for the plug-in "cloud_requests", "zvnc <call>" for the client
/// library, whose calls fall in before the next of another's. Any thread may write.
class Journal {
 public:
  explicit Journal(FakeCloudClient& client) : client_(client) {}

  void note(const std::string& line) {
    const std::lock_guard lock(mutex_);
    fetch();
    lines_.push_back(line);
  }
  std::vector<std::string> lines() {
    const std::lock_guard lock(mutex_);
    fetch();
    return lines_;
  }
  /// The lines that don't contain any of these.
  std::vector<std::string> lines_without(const std::vector<std::string>& words) {
    std::vector<std::string> found = lines();
    std::erase_if(found, [&](const std::string& line) {
      return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
        return line.find(word) != std::string::npos;
      });
    });
    return found;
  }
  std::size_t count(const std::string& line) {
    const auto all = lines();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    fetch();
    lines_.clear();
  }

 private:
  void fetch() {
    const std::vector<std::string> calls = client_.calls();
    for (; fetched_ < calls.size(); ++fetched_) lines_.push_back("zvnc " + calls[fetched_]);
  }

  FakeCloudClient& client_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::size_t fetched_ = 0;
};

/// A FakeHost whose calls go to the journal too.
class JournalHost final : public IServMain, public IServPluginManager {
 public:
  JournalHost(FakeHost& inner, Journal& journal) : inner_(inner), journal_(journal) {}

  void not_called_0() override { inner_.not_called_0(); }
  IServPluginManager* get_plugin_manager() override {
    journal_.note("host get_plugin_manager");
    return inner_.get_plugin_manager() != nullptr ? this : nullptr;
  }
  void not_called_2() override { inner_.not_called_2(); }
  IExecutionService* get_execution_service() override {
    journal_.note("host get_execution_service");
    return inner_.get_execution_service();
  }
  std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override {
    const std::wstring_view text(name);
    journal_.note("host get_plugin " + std::string(text.begin(), text.end()));
    return inner_.get_plugin(name, id, out);
  }
  void release_plugin(const wchar_t* name) override {
    const std::wstring_view text(name);
    journal_.note("host release_plugin " + std::string(text.begin(), text.end()));
    inner_.release_plugin(name);
  }

  ~JournalHost() = default;

 private:
  FakeHost& inner_;
  Journal& journal_;
};

/// The plug-in "cloud_requests", whose observers go to the journal.
class JournalCloudRequests final : public ConnectOnlyCloudRequests {
 public:
  explicit JournalCloudRequests(Journal& journal) : journal_(journal) {}
  ~JournalCloudRequests() = default;

  bool add_observer(cloud::ICloudConnectionObserver* observer, std::uint64_t context) override {
    journal_.note("cloud add_observer " + std::to_string(context));
    last_added = observer;
    return observable::add_observer(observer, context);
  }
  bool remove_observer(cloud::ICloudConnectionObserver* observer, std::uint64_t context) override {
    journal_.note("cloud remove_observer " + std::to_string(context));
    last_removed = observer;
    return observable::remove_observer(observer, context);
  }
  std::vector<cloud::connect_request> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

  using ConnectOnlyCloudRequests::resolve;
  cloud::request_status* resolve(cloud::request_status* result,
                                 const cloud::connect_request& request,
                                 cloud::request_reply& reply) override {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    reply.text = "[]";
    *result = {};
    return result;
  }
  bool is_cloud_up() override { return false; }

  cloud::ICloudConnectionObserver* last_added = nullptr;
  cloud::ICloudConnectionObserver* last_removed = nullptr;

 private:
  Journal& journal_;
  mutable std::mutex mutex_;
  std::vector<cloud::connect_request> requests_;
};

/// Whether an attempt is still on its way after a spell. Only a fault can make this false.
inline bool stays_blocked(const waiting::Attempt& attempt) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(30);
  while (std::chrono::steady_clock::now() < end) {
    if (attempt.is_done()) return false;
    std::this_thread::yield();
  }
  return !attempt.is_done();
}

/// The plug-in "connect_integrator" in a process where everything around it is played: by default a
/// bus on which nobody listens, a client library, a host with "cloud_requests" and with no agent.
class IntegratorTest : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;

  static constexpr const char* watched_channel = "cl.zvserv.actions";
  static constexpr const char* watched_listener = "product_agent_user_service";
  static constexpr const char* asks_listening =
      "bus IsListening cl.zvserv.actions product_agent_user_service";
  static constexpr const wchar_t* init_scope = L"connect_integrator_plugin::Init";
  static constexpr const wchar_t* uninit_scope = L"connect_integrator_plugin::UnInit";
  static constexpr const wchar_t* source_scope = L"connect_integrator_plugin::get_connect_source";
  static constexpr const wchar_t* change_scope = L"connect_integrator_plugin::OnUserInfoChanged";
  static constexpr const wchar_t* listening_label =
      L"connect_integrator_plugin::is_subscription_listening";
  static constexpr const wchar_t* requests_label =
      L"connect_integrator_plugin::init_connect_requests";

  IntegratorTest() {
    bus.load(product.folder.path());
    client.load_library();
    bus.set_hook([this](const std::string& call) { journal.note("bus " + call); });
    hook_agent({});
    fake_host.add_plugin(L"cloud_requests", static_cast<cloud::ICloudRequests*>(&cloud_requests));
    renew();
  }
  ~IntegratorTest() override { end(); }

  void renew() {
    end();
    plugin.reset(new connect_integrator_plugin());
  }
  /// As a host does it: a plug-in that is up is taken down before its end.
  void end() {
    while (plugin != nullptr && push_service() != nullptr) plugin->UnInit();
    plugin.reset();
  }

  /// Something that happens within the agent's calls, after their line is in the journal.
  void hook_agent(std::function<void(const std::string&)> hook) {
    agent.set_hook([this, hook = std::move(hook)](const std::string& call) {
      journal.note("agent " + call);
      if (hook) hook(call);
    });
  }

  void have_product_agent() {
    fake_host.add_plugin(L"productagent", static_cast<IProductAgent*>(&agent));
  }
  void have_client_agent() {
    fake_host.add_plugin(L"productagentcommclient", static_cast<IProductAgent*>(&agent));
  }
  /// The user has no token yet, and the worker looks for one at each announcement.
  void begin_with_half_a_user() {
    have_product_agent();
    agent.set_user(L"device", L"");
    ASSERT_EQ(init(), 0u);
    EXPECT_EQ(who(), "device ");
  }
  void listen(bool listening = true) {
    bus.set_listening(watched_channel, watched_listener, listening);
  }
  void announce() { bus.announce(watched_channel, watched_listener); }

  std::uint32_t init() { return plugin->Init(&host); }

  /// "<device> <token>", or the status.
  std::string who() {
    auth_data data{"untouched", "untouched"};
    const std::uint32_t status = plugin->GetAuthData(data);
    const std::string texts = std::string(data.device_id.view()) + " " + data.user_token.c_str();
    if (status == 0) return texts;
    EXPECT_EQ(texts, "untouched untouched");
    return std::to_string(status);
  }
  bool becomes(const std::string& expected) {
    return waiting::until([&] { return who() == expected; });
  }
  /// Waits until the worker has asked the bus so many times in all, Init's own question included.
  bool has_asked_bus(std::size_t times) {
    return waiting::until([&] { return journal.count(asks_listening) >= times; });
  }

  template <class T>
  T* face(const IID& id) {
    return static_cast<T*>(plugin->QueryInterface(id));
  }
  IPushService* push_service() { return face<IPushService>(IID_IPushService); }
  IConnectRequests* requests() { return face<IConnectRequests>(IID_IConnectRequests); }

  /// What the plug-in itself, not those it owns, logged as failures.
  std::vector<std::wstring> failures() const {
    std::vector<std::wstring> texts;
    for (const LogLine& line : log.lines(4)) {
      if (line.function.starts_with(L"connect_integrator_plugin")) texts.push_back(line.text);
    }
    return texts;
  }

  static void ignore_event(const cloud::push::event_info&, void*) {}
  /// Registers an application; `own` brings a user of its own with it.
  std::uint32_t want_events(const char* app_id, bool own) {
    const cloud::push::event_callback callback = &ignore_event;
    const cloud::connect_source source =
        own ? cloud::connect_source{app_id, "own device", "own token"}
            : cloud::connect_source{app_id, "", ""};
    return push_service()->register_push_events_callback(callback, this, source, {});
  }
  /// The network is up and the application "app" wants events, so that the service's being told of
  /// a user can be seen at the client library.
  void watch_refreshes() {
    cloud_requests.tell_network_available();
    ASSERT_EQ(want_events("app", true), 0u);
    forget_refreshes();
  }
  void forget_refreshes() { seen_ = client.registrations().size(); }
  /// "<device> <token>" with which "app" was registered anew since.
  Lines refreshes() const {
    Lines found;
    const auto all = client.registrations();
    for (std::size_t i = seen_; i < all.size(); ++i) {
      if (all[i].source_app_id != "app") continue;
      found.push_back(all[i].source_device_id.value_or("(null)") + " " +
                      all[i].source_user_token.value_or("(null)"));
    }
    return found;
  }

  struct Destroy {
    void operator()(connect_integrator_plugin* object) const { msvc_abi::destroy(object); }
  };

  ProductInfoFolder product;
  RecordingLog log;
  FakeBus bus;
  FakeCloudClient client;
  Journal journal{client};
  FakeAgent agent;
  JournalCloudRequests cloud_requests{journal};
  FakeHost fake_host;
  JournalHost host{fake_host, journal};
  std::unique_ptr<connect_integrator_plugin, Destroy> plugin;

 private:
  std::size_t seen_ = 0;
};

}  // namespace support
