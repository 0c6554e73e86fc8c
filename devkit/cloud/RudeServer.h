#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace devkit {

/// Listens on a free port of 127.0.0.1 and hangs up on everyone at once.
class RudeServer {
 public:
  RudeServer();
  RudeServer(const RudeServer&) = delete;
  RudeServer& operator=(const RudeServer&) = delete;
  ~RudeServer();

  std::string address() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  std::unique_ptr<httplib::Server> server_;
  std::uint16_t port_;
  std::thread thread_;
};

}  // namespace devkit
