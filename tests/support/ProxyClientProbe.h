#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "loadable/proxy_client/Backend.h"
#include "platform/library.h"

namespace support {

/// The proxy client as tests see it: answers as it is told, records what it is asked. Stands behind
/// the loaded library at `path`. One at a time; every operation may be called from any thread.
///
/// Calls are lines in their order: "create <name> <id>", "Init without a host", "Start",
/// "QueryInterface <id>", "initialize_communication <channel>", "add_observer",
/// "get_enabled_state", "get_proxy_type", "get_proxy <type>" of the app client and "get_proxy" of
/// the core client, "remove_observer", "shutdown_communication", "Stop", "UnInit",
/// "destroy <name>".
class ProxyClientProbe final : public proxy_client::Backend {
 public:
  struct Observer {
    ProxyManager::IProxyMgrEvents* observer;
    std::uint64_t context;
    bool operator==(const Observer&) const = default;
  };

  explicit ProxyClientProbe(std::filesystem::path path);
  ProxyClientProbe(const ProxyClientProbe&) = delete;
  ProxyClientProbe& operator=(const ProxyClientProbe&) = delete;
  ~ProxyClientProbe();

  /// Gives the test's own count of the library back: whatever then keeps it is the module.
  void release_library();
  bool library_is_loaded() const;

  // What to answer. A proxy is off at first, of type 7.
  void set_proxy(const std::wstring& host, std::uint32_t port, const std::wstring& user = L"",
                 const std::wstring& password = L"");
  void turn_proxy_off();
  void set_type(std::uint32_t type);
  /// The call that begins so fails with `number` from now on; add_observer and QueryInterface by
  /// any number. 0 lets it succeed again.
  void fail(const std::wstring& call, std::uint32_t number);
  /// Runs within every call from now on, on its thread.
  void set_hook(std::function<void(const std::wstring& call)> hook);

  /// Tells the observer of a change, on this thread. False without one.
  bool report_change();

  std::vector<std::wstring> calls() const;
  std::size_t count(const std::wstring& call) const;
  void forget_calls();
  std::vector<Observer> added() const;
  std::vector<Observer> removed() const;

  std::uint32_t step(const wchar_t* call) override;
  bool add_observer(ProxyManager::IProxyMgrEvents* observer, std::uint64_t context) override;
  void remove_observer(ProxyManager::IProxyMgrEvents* observer, std::uint64_t context) override;
  void get_enabled_state(bool* enabled) override;
  void get_proxy_type(std::uint32_t* type) override;
  void get_proxy(proxy_msgbus::proxy_info* info) override;

 private:
  const std::filesystem::path path_;
  platform::module_handle library_ = nullptr;

  std::mutex reporting_;  ///< before mutex_; held while the observer is called
  ProxyManager::IProxyMgrEvents* observer_ = nullptr;  ///< guarded by reporting_

  mutable std::mutex mutex_;
  std::vector<std::wstring> calls_;
  std::vector<Observer> added_;
  std::vector<Observer> removed_;
  std::map<std::wstring, std::uint32_t> failures_;
  std::function<void(const std::wstring&)> hook_;
  bool enabled_ = false;
  std::uint32_t type_ = 7;
  proxy_msgbus::proxy_info info_;
};

}  // namespace support
