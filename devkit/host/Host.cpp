#include "devkit/host/Host.h"

#include "_base/win_error.h"
#include "devkit/common/text.h"
#include "devkit/zvnc/status.h"

namespace devkit {

namespace {

/// Where the observers' table stands in the object behind ICloudRequests.
constexpr std::ptrdiff_t observable_offset = 32;

Outcome outcome(const cloud::request_status& status, const cloud::request_reply& reply) {
  return {status.error_type, status.code, reply.code, std::string(reply.text.view())};
}

class ProgressObserver final : public cloud::upload_observer {
 public:
  explicit ProgressObserver(const Host::Progress& progress) : progress_(progress) {}
  void on_progress(const cloud::upload_progress& progress) override {
    if (progress_) progress_(progress);
  }

 private:
  const Host::Progress& progress_;
};

}  // namespace

std::string own_failure(std::uint32_t code) {
  switch (code) {
    case win_error::access_denied:
      return "refused by the circuit breaker: the service failed too often";
    case win_error::invalid_data:
      return "the message is no JSON, or the server's error holds no number";
    case win_error::gen_failure:
      return "the answer is unusable, or there is no file to send";
    case win_error::no_data:
      return "the identity is missing";
    case win_error::internal_error:
      return "there is no client instance, or the request's type is wrong";
    default:
      return "failed inside this system";
  }
}

bool Outcome::is_timeout() const noexcept {
  return error_type == 2 && code == zvnc::status::timed_out;
}

bool Outcome::is_unreachable() const noexcept {
  return error_type == 2 &&
         (code == zvnc::status::could_not_connect || code == zvnc::status::could_not_resolve);
}

std::string Outcome::sentence() const {
  const std::string numbers = std::to_string(error_type) + ", " + std::to_string(code);
  if (error_type == 0) return numbers + " (ok)";
  return numbers + " (" +
         (error_type == 1 ? own_failure(code) : std::string(zvnc::status::text(code))) + ")";
}

Host::Host(const std::filesystem::path& module, bool alone)
    : Host(module, HostOptions{.alone = alone}) {}

Host::Host(const std::filesystem::path& module, const HostOptions& options)
    : plugins_(module, options),
      cloud_requests_(plugins_, "cloud_requests", cloud::IID_ICloudRequests),
      requests_(&cloud_requests_.as<cloud::ICloudRequests>()) {}

Outcome Host::connect(const ConnectCall& call) {
  cloud::connect_request request;
  request.service = call.service.c_str();
  request.timeout = call.timeout;
  request.request_method = call.method.c_str();
  request.message = call.message.c_str();
  request.source.app_id = call.app_id.c_str();
  request.source.device_id = call.device_id.c_str();
  request.source.user_token = call.user_token.c_str();
  cloud::request_reply reply;
  const cloud::request_status status = requests_->resolve(request, reply);
  return outcome(status, reply);
}

Outcome Host::technology(const std::string& service, const std::string& message,
                         std::uint32_t timeout) {
  cloud::technology_request request;
  request.service = service.c_str();
  request.timeout = timeout;
  request.message = message.c_str();
  cloud::request_reply reply;
  const cloud::request_status status = requests_->resolve(request, reply);
  return outcome(status, reply);
}

Outcome Host::upload(const std::string& service, const std::filesystem::path& file,
                     std::uint32_t timeout, const std::string& signature, const std::string& meta,
                     const Progress& progress) {
  cloud::upload_request request;
  request.service = service.c_str();
  request.timeout = timeout;
  request.path = path_text(file).c_str();
  request.signature = signature.c_str();
  request.meta = meta.c_str();
  ProgressObserver observer(progress);
  const std::uint32_t status = requests_->resolve(request, &observer);
  // A plain number tells the client's failures from this system's by its size alone.
  constexpr std::uint32_t first_of_client = 20000;
  const std::uint32_t type = status == 0 ? 0 : status < first_of_client ? 1 : 2;
  return {type, status, 0, {}};
}

bool Host::is_cloud_up() {
  return requests_->is_cloud_up();
}

bool Host::add_observer(cloud::ICloudConnectionObserver* observer) {
  return observable().add_observer(observer, 0);
}

bool Host::remove_observer(cloud::ICloudConnectionObserver* observer) {
  return observable().remove_observer(observer, 0);
}

zv::iobservable<cloud::ICloudConnectionObserver*>& Host::observable() {
  return *reinterpret_cast<zv::iobservable<cloud::ICloudConnectionObserver*>*>(
      reinterpret_cast<char*>(requests_) + observable_offset);
}

}  // namespace devkit
