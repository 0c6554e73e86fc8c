#pragma once

#include <cstdint>
#include <string>

#include "frame/IServPlugin.h"
#include "frame/iplugin_releaser.h"
#include "platform/library.h"

namespace zv::framework::details {

using ZvCreateObject_t = std::uint32_t (*)(const wchar_t* name, IID id, void** out);
using ZvDestroyObject_t = void (*)(const wchar_t* name, void* object);

/// Winds down a plug-in that this module loaded from a library. The library stays loaded until the
/// releaser itself ends, since code of it may still be on the way out of `release`.
class exported_plugin_releaser final : public iplugin_releaser {
 public:
  /// Takes over one count of `module`.
  exported_plugin_releaser(platform::module_handle module, ZvCreateObject_t create,
                           ZvDestroyObject_t destroy, std::wstring name, IServPlugin* plugin);
  ~exported_plugin_releaser() override;
  /// Stop, UnInit, destroy.
  void release() override;

 private:
  platform::module_handle module;
  [[maybe_unused]] ZvCreateObject_t create;  ///< the other half of `destroy`
  ZvDestroyObject_t destroy;
  std::wstring name;
  IServPlugin* plugin;
};

}  // namespace zv::framework::details
