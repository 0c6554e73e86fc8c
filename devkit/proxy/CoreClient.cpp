#include "devkit/proxy/CoreClient.h"

namespace devkit {

void* CoreClient::QueryInterface(const IID& id) {
  if (id == proxy_msgbus::IID_iclient_core) {
    const bool lacks_it = settings().failure("QueryInterface") != 0;
    return lacks_it ? nullptr : static_cast<proxy_msgbus::iclient_core*>(this);
  }
  if (id == IID_IServPlugin || id == IID_IZvBaseInterface) return static_cast<IServPlugin*>(this);
  return nullptr;
}

void* CoreClient::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t CoreClient::get_proxy(proxy_msgbus::proxy_info* info) {
  return give(settings(), info);
}

}  // namespace devkit
