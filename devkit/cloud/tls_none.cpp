#include <httplib.h>

#include <stdexcept>

#include "devkit/cloud/tls.h"

namespace devkit {

std::unique_ptr<httplib::Server> make_tls_server(const std::filesystem::path&) {
  throw std::runtime_error("this build of the development cloud has no https; use the native one");
}

}  // namespace devkit
