#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace devkit {

class StreamRelay;

/// A forwarding HTTP proxy on a free port of 127.0.0.1, for plain HTTP. Push streams are
/// passed on as they come. With a user it asks for
/// that user's password and refuses all others with 407.
class Proxy {
 public:
  explicit Proxy(const std::string& user = "", const std::string& password = "");
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy();

  std::uint16_t port() const noexcept { return port_; }
  /// How many requests it has passed on.
  std::uint32_t forwarded() const noexcept { return forwarded_; }
  /// How many it has refused.
  std::uint32_t refused() const noexcept { return refused_; }

 private:
  static void relay(const std::shared_ptr<StreamRelay>& stream, httplib::Response& response);
  void serve(const httplib::Request& request, httplib::Response& response);

  std::string credentials_;  ///< what the header has to say; empty: nothing
  std::unique_ptr<httplib::Server> server_;
  std::uint16_t port_ = 0;
  std::thread thread_;
  std::atomic<std::uint32_t> forwarded_ = 0;
  std::atomic<std::uint32_t> refused_ = 0;
};

}  // namespace devkit
