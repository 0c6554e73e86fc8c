#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "_base/observable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"

namespace support {

/// The plug-in "cloud_requests" as others see it: its observable facet stands where theirs looks
/// for it. Answers connect requests alone; the rest gives 0. One thread at a time.
class FakeCloudRequests final
    : public zv::observable<cloud::ICloudConnectionObserver*, cloud::ICloudRequests> {
 public:
  FakeCloudRequests() = default;
  FakeCloudRequests(const FakeCloudRequests&) = delete;
  FakeCloudRequests& operator=(const FakeCloudRequests&) = delete;
  ~FakeCloudRequests() = default;

  std::vector<cloud::connect_request> requests;
  std::vector<cloud::request_reply*> replies;  ///< those that were handed in
  cloud::request_status status;
  std::string reply = "{}";
  bool cloud_up = false;
  std::function<void()> on_request;

  void tell_network_available() {
    observers.notify(
        [](cloud::ICloudConnectionObserver* observer) { observer->OnNetworkAvailable(); });
  }

  void* scalar_deleting_destructor(std::uint32_t) override { return this; }
  std::uint32_t resolve(const cloud::upload_request&, cloud::upload_observer*) override {
    return 0;
  }
  cloud::request_status* resolve(cloud::request_status* result, const cloud::technology_request&,
                                 cloud::request_reply&) override {
    return result;
  }
  cloud::request_status* resolve(cloud::request_status* result,
                                 const cloud::connect_request& request,
                                 cloud::request_reply& out) override {
    requests.push_back(request);
    replies.push_back(&out);
    if (on_request) on_request();
    if (status.code == 0) out.text = reply.c_str();
    *result = status;
    return result;
  }
  std::uint32_t set_proxy(const cloud::proxy_settings&, cloud::proxy_target) override { return 0; }
  std::uint32_t disable_proxy(cloud::proxy_target) override { return 0; }
  bool is_cloud_up() override { return cloud_up; }
};

}  // namespace support
