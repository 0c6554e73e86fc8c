#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "_base/observable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"
#include "cloud/ICloudRequestsCompatibility.h"
#include "cloud/IRequestResolver.h"
#include "cloud/cirrel_service.h"
#include "frame/log_handle.h"

namespace cloud {

/// The plug-in "cloud_requests". Its work is the order of starting and stopping; the rest it hands
/// to the chain.
///
/// Requests and the observer operations are for the time between Init and UnInit: they find the
/// chain without asking, and UnInit does not wait for those that are under way.
class requests final : public zv::observable<ICloudConnectionObserver*, ICloudRequests>,
                       public ICloudRequestsCompatibility {
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

 private:
  /// The client library's callback; `context` is the object.
  static void cloud_up_notification(void* context);

  std::shared_ptr<cirrel_service> cirrel;
  std::unique_ptr<IRequestResolver> resolver;
  std::uint32_t init_count = 0;
  std::recursive_mutex mutex;
  logging::held_log_handle log_handle;
};

}  // namespace cloud
