#pragma once

#include "host/agent.h"
#include "host/module.h"

// A host of the whole product: offers the module's plug-ins to each other, each begun with its
// first use and ended with its last, and the Product Agents.
class product_host final : public host_services {
 public:
  explicit product_host(const module_exports& module) : module_(module) {}

  uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override;
  void release_plugin(const wchar_t* name) override;

  bool offers_agent = true;          // "productagent"
  bool offers_agent_client = false;  // "productagentcommclient"
  told_agent agent;
  told_agent agent_client;
  uint32_t agent_refusal = 1168;         // the status for one that isn't offered
  uint32_t agent_client_refusal = 1168;  // the same

 private:
  struct running_plugin {
    const wchar_t* name;
    IServPlugin* plugin;
    uint32_t uses;
  };

  void note_call(const char* what, const wchar_t* name);
  running_plugin* find(const wchar_t* name);
  uint32_t begin(running_plugin& plugin);
  void end(running_plugin& plugin);

  module_exports module_;
  running_plugin plugins_[2] = {{L"cloud_requests", nullptr, 0},
                                {L"connect_integrator", nullptr, 0}};
};
