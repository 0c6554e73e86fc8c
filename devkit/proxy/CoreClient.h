#pragma once

#include "devkit/proxy/ProxyClient.h"

namespace devkit {

/// The plug-in "proxy.msgbus.client.core".
class CoreClient final
    : public ProxyClient<proxy_msgbus::iclient_core, proxy_msgbus::client_observer_core> {
 public:
  void* QueryInterface(const IID& id) override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  std::uint32_t get_proxy(proxy_msgbus::proxy_info* info) override;
};

}  // namespace devkit
