#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "connect/connect_requests.h"
#include "frame/get_plugin.h"
#include "support/FakeAuthProvider.h"
#include "support/FakeCloudRequests.h"
#include "support/FakeHost.h"
#include "support/ProductInfoFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// The requests that fill in the source, between a provider and the plug-in "cloud_requests", which
/// are both played.
class ConnectRequestsTest : public testing::Test {
 protected:
  using connect_requests = cloud::connect::connect_requests;

  ConnectRequestsTest() { make(&provider); }

  void make(IAuthDataProvider* auth_provider) {
    std::uint32_t status = 1;
    host.add_plugin(L"cloud_requests", static_cast<cloud::ICloudRequests*>(&cloud_requests));
    auto handle = zv::framework::get_plugin<cloud::ICloudRequests>(
        &host, L"cloud_requests", cloud::IID_ICloudRequests, status);
    ASSERT_EQ(status, 0u);
    requests.emplace(std::move(handle), auth_provider);
  }

  /// "<error type> <code>".
  std::string resolve(bool fill_source) {
    const cloud::request_status status = requests->resolve(request, reply, fill_source);
    return std::to_string(status.error_type) + " " + std::to_string(status.code);
  }
  std::string sent() const {
    return cloud_requests.requests.empty() ? "nothing" : told(cloud_requests.requests.back());
  }
  void expect_reply_untouched() const {
    EXPECT_EQ(text(reply.text), "before");
    EXPECT_EQ(reply.code, 17);
  }

  static std::string text(const zv::StringT<char>& string) { return std::string(string.view()); }

  /// Everything a request holds, in one line.
  static std::string told(const cloud::connect_request& request) {
    return text(request.service) + "|" + std::to_string(request.timeout) + "|" +
           std::to_string(static_cast<std::uint32_t>(request.type)) + "|" +
           text(request.request_method) + "|" + text(request.source.app_id) + "|" +
           text(request.source.device_id) + "|" + text(request.source.user_token) + "|" +
           text(request.destination.app_id) + "|" + text(request.destination.device_id) + "|" +
           text(request.message);
  }

  static cloud::connect_request callers_request() {
    cloud::connect_request request;
    request.service = "svc";
    request.timeout = 777;
    request.request_method = "do";
    request.source = {"my app", "my device", "my token"};
    request.destination = {"their device", "their app"};
    request.message = R"({"a": 1})";
    return request;
  }

  static constexpr const char* as_the_caller_wrote_it =
      R"(svc|777|0|do|my app|my device|my token|their app|their device|{"a": 1})";

  ProductInfoFolder product;
  RecordingLog log;
  FakeHost host;
  FakeCloudRequests cloud_requests;
  FakeAuthProvider provider;
  std::optional<connect_requests> requests;
  cloud::connect_request request = callers_request();
  cloud::request_reply reply{"before", 17};
};

}  // namespace support
