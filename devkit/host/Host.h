#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "_base/iobservable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/ICloudRequests.h"
#include "devkit/host/HeldPlugin.h"
#include "devkit/host/PluginHost.h"

namespace devkit {

/// What became of a request, in plain types.
struct Outcome {
  std::uint32_t error_type = 0;
  std::uint32_t code = 0;
  std::int32_t server_error = 0;
  std::string answer;

  bool is_ok() const noexcept { return error_type == 0 && code == 0; }
  bool is_timeout() const noexcept;
  bool is_unreachable() const noexcept;
  /// The status in words.
  std::string sentence() const;
};

/// What this system's own failure (error type 1) of a request means, in words.
std::string own_failure(std::uint32_t code);

struct ConnectCall {
  std::string service;
  std::string method;
  std::string message;
  std::uint32_t timeout = 5000;
  std::string app_id;
  std::string device_id;
  std::string user_token;
};

/// A host process that drives the plug-in "cloud_requests" from creation to its end. Any thread may
/// send; the object must outlive what was sent. What the process offers: PluginHost.h.
class Host final {
 public:
  /// With `alone` the plug-in gets no host at all. Throws host_error.
  explicit Host(const std::filesystem::path& module, bool alone = false);
  Host(const std::filesystem::path& module, const HostOptions& options);
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() = default;

  Outcome connect(const ConnectCall& call);
  Outcome technology(const std::string& service, const std::string& message, std::uint32_t timeout);
  using Progress = std::function<void(const cloud::upload_progress&)>;
  /// The outcome has error type 0, 1 for this system's own refusals, or 2.
  Outcome upload(const std::string& service, const std::filesystem::path& file,
                 std::uint32_t timeout, const std::string& signature, const std::string& meta,
                 const Progress& progress);

  bool is_cloud_up();
  bool add_observer(cloud::ICloudConnectionObserver* observer);
  bool remove_observer(cloud::ICloudConnectionObserver* observer);
  cloud::ICloudRequests& requests() noexcept { return *requests_; }

  PluginHost& plugins() noexcept { return plugins_; }

 private:
  zv::iobservable<cloud::ICloudConnectionObserver*>& observable();

  PluginHost plugins_;
  const HeldPlugin cloud_requests_;
  cloud::ICloudRequests* requests_;
};

}  // namespace devkit
