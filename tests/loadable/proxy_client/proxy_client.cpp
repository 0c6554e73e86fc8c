// A proxy client with both of its plug-ins. The interfaces lie behind the plug-in in each object,
// as in closed libraries, so that a caller who mixes pointers up is seen.

#include <atomic>
#include <cstring>
#include <memory>
#include <string>

#include "_base/abi.h"
#include "frame/IServPlugin.h"
#include "loadable/proxy_client/Backend.h"

namespace {

using proxy_msgbus::iclient_app;
using proxy_msgbus::iclient_core;
using proxy_msgbus::proxy_info;

constexpr std::uint32_t no_such_plugin = 1168;

std::atomic<proxy_client::Backend*> backend = nullptr;

std::uint32_t step(const std::wstring& call) {
  return backend.load()->step(call.c_str());
}

std::wstring name_of(const IID& id) {
  if (id == IID_IServPlugin) return L"IServPlugin";
  if (id == IID_IZvBaseInterface) return L"IZvBaseInterface";
  if (id == proxy_msgbus::IID_iclient_app) return L"iclient_app";
  if (id == proxy_msgbus::IID_iclient_core) return L"iclient_core";
  return L"unknown id";
}

class base_facet final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
};

/// What both plug-ins have in common.
class plugin : public IServPlugin {
 public:
  void* QueryInterface(const IID& id) override {
    if (step(L"QueryInterface " + name_of(id)) != 0) return nullptr;
    return id == IID_IZvBaseInterface ? &base_ : client(id);
  }
  std::uint32_t Init(IServMain* host) override {
    return step(host == nullptr ? L"Init without a host" : L"Init with a host");
  }
  std::uint32_t UnInit() override { return step(L"UnInit"); }
  std::uint32_t Start() override { return step(L"Start"); }
  void Stop() override { step(L"Stop"); }
  void* scalar_deleting_destructor(std::uint32_t) override {
    step(L"deleting destructor");
    return this;
  }
  const void* base() const noexcept { return &base_; }
  virtual ~plugin() = default;

 protected:
  virtual void* client(const IID& id) = 0;

 private:
  base_facet base_;
};

/// What both interfaces have in common.
template <class Client, class Observer>
class client_of : public plugin, public Client {
 public:
  bool add_observer(Observer* observer, std::uint64_t context) override {
    return step(L"add_observer") == 0 && backend.load()->add_observer(observer, context);
  }
  bool remove_observer(Observer* observer, std::uint64_t context) override {
    if (step(L"remove_observer") != 0) return false;
    backend.load()->remove_observer(observer, context);
    return true;
  }
  std::uint32_t initialize_communication(const char* channel) override {
    return step(L"initialize_communication " +
                std::wstring(channel, channel + std::strlen(channel)));
  }
  void shutdown_communication() override { step(L"shutdown_communication"); }
  // It fills before it fails: a caller has to go by the status.
  std::uint32_t get_enabled_state(bool* enabled) override {
    const std::uint32_t status = step(L"get_enabled_state");
    backend.load()->get_enabled_state(enabled);
    return status;
  }

 protected:
  std::uint32_t get_proxy_of(const std::wstring& call, proxy_info* info) {
    const std::uint32_t status =
        step(info->type == -1 && info->host[0] == 0 ? call : call + L" into a used record");
    backend.load()->get_proxy(info);
    return status;
  }
};

class app_plugin final : public client_of<iclient_app, proxy_msgbus::client_observer_app> {
 public:
  void not_called_5() override { step(L"slot 5"); }
  std::uint32_t get_proxy(std::uint32_t type, proxy_info* info) override {
    return get_proxy_of(L"get_proxy " + std::to_wstring(type), info);
  }
  void not_called_7() override { step(L"slot 7"); }
  std::uint32_t get_proxy_type(std::uint32_t* type) override {
    const std::uint32_t status =
        step(*type == static_cast<std::uint32_t>(-1) ? L"get_proxy_type"
                                                     : L"get_proxy_type into a used number");
    backend.load()->get_proxy_type(type);
    return status;
  }

 private:
  void* client(const IID& id) override {
    return id == proxy_msgbus::IID_iclient_app ? static_cast<iclient_app*>(this) : nullptr;
  }
};

class core_plugin final : public client_of<iclient_core, proxy_msgbus::client_observer_core> {
 public:
  std::uint32_t get_proxy(proxy_info* info) override { return get_proxy_of(L"get_proxy", info); }

 private:
  void* client(const IID& id) override {
    return id == proxy_msgbus::IID_iclient_core ? static_cast<iclient_core*>(this) : nullptr;
  }
};

std::unique_ptr<plugin> the_plugin;

}  // namespace

ABI_EXPORT void proxy_client_set_backend(proxy_client::Backend* target) {
  backend = target;
}

ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  const std::wstring wanted = name;
  if (const std::uint32_t status = step(L"create " + wanted + L" " + name_of(id)); status != 0) {
    return status;
  }
  if (wanted == L"proxy.msgbus.client.app") {
    the_plugin = std::make_unique<app_plugin>();
  } else if (wanted == L"proxy.msgbus.client.core") {
    the_plugin = std::make_unique<core_plugin>();
  } else {
    return no_such_plugin;
  }
  *out = static_cast<IServPlugin*>(the_plugin.get());
  return 0;
}

ABI_EXPORT void ZvDestroyObject(const wchar_t* name, void* object) {
  const bool is_base = the_plugin != nullptr && object == the_plugin->base();
  step(std::wstring(L"destroy ") + name + (is_base ? L"" : L" by a wrong pointer"));
  the_plugin.reset();
}
