#pragma once

#include <string>

#include "frame/IServMain.h"
#include "frame/iplugin_releaser.h"

namespace zv::framework::details {

/// Gives a plug-in back to the host it came from.
class mgr_plugin_releaser final : public iplugin_releaser {
 public:
  /// `manager` may be null; it must outlive the releaser.
  mgr_plugin_releaser(IServPluginManager* manager, std::wstring name);
  void release() override;

 private:
  IServPluginManager* manager;
  std::wstring name;
};

}  // namespace zv::framework::details
