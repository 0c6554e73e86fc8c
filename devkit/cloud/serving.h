#pragma once

#include <cstdint>
#include <thread>

namespace httplib {
class Server;
}

namespace devkit {

/// Binds the server to a port of 127.0.0.1, 0 meaning any free one, and returns it. Throws
/// std::runtime_error with a sentence that says what to do.
std::uint16_t bind_alone(httplib::Server& server, std::uint16_t port);
/// Serves on a new thread until the server's `stop`, which may be called once this has returned.
std::thread serve_on_thread(httplib::Server& server);

}  // namespace devkit
