#include "devkit/proxy/AppClient.h"

namespace devkit {

void* AppClient::QueryInterface(const IID& id) {
  if (id == proxy_msgbus::IID_iclient_app) {
    const bool lacks_it = settings().failure("QueryInterface") != 0;
    return lacks_it ? nullptr : static_cast<proxy_msgbus::iclient_app*>(this);
  }
  if (id == IID_IServPlugin || id == IID_IZvBaseInterface) return static_cast<IServPlugin*>(this);
  return nullptr;
}

void* AppClient::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t AppClient::get_proxy(std::uint32_t type, proxy_msgbus::proxy_info* info) {
  const ProxySettings now = settings();
  return type == now.type ? give(now, info) : win_error::invalid_parameter;
}

std::uint32_t AppClient::get_proxy_type(std::uint32_t* type) {
  if (type == nullptr) return win_error::invalid_parameter;
  const ProxySettings now = settings();
  if (const std::uint32_t failure = now.failure("get_proxy_type")) return failure;
  *type = now.type;
  return win_error::success;
}

}  // namespace devkit
