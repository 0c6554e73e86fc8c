#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/ConnectOnlyCloudRequests.h"

namespace support {

/// The plug-in "cloud_requests" as others see it: its observable facet stands where theirs looks
/// for it. Answers connect requests alone. One thread at a time.
class FakeCloudRequests final : public ConnectOnlyCloudRequests {
 public:
  std::vector<cloud::connect_request> requests;
  std::vector<cloud::request_reply*> replies;  ///< those that were handed in
  cloud::request_status status;
  std::string reply = "{}";
  bool cloud_up = false;
  std::function<void()> on_request;

  using ConnectOnlyCloudRequests::resolve;
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
  bool is_cloud_up() override { return cloud_up; }
};

}  // namespace support
