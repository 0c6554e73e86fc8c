#include "devkit/cloud/serving.h"

#include <httplib.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include "devkit/common/os.h"

namespace devkit {

std::uint16_t bind_alone(httplib::Server& server, std::uint16_t port) {
  server.set_socket_options(
      [](socket_t socket) { os::own_port_alone(static_cast<std::intptr_t>(socket)); });
  if (port == 0) {
    const int any = server.bind_to_any_port("127.0.0.1");
    if (any <= 0) throw std::runtime_error("no free port could be had on 127.0.0.1");
    return static_cast<std::uint16_t>(any);
  }
  if (!server.bind_to_port("127.0.0.1", port)) {
    throw std::runtime_error("port " + std::to_string(port) +
                             " of 127.0.0.1 is taken; stop what listens there, or choose another "
                             "with --port (0 takes any free one)");
  }
  return port;
}

std::thread serve_on_thread(httplib::Server& server) {
  std::thread thread([&server] { server.listen_after_bind(); });
  // The server ignores a stop that comes before it runs, and tells of its running in no other way.
  while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return thread;
}

}  // namespace devkit
