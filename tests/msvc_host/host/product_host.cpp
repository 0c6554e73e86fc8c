#include "host/product_host.h"

namespace {

constexpr const wchar_t* agent_name = L"productagent";
constexpr const wchar_t* agent_client_name = L"productagentcommclient";

// Each agent goes by an identifier of its own.
uint32_t give(told_agent* agent, bool as_told, uint32_t refusal, void** out) {
  *out = as_told ? static_cast<IProductAgent*>(agent) : nullptr;
  return *out ? 0 : refusal;
}

}  // namespace

void product_host::note_call(const char* what, const wchar_t* name) {
  char text[64] = {};
  append_text(text, what);
  append_text(text, "(");
  for (; *name; ++name) {
    const char letter[] = {static_cast<char>(*name), 0};
    append_text(text, letter);
  }
  append_text(text, ")");
  note(text);
}

product_host::running_plugin* product_host::find(const wchar_t* name) {
  for (running_plugin& at : plugins_) {
    if (same(name, at.name)) return &at;
  }
  return nullptr;
}

uint32_t product_host::get_plugin(const wchar_t* name, const IID& id, void** out) {
  if (same(name, L"cloud_guardian_querier")) return host_services::get_plugin(name, id, out);
  note_call("get", name);
  if (same(name, agent_name)) {
    return give(&agent, offers_agent && id == IID_IProductAgent, agent_refusal, out);
  }
  if (same(name, agent_client_name)) {
    return give(&agent_client, offers_agent_client && id == IID_IProductAgentCommClient,
                agent_client_refusal, out);
  }
  *out = nullptr;
  running_plugin* asked = find(name);
  if (!asked) return 1168;
  if (asked->uses == 0) {
    const uint32_t status = begin(*asked);
    if (status != 0) return status;
  }
  ++asked->uses;
  *out = asked->plugin->QueryInterface(id);
  if (*out) return 0;
  if (--asked->uses == 0) end(*asked);
  return 13;
}

void product_host::release_plugin(const wchar_t* name) {
  if (same(name, L"cloud_guardian_querier")) return host_services::release_plugin(name);
  note_call("release", name);
  running_plugin* released = find(name);
  if (released && --released->uses == 0) end(*released);
}

uint32_t product_host::begin(running_plugin& plugin) {
  void* made = nullptr;
  uint32_t status = module_.create(plugin.name, IID_IServPlugin, &made);
  if (status != 0) return status;
  plugin.plugin = static_cast<IServPlugin*>(made);
  status = plugin.plugin->Init(this);
  if (status == 0) return plugin.plugin->Start();
  module_.destroy(plugin.name, plugin.plugin->QueryInterface(IID_IZvBaseInterface));
  return status;
}

void product_host::end(running_plugin& plugin) {
  plugin.plugin->Stop();
  plugin.plugin->UnInit();
  module_.destroy(plugin.name, plugin.plugin->QueryInterface(IID_IZvBaseInterface));
}
