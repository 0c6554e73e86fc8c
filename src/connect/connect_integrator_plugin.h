#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <system_error>

#include "_base/SerialWorker.h"
#include "_base/expected.h"
#include "cloud/cirrel_service.h"
#include "connect/IAuthDataProvider.h"
#include "connect/IConnectIntegrator.h"
#include "connect/IProductAgent.h"
#include "connect/IProductAgentEvents.h"
#include "connect/connect_requests.h"
#include "frame/log_handle.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/ibus_observer.h"
#include "frame/plugin_handle.h"
#include "push/push_service.h"
#include "push/push_service_client.h"

/// The plug-in "connect_integrator": owns what requests and pushes in the user's name need, and
/// follows who the user is.
///
/// The lifecycle lock comes before the identity lock. The push service is told of a new user under
/// the identity lock, and takes the locks of its tables then: a push callback in this process that
/// waits just then for a request in the user's name waits for ever.
class connect_integrator_plugin final : public IConnectIntegrator,
                                        public IAuthDataProvider,
                                        public IProductAgentEvents,
                                        public ibus_observer {
 public:
  connect_integrator_plugin() = default;
  connect_integrator_plugin(const connect_integrator_plugin&) = delete;
  connect_integrator_plugin& operator=(const connect_integrator_plugin&) = delete;
  /// Takes down what no UnInit has.
  ~connect_integrator_plugin();

  /// Null for what Init has yet to make, and for the identity without an agent to ask.
  void* QueryInterface(const IID& id) override;
  /// Counted: only the first one works. 87 for a host that lacks a service; 31 without the client
  /// library or the plug-in "cloud_requests"; 14 without memory; without any agent the status of
  /// the request for the second one. All of these are taken down as by UnInit. Without a host
  /// (null) there is no agent.
  std::uint32_t Init(IServMain* host) override;
  /// 0. All but the push client goes, which lives until this object or the next Init ends it. Tears
  /// down when the count comes to 0, and also when it was 0 already: the count then wraps.
  std::uint32_t UnInit() override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  std::uint32_t GetAuthData(auth_data& data) override;
  /// On the agent's thread.
  void OnUserInfoChanged() override;
  void ignored_1() override {}
  /// On a thread of the bus.
  void on_new_listener(void* ignored, const char* channel, const char* listener) override;
  void on_listener_removed(void*, const char*, const char*) override {}

 private:
  /// The first Init. What a failure leaves behind is for UnInit to take down.
  std::uint32_t build(IServMain* host);
  /// 0 if there is an agent, else what the second request gave.
  std::uint32_t find_agent();
  /// Null without any.
  IProductAgent* agent() const noexcept;
  bool is_listening() const;
  bool knows_identity();
  /// True if somebody could be asked who the user is, and knew.
  bool is_subscription_listening();
  /// Takes no lock.
  stdext::expected<cloud::connect_source, std::error_code> get_connect_source();
  bool init_connect_requests();
  void submit_initialize_connect_source();
  /// On the worker.
  void initialize_connect_source();
  /// Asks the agent, whose user is another now. Under the identity lock.
  void learn_user();
  /// Another user: stores and passes on. Under the identity lock.
  void adopt(const cloud::connect_source& source);

  logging::held_log_handle log_handle;  ///< first, so that all that ends may still log
  plugin_handle<IProductAgent> product_agent;
  plugin_handle<IProductAgent> product_agent_client;
  std::unique_ptr<cloud::connect::connect_requests> connect_requests;
  std::unique_ptr<cloud::push::push_service> push_service;
  std::unique_ptr<cloud::push::push_service_client> push_client;
  std::shared_ptr<cirrel_service> cirrel;
  IBus* bus = nullptr;
  bool identity_known = false;           ///< guarded by identity_lock
  std::unique_ptr<SerialWorker> worker;  ///< a new one for each life, as a stopped one stays so
  cloud::connect_source connect_source;  ///< guarded by identity_lock; app_id stays empty
  std::mutex identity_lock;
  std::uint32_t use_count = 0;
  std::recursive_mutex lifecycle_lock;
};
