#pragma once

#include <filesystem>
#include <memory>

namespace httplib {
class Server;
}

namespace devkit {

/// A server with a new key and a new certificate for 127.0.0.1 and localhost, which is written to
/// `certificate`. Throws std::runtime_error, also where the kit is built without OpenSSL.
std::unique_ptr<httplib::Server> make_tls_server(const std::filesystem::path& certificate);

}  // namespace devkit
