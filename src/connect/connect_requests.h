#pragma once

#include "cloud/ICloudRequests.h"
#include "connect/IAuthDataProvider.h"
#include "connect/IConnectRequests.h"
#include "connect/IConnectRequestsCompatibility.h"
#include "frame/plugin_handle.h"

namespace cloud::connect {

/// The front door of requests for the components beside it. Keeps the plug-in "cloud_requests"
/// alive and has no state of its own.
class connect_requests final : public IConnectRequests, public IConnectRequestsCompatibility {
 public:
  /// `auth_provider` may be null and must outlive the object.
  connect_requests(plugin_handle<ICloudRequests> cloud_requests, IAuthDataProvider* auth_provider);
  connect_requests(const connect_requests&) = delete;
  connect_requests& operator=(const connect_requests&) = delete;
  ~connect_requests() = default;

  bool add_observer(ICloudConnectionObserver* observer, std::uint64_t context) override;
  bool remove_observer(ICloudConnectionObserver* observer, std::uint64_t context) override;
  using IConnectRequests::resolve;
  request_status* resolve(request_status* result, const connect_request& request,
                          request_reply& reply, bool fill_source) override;
  bool is_cloud_up() override;

  request_status* resolve(request_status* result, const connect_request& request,
                          request_reply& reply) override;

 private:
  plugin_handle<ICloudRequests> cloud_requests_;
  IAuthDataProvider* auth_provider_;
};

}  // namespace cloud::connect
