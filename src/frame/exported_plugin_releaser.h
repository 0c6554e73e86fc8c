#pragma once

#include <cstdint>
#include <string>

#include "frame/IServPlugin.h"
#include "frame/iplugin_releaser.h"
#include "platform/library.h"

namespace zv::framework::details {

using ZvCreateObject_t = std::uint32_t (*)(const wchar_t* name, IID id, void** out);
using ZvDestroyObject_t = void (*)(const wchar_t* name, void* object);

/// The way back for a plug-in out of another library. Unloading is left to the destructor:
/// `release` returns through that library's code.
class exported_plugin_releaser final : public iplugin_releaser {
 public:
  /// Takes over one count of `module`. There is nothing to release before `adopt`.
  exported_plugin_releaser(platform::module_handle module, ZvCreateObject_t create,
                           ZvDestroyObject_t destroy, std::wstring name,
                           IServPlugin* plugin = nullptr);
  ~exported_plugin_releaser() override;
  /// Takes charge of a plug-in that was initialised and started.
  void adopt(IServPlugin* the_plugin) noexcept { plugin = the_plugin; }
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
