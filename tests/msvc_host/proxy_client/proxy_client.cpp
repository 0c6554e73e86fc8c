// A proxy client for the host's checks, built for the MSVC ABI as the real one is: two plug-ins,
// which answer with what the host laid down.

#include "proxy_client/exports.h"
#include "runtime/plugin.h"
#include "runtime/text.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

using proxy_msgbus::proxy_info;

void ignore(const char*) {}
void (*heard)(const char* call) = ignore;
proxy_client::answers answer{};
ProxyManager::IProxyMgrEvents* observer = nullptr;

void note(const char* call) {
  heard(call);
}

void note(const char* call, const char* argument) {
  char text[128];
  copy_text(text, call);
  append_text(text, "(");
  append_text(text, argument);
  append_text(text, ")");
  heard(text);
}

// All that the two clients have in common; arguments with a single right value are judged here.
bool add(ProxyManager::IProxyMgrEvents* added, uint64_t context) {
  note(context == 0 && !observer ? "add" : "add(?)");
  if (answer.takes_observer) observer = added;
  return answer.takes_observer;
}

bool remove(const ProxyManager::IProxyMgrEvents* removed, uint64_t context) {
  note(context == 0 && removed == observer ? "remove" : "remove(?)");
  observer = nullptr;
  return true;
}

uint32_t enabled_state(bool* enabled) {
  note("enabled");
  *enabled = answer.enabled;
  return answer.enabled_status;
}

uint32_t fill(proxy_info* info) {
  *info = answer.info;
  return answer.info_status;
}

class client_app final : public proxy_msgbus::iclient_app {
 public:
  bool add_observer(proxy_msgbus::client_observer_app* added, uint64_t context) override {
    return add(added, context);
  }
  bool remove_observer(proxy_msgbus::client_observer_app* removed, uint64_t context) override {
    return remove(removed, context);
  }
  uint32_t initialize_communication(const char* channel) override {
    note("initialize", channel);
    return 0;
  }
  void shutdown_communication() override { note("shutdown"); }
  uint32_t get_enabled_state(bool* enabled) override { return enabled_state(enabled); }
  void unused_5() override { note("unused"); }
  uint32_t get_proxy(uint32_t type, proxy_info* info) override {
    note(type == answer.type ? "get(type)" : "get(?)");
    return fill(info);
  }
  void unused_7() override { note("unused"); }
  uint32_t get_proxy_type(uint32_t* type) override {
    note("type");
    *type = answer.type;
    return 0;
  }
};

class client_core final : public proxy_msgbus::iclient_core {
 public:
  bool add_observer(proxy_msgbus::client_observer_core* added, uint64_t context) override {
    return add(added, context);
  }
  bool remove_observer(proxy_msgbus::client_observer_core* removed, uint64_t context) override {
    return remove(removed, context);
  }
  uint32_t initialize_communication(const char* channel) override {
    note("initialize", channel);
    return 0;
  }
  void shutdown_communication() override { note("shutdown"); }
  uint32_t get_enabled_state(bool* enabled) override { return enabled_state(enabled); }
  uint32_t get_proxy(proxy_info* info) override {
    note("get");
    return fill(info);
  }
};

client_app app;
client_core core;

// Knows the identifier of one of the clients only.
class client_plugin final : public noted_plugin {
 public:
  explicit client_plugin(bool is_app) : noted_plugin(note), is_app_(is_app) {}

 private:
  void* facet(const IID& id) override {
    if (is_app_) return id == IID_iclient_app ? &app : nullptr;
    return id == IID_iclient_core ? &core : nullptr;
  }

  bool is_app_;
};

constexpr const wchar_t* app_name = L"proxy.msgbus.client.app";
constexpr const wchar_t* core_name = L"proxy.msgbus.client.core";
client_plugin* plugin = nullptr;
const wchar_t* plugin_name = nullptr;

}  // namespace

EXPORTED uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (same(name, app_name)) {
    plugin_name = app_name;
  } else if (same(name, core_name)) {
    plugin_name = core_name;
  } else {
    return 1168;
  }
  if (!(id == IID_IServPlugin)) return 13;
  const bool is_app = plugin_name == app_name;
  note("Create", is_app ? "app" : "core");
  plugin = new client_plugin(is_app);
  *out = static_cast<IServPlugin*>(plugin);
  return 0;
}

EXPORTED void ZvDestroyObject(const wchar_t* name, void* object) {
  note(same(name, plugin_name) && plugin->is_root(object) ? "Destroy(root)" : "Destroy(?)");
  delete plugin;
  plugin = nullptr;
}

EXPORTED proxy_client::answers* proxy_answers() {
  return &answer;
}
EXPORTED void proxy_on_call(void (*on_call)(const char* call)) {
  heard = on_call ? on_call : ignore;
}
EXPORTED ProxyManager::IProxyMgrEvents* proxy_observer() {
  return observer;
}
