#pragma once

#include "product/plugin.h"

// A plug-in of a stand-in library, which tells `note` of its life. Its root facet is another object
// than the plug-in, so that giving the wrong one back is noticed.
class noted_plugin : public IServPlugin {
 public:
  explicit noted_plugin(void (*note)(const char* call)) : note_(note) {}

  void* QueryInterface(const IID& id) override {
    if (id == IID_IZvBaseInterface) return &root_;
    if (id == IID_IServPlugin) return static_cast<IServPlugin*>(this);
    return facet(id);
  }
  uint32_t Init(IServMain* host) override {
    note_(host ? "Init(host)" : "Init(null)");
    return 0;
  }
  uint32_t UnInit() override {
    note_("UnInit");
    return 0;
  }
  uint32_t Start() override {
    note_("Start");
    return 0;
  }
  void Stop() override { note_("Stop"); }

  bool is_root(const void* object) const { return object == &root_; }

 protected:
  // What the plug-in offers beside the frame's own interfaces; null for an unknown `id`.
  virtual void* facet(const IID& id) = 0;

 private:
  class root_facet final : public IZvBaseInterface {
   public:
    void* QueryInterface(const IID&) override { return nullptr; }
  };

  void (*note_)(const char* call);
  root_facet root_;
};
