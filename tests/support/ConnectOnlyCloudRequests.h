#pragma once

#include <cstdint>

#include "_base/observable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"

namespace support {

/// What stand-ins of the plug-in "cloud_requests" have in common that are asked for connect
/// requests alone. The rest gives 0.
class ConnectOnlyCloudRequests
    : public zv::observable<cloud::ICloudConnectionObserver*, cloud::ICloudRequests> {
 public:
  ConnectOnlyCloudRequests() = default;
  ConnectOnlyCloudRequests(const ConnectOnlyCloudRequests&) = delete;
  ConnectOnlyCloudRequests& operator=(const ConnectOnlyCloudRequests&) = delete;

  /// Tells all observers, on this thread.
  void tell_network_available() {
    observers.notify([](cloud::ICloudConnectionObserver* each) { each->OnNetworkAvailable(); });
  }

  using cloud::ICloudRequests::resolve;
  void* scalar_deleting_destructor(std::uint32_t) override { return this; }
  std::uint32_t resolve(const cloud::upload_request&, cloud::upload_observer*) override {
    return 0;
  }
  cloud::request_status* resolve(cloud::request_status* result, const cloud::technology_request&,
                                 cloud::request_reply&) override {
    return result;
  }
  std::uint32_t set_proxy(const cloud::proxy_settings&, cloud::proxy_target) override { return 0; }
  std::uint32_t disable_proxy(cloud::proxy_target) override { return 0; }

 protected:
  ~ConnectOnlyCloudRequests() = default;
};

}  // namespace support
