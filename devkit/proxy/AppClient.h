#pragma once

#include "devkit/proxy/ProxyClient.h"

namespace devkit {

/// The plug-in "proxy.msgbus.client.app".
class AppClient final
    : public ProxyClient<proxy_msgbus::iclient_app, proxy_msgbus::client_observer_app> {
 public:
  void* QueryInterface(const IID& id) override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  void not_called_5() override {}
  /// 87 for a type other than the one that get_proxy_type gives.
  std::uint32_t get_proxy(std::uint32_t type, proxy_msgbus::proxy_info* info) override;
  void not_called_7() override {}
  std::uint32_t get_proxy_type(std::uint32_t* type) override;
};

}  // namespace devkit
