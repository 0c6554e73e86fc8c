#include "frame/mgr_plugin_releaser.h"

#include <utility>

namespace zv::framework::details {

mgr_plugin_releaser::mgr_plugin_releaser(IServPluginManager* the_manager, std::wstring the_name)
    : manager(the_manager), name(std::move(the_name)) {}

void mgr_plugin_releaser::release() {
  if (manager != nullptr) manager->release_plugin(name.c_str());
}

}  // namespace zv::framework::details
