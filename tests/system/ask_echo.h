#pragma once

#include "devkit/host/Host.h"

namespace kit_test {

/// A request that every cloud of the kit has an answer to.
inline devkit::Outcome ask_echo(devkit::Host& host) {
  devkit::ConnectCall call;
  call.service = "connect/echo";
  call.method = "greet";
  call.message = "{}";
  call.timeout = 20000;
  return host.connect(call);
}

}  // namespace kit_test
