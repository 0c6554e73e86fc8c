#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/abi.h"

/// The closed proxy client: where a service process learns which proxy the cloud client has to use.
/// Each of its two plug-ins serves one kind of service process.

namespace ProxyManager {

/// What a proxy client calls, on a thread of its choice.
class IProxyMgrEvents {
 public:
  virtual std::uint32_t OnProxySettingsChanged() = 0;
  // Called as well, but of no interest here.
  virtual std::uint32_t ignored_1() = 0;
  virtual std::uint32_t ignored_2() = 0;
  virtual std::uint32_t ignored_3() = 0;
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IProxyMgrEvents() = default;
};

}  // namespace ProxyManager

namespace proxy_msgbus {

/// Filled by the client. Texts are terminated.
struct proxy_info {
  static constexpr std::size_t text_size = 260;

  std::int32_t type = -1;
  wchar_t host[text_size] = {};
  std::uint32_t port = 0;
  wchar_t user[text_size] = {};
  wchar_t password[text_size] = {};
};
static_assert(offsetof(proxy_info, host) == 4);
static_assert(offsetof(proxy_info, port) == 4 + 260 * sizeof(wchar_t));
static_assert(offsetof(proxy_info, user) == 8 + 260 * sizeof(wchar_t));
static_assert(offsetof(proxy_info, password) == 8 + 520 * sizeof(wchar_t));
static_assert(sizeof(proxy_info) == 8 + 780 * sizeof(wchar_t));

class client_observer_app : public ProxyManager::IProxyMgrEvents {
 protected:
  ~client_observer_app() = default;
};

class client_observer_core : public ProxyManager::IProxyMgrEvents {
 protected:
  ~client_observer_core() = default;
};

inline constexpr IID IID_iclient_app = {
    0xa8dc795b, 0xaa15, 0x9c1c, {0x61, 0x47, 0x5b, 0xbf, 0x5a, 0x4d, 0xdf, 0x06}};
inline constexpr IID IID_iclient_core = {
    0xdb9678cb, 0x7ba3, 0x9d00, {0xd9, 0x41, 0xc5, 0x18, 0xf1, 0x6e, 0xc2, 0x21}};

/// The plug-in "proxy.msgbus.client.app". Statuses are 0 or a Windows error number.
class iclient_app {
 public:
  virtual bool add_observer(client_observer_app* observer, std::uint64_t context) = 0;
  /// No call to the observer is under way or comes after it.
  virtual bool remove_observer(client_observer_app* observer, std::uint64_t context) = 0;
  virtual std::uint32_t initialize_communication(const char* channel) = 0;
  virtual void shutdown_communication() = 0;
  virtual std::uint32_t get_enabled_state(bool* enabled) = 0;
  virtual void not_called_5() = 0;
  /// `type` is what get_proxy_type gave; its meaning is the client's.
  virtual std::uint32_t get_proxy(std::uint32_t type, proxy_info* info) = 0;
  virtual void not_called_7() = 0;
  virtual std::uint32_t get_proxy_type(std::uint32_t* type) = 0;

 protected:
  ~iclient_app() = default;
};

/// The plug-in "proxy.msgbus.client.core", likewise.
class iclient_core {
 public:
  virtual bool add_observer(client_observer_core* observer, std::uint64_t context) = 0;
  virtual bool remove_observer(client_observer_core* observer, std::uint64_t context) = 0;
  virtual std::uint32_t initialize_communication(const char* channel) = 0;
  virtual void shutdown_communication() = 0;
  virtual std::uint32_t get_enabled_state(bool* enabled) = 0;
  virtual std::uint32_t get_proxy(proxy_info* info) = 0;

 protected:
  ~iclient_core() = default;
};

}  // namespace proxy_msgbus
