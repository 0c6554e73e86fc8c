#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "_base/observable.h"
#include "_base/win_error.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"
#include "cloud/ICloudRequestsCompatibility.h"
#include "cloud/IRequestResolver.h"
#include "cloud/cirrel_service.h"
#include "cloud/proxy_msgbus.h"
#include "frame/log_handle.h"
#include "frame/plugin_handle.h"

namespace cloud {

/// The plug-in "cloud_requests". Its work is the order of starting and stopping; the rest it hands
/// to the chain.
///
/// Requests and the observer operations are for the time between Init and UnInit: they find the
/// chain without asking, and UnInit does not wait for those that are under way.
class requests final : public zv::observable<ICloudConnectionObserver*, ICloudRequests>,
                       public ICloudRequestsCompatibility,
                       public proxy_msgbus::client_observer_app,
                       public proxy_msgbus::client_observer_core {
 public:
  requests() = default;
  requests(const requests&) = delete;
  requests& operator=(const requests&) = delete;
  ~requests() = default;

  static void* operator new(std::size_t size) { return ICloudRequests::operator new(size); }
  static void operator delete(void* memory) noexcept { ICloudRequests::operator delete(memory); }

  void* QueryInterface(const IID& id) override;
  /// Counted: only the first one starts anything. 87 for a host that lacks a service, which leaves
  /// the count at 1; 31 without the client library, the count then being 0 again.
  std::uint32_t Init(IServMain* host) override;
  /// 0. Tears down when the count comes to 0, and also when it was 0 already: the count then wraps.
  std::uint32_t UnInit() override;
  std::uint32_t Start() override;
  void Stop() override;
  /// Ends the whole object, through whichever of its tables it is called.
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  using ICloudRequests::resolve;
  std::uint32_t resolve(const upload_request& request, upload_observer* observer) override;
  request_status* resolve(request_status* result, const technology_request& request,
                          request_reply& reply) override;
  request_status* resolve(request_status* result, const connect_request& request,
                          request_reply& reply) override;
  std::uint32_t set_proxy(const proxy_settings& settings, proxy_target target) override;
  std::uint32_t disable_proxy(proxy_target target) override;
  bool is_cloud_up() override;

  /// An observer that comes while the cloud is up is called before this returns, since the library
  /// will not report again what it has reported. It can therefore be called more than once.
  bool add_observer(ICloudConnectionObserver* observer, std::uint64_t context) override;

  /// 0. Asks the proxy client for the settings now in force and hands them to the chain; where they
  /// can't be had, the proxy is turned off. On the proxy client's thread, and on that of Init.
  /// Throws std::system_error for a text that can't be converted.
  std::uint32_t OnProxySettingsChanged() override;
  std::uint32_t ignored_1() override { return win_error::success; }
  std::uint32_t ignored_2() override { return win_error::success; }
  std::uint32_t ignored_3() override { return win_error::success; }

 private:
  /// The client library's callback; `context` is the object.
  static void cloud_up_notification(void* context);

  /// Follows the proxy client of this kind of process, if it is one that has any. A failure of the
  /// client's is logged and goes no further: better no proxy than no cloud. Throws as
  /// OnProxySettingsChanged does.
  void LoadProxySupport();
  std::uint32_t LoadProxySupport_msgbus_client_app();
  std::uint32_t LoadProxySupport_msgbus_client_core();
  /// No change of the proxy is under way or arrives after it.
  void FreeProxySupport();
  void use_proxy(const proxy_msgbus::proxy_info& info);

  // Ended from the last to the first, so that a proxy client that is still there goes before the
  // chain that it would report to.
  std::shared_ptr<cirrel_service> cirrel;
  std::unique_ptr<IRequestResolver> resolver;
  std::uint32_t init_count = 0;
  std::recursive_mutex mutex;
  plugin_handle<proxy_msgbus::iclient_app> proxy_client_app;
  plugin_handle<proxy_msgbus::iclient_core> proxy_client_core;
  logging::held_log_handle log_handle;
};

// Table pointer and three fields, hence what stands behind them lies where a host looks for it.
static_assert(sizeof(ICloudRequests) == 32 && sizeof(ICloudRequestsCompatibility) == 32);
static_assert(sizeof(proxy_msgbus::client_observer_app) == sizeof(void*) &&
              sizeof(proxy_msgbus::client_observer_core) == sizeof(void*));

}  // namespace cloud
