#pragma once

#include <cstdint>

#include "cloud/proxy_msgbus.h"

/// What stands behind the test's proxy client. The library only forwards, so that a record of what
/// it was asked outlives it.
namespace proxy_client {

/// Called from any thread.
class Backend {
 public:
  /// Every operation comes here first, and fails with the number that this gives.
  virtual std::uint32_t step(const wchar_t* call) = 0;
  /// False refuses it. `context` belongs to the call.
  virtual bool add_observer(ProxyManager::IProxyMgrEvents* observer, std::uint64_t context) = 0;
  /// Returns when no call to the observer is under way.
  virtual void remove_observer(ProxyManager::IProxyMgrEvents* observer, std::uint64_t context) = 0;
  virtual void get_enabled_state(bool* enabled) = 0;
  virtual void get_proxy_type(std::uint32_t* type) = 0;
  virtual void get_proxy(proxy_msgbus::proxy_info* info) = 0;

 protected:
  ~Backend() = default;
};

/// The library's one export beyond the product's: directs its calls to `backend`. Without one
/// nothing of it may be called.
using set_backend_t = void (*)(Backend* backend);
inline constexpr const char* set_backend_name = "proxy_client_set_backend";

}  // namespace proxy_client
