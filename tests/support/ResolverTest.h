#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "cloud/CirrelResolver.h"
#include "support/FakeCloudClient.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// A resolver on the fake client: the shared pair is the fake's table, every other instance comes
/// from the loaded library. At the end nothing of the client library may be left over.
class ResolverTest : public testing::Test {
 protected:
  ResolverTest() { client.load_library(); }

  void TearDown() override {
    resolver.reset();
    EXPECT_EQ(client.responses_outstanding(), kept_responses) << "answers not given back";
    EXPECT_EQ(client.instances_alive(), 0U) << "instances not given back";
    client.release_library();
    EXPECT_FALSE(FakeCloudClient::library_is_loaded()) << "a count of the library was kept";
  }

  void make_resolver(std::string_view settings = R"({"categories": {}, "services": {}})") {
    folder.write_services_settings(settings);
    resolver = std::make_unique<cloud::CirrelResolver>(client.table(), client.shared_instance());
  }

  /// Asks with a plain connect request.
  cloud::request_status connect(const char* service = "svc", const char* message = "") {
    cloud::connect_request request;
    request.service = service;
    request.timeout = 5000;
    request.request_method = "do";
    request.message = message;
    return resolver->resolve(request, reply);
  }

  cloud::request_status technology(const char* service = "svc", const char* message = "body") {
    cloud::technology_request request;
    request.service = service;
    request.timeout = 5000;
    request.message = message;
    return resolver->resolve(request, reply);
  }

  ModuleFolder folder;
  RecordingLog log;
  FakeCloudClient client;
  std::unique_ptr<cloud::CirrelResolver> resolver;
  cloud::request_reply reply;
  std::size_t kept_responses = 0;  ///< that the library keeps because of what it answered
};

inline testing::AssertionResult is_status(const cloud::request_status& status, std::uint32_t type,
                                          std::uint32_t code) {
  if (status.error_type == type && status.code == code) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "status " << status.error_type << ", " << status.code
                                     << " instead of " << type << ", " << code;
}

}  // namespace support
