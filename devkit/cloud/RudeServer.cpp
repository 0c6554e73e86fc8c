#include "devkit/cloud/RudeServer.h"

#include <httplib.h>

#include "devkit/cloud/serving.h"

namespace devkit {

namespace {

class HangingUp final : public httplib::Server {
 private:
  bool process_and_close_socket(socket_t socket) override {
    httplib::detail::close_socket(socket);
    return true;
  }
};

}  // namespace

RudeServer::RudeServer()
    : server_(std::make_unique<HangingUp>()),
      port_(bind_alone(*server_, 0)),
      thread_(serve_on_thread(*server_)) {}

RudeServer::~RudeServer() {
  server_->stop();
  thread_.join();
}

}  // namespace devkit
