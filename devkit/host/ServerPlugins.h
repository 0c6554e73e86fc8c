#pragma once

#include "devkit/host/HeldPlugin.h"

namespace devkit {

/// The module's four plug-ins at work in one process, which so serves all others on the bus. They
/// end in the reverse order: the faces on the bus before what they stand on.
class ServerPlugins {
 public:
  /// Throws host_error if one of them doesn't start.
  explicit ServerPlugins(PluginHost& host);

 private:
  const HeldPlugin connect_integrator_;
  const HeldPlugin cloud_requests_;
  const HeldPlugin connect_requests_server_;
  const HeldPlugin push_service_server_;
};

}  // namespace devkit
