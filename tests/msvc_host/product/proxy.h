#pragma once

// The proxy client's interfaces as its maker sees them.

#include <stdint.h>

namespace ProxyManager {

class IProxyMgrEvents {
 public:
  virtual uint32_t OnProxySettingsChanged() = 0;
  virtual uint32_t ignored_1() = 0;
  virtual uint32_t ignored_2() = 0;
  virtual uint32_t ignored_3() = 0;
  virtual ~IProxyMgrEvents() = default;
};

}  // namespace ProxyManager

namespace proxy_msgbus {

struct proxy_info {
  int32_t type;
  wchar_t host[260];
  uint32_t port;
  wchar_t user[260];
  wchar_t password[260];
};

class client_observer_app : public ProxyManager::IProxyMgrEvents {};
class client_observer_core : public ProxyManager::IProxyMgrEvents {};

class iclient_app {
 public:
  virtual bool add_observer(client_observer_app* observer, uint64_t context) = 0;
  virtual bool remove_observer(client_observer_app* observer, uint64_t context) = 0;
  virtual uint32_t initialize_communication(const char* channel) = 0;
  virtual void shutdown_communication() = 0;
  virtual uint32_t get_enabled_state(bool* enabled) = 0;
  virtual void unused_5() = 0;
  virtual uint32_t get_proxy(uint32_t type, proxy_info* info) = 0;
  virtual void unused_7() = 0;
  virtual uint32_t get_proxy_type(uint32_t* type) = 0;
};

class iclient_core {
 public:
  virtual bool add_observer(client_observer_core* observer, uint64_t context) = 0;
  virtual bool remove_observer(client_observer_core* observer, uint64_t context) = 0;
  virtual uint32_t initialize_communication(const char* channel) = 0;
  virtual void shutdown_communication() = 0;
  virtual uint32_t get_enabled_state(bool* enabled) = 0;
  virtual uint32_t get_proxy(proxy_info* info) = 0;
};

}  // namespace proxy_msgbus
