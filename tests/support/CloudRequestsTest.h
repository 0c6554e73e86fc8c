#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cloud/requests.h"
#include "support/FakeCloudClient.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace support {

/// Counts what it hears, and does then what a test wants. Its first slot is the destructor's, which
/// nobody here calls.
class NetworkListener final : public cloud::ICloudConnectionObserver {
 public:
  NetworkListener() = default;
  explicit NetworkListener(std::function<void()> on_heard) : on_heard_(std::move(on_heard)) {}

  void* scalar_deleting_destructor(std::uint32_t) override { return this; }
  void OnNetworkAvailable() override {
    ++heard;
    if (on_heard_) on_heard_();
  }

  int heard = 0;

 private:
  std::function<void()> on_heard_;
};

/// A host with chosen services, none of which has anything to give.
class PlainHost final : public IServMain, private IServPluginManager, private IExecutionService {
 public:
  void not_called_0() override { FAIL() << "a slot that belongs to the host"; }
  IServPluginManager* get_plugin_manager() override { return has_manager ? this : nullptr; }
  void not_called_2() override { FAIL() << "a slot that belongs to the host"; }
  IExecutionService* get_execution_service() override { return has_execution ? this : nullptr; }

  bool has_manager = true;
  bool has_execution = true;

 private:
  std::uint32_t get_plugin(const wchar_t*, const IID&, void** out) override {
    *out = nullptr;
    return 1168;
  }
  void release_plugin(const wchar_t*) override {}
  std::uint32_t make_serial_execution(ISerialExecution** handle) override {
    *handle = nullptr;
    return 31;
  }
  void release_serial_execution(ISerialExecution*) override {}
};

/// The plug-in on the fake client library. At the end nothing of the library may be left over.
class CloudRequestsTest : public testing::Test {
 protected:
  CloudRequestsTest() {
    folder.write_services_settings(R"({"categories": {}, "services": {"own": "own.example"}})");
    client.load_library();
    plugin.reset(new cloud::requests());
  }

  void TearDown() override {
    plugin.reset();
    EXPECT_EQ(client.responses_outstanding(), 0U) << "answers not given back";
    EXPECT_EQ(client.instances_alive(), 0U) << "instances not given back";
    client.release_library();
    EXPECT_FALSE(FakeCloudClient::library_is_loaded()) << "a count of the library was kept";
  }

  cloud::request_status connect(const char* service = "svc") {
    cloud::connect_request request;
    request.service = service;
    request.request_method = "do";
    return plugin->resolve(request, reply);
  }

  std::uint32_t init(IServMain* host = nullptr) { return plugin->Init(host); }

  struct Destroy {
    void operator()(cloud::requests* object) const { msvc_abi::destroy(object); }
  };

  ModuleFolder folder;
  RecordingLog log;
  FakeCloudClient client;
  std::unique_ptr<cloud::requests, Destroy> plugin;
  cloud::request_reply reply;
};

}  // namespace support
