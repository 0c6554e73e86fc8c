#include "frame/exported_plugin_releaser.h"

#include <utility>

namespace zv::framework::details {

exported_plugin_releaser::exported_plugin_releaser(platform::module_handle the_module,
                                                   ZvCreateObject_t the_create,
                                                   ZvDestroyObject_t the_destroy,
                                                   std::wstring the_name, IServPlugin* the_plugin)
    : module(the_module),
      create(the_create),
      destroy(the_destroy),
      name(std::move(the_name)),
      plugin(the_plugin) {}

exported_plugin_releaser::~exported_plugin_releaser() {
  platform::unload_library(module);
}

void exported_plugin_releaser::release() {
  plugin->Stop();
  plugin->UnInit();
  destroy(name.c_str(), plugin->QueryInterface(IID_IZvBaseInterface));
}

}  // namespace zv::framework::details
