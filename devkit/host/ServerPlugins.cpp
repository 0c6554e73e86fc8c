#include "devkit/host/ServerPlugins.h"

#include "frame/IServPlugin.h"

namespace devkit {

ServerPlugins::ServerPlugins(PluginHost& host)
    : connect_integrator_(host, "connect_integrator", IID_IServPlugin),
      cloud_requests_(host, "cloud_requests", IID_IServPlugin),
      connect_requests_server_(host, "connect_requests_server", IID_IServPlugin),
      push_service_server_(host, "push_service_server", IID_IServPlugin) {}

}  // namespace devkit
