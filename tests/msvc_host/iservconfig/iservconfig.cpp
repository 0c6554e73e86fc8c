// The configuration library for the host's checks: one plug-in, built for the MSVC ABI as the real
// one is.

#include "product/plugin.h"
#include "runtime/kernel32.h"
#include "runtime/text.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

char calls[512];

void note(const char* call) {
  if (calls[0]) append_text(calls, " ");
  append_text(calls, call);
}

// The root facet is another object than the plug-in, so that giving the wrong one back is noticed.
class root_facet final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
};
root_facet root;

class product_config final : public IServConfig {
 public:
  void* QueryInterface(const IID& id) override {
    if (id == IID_IZvBaseInterface) return &root;
    if (id == IID_IServPlugin || id == IID_IServConfig || id == IID_ProductInfo) return this;
    return nullptr;
  }
  uint32_t Init(IServMain* host) override {
    note(host ? "Init(host)" : "Init(null)");
    return 0;
  }
  uint32_t UnInit() override {
    note("UnInit");
    return 0;
  }
  uint32_t Start() override {
    note("Start");
    return 0;
  }
  void Stop() override { note("Stop"); }

  const wchar_t* GetString(uint32_t id, const wchar_t* default_value) override {
    note("GetString");
    if (id == 44) return L"Desktop \x20ac";
    if (id == 408) return L"C:\\profiles";
    return default_value;
  }
};

product_config* plugin = nullptr;

}  // namespace

EXPORTED uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (!same(name, L"productinfo") || !(id == IID_IServPlugin)) return 13;
  note("Create");
  plugin = new product_config;
  *out = static_cast<IServPlugin*>(plugin);
  return 0;
}

EXPORTED void ZvDestroyObject(const wchar_t* name, void* object) {
  note(same(name, L"productinfo") && object == static_cast<IZvBaseInterface*>(&root)
           ? "Destroy(root)"
           : "Destroy(?)");
  delete plugin;
  plugin = nullptr;
}

EXPORTED const char* config_calls() {
  return calls;
}
EXPORTED void config_forget() {
  calls[0] = 0;
}
