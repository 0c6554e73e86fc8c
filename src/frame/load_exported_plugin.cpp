#include "frame/load_exported_plugin.h"

#include <memory>

#include "_base/win_error.h"

namespace zv::framework::details {

namespace {

using loaded_plugin = std::pair<std::unique_ptr<exported_plugin_releaser>, void*>;

struct unload {
  void operator()(void* module) const noexcept { platform::unload_library(module); }
};
using library = std::unique_ptr<void, unload>;

library load(const wchar_t* path, std::uint32_t& status) {
  library module(platform::load_library(path, status));
  // A second chance for a library whose own dependencies lie beside it.
  if (module == nullptr && platform::is_absolute(path)) {
    module.reset(platform::load_library_with_altered_search_path(path, status));
  }
  return module;
}

}  // namespace

loaded_plugin load_exported(const wchar_t* path, const wchar_t* name, const IID& id,
                            std::uint32_t& status) {
  library module = load(path, status);
  if (module == nullptr) return {};

  const auto create = reinterpret_cast<ZvCreateObject_t>(
      platform::find_symbol(module.get(), "ZvCreateObject", status));
  if (create == nullptr) return {};
  const auto destroy = reinterpret_cast<ZvDestroyObject_t>(
      platform::find_symbol(module.get(), "ZvDestroyObject", status));
  if (destroy == nullptr) return {};

  // It owns the library from here on: whoever drops it unloads.
  auto releaser = std::make_unique<exported_plugin_releaser>(module.get(), create, destroy, name);
  static_cast<void>(module.release());
  void* created = nullptr;
  status = create(name, IID_IServPlugin, &created);
  if (status == win_error::success && created == nullptr) status = win_error::gen_failure;
  if (status != win_error::success) return {};

  // Every failure winds back what stands by then, in the reverse order of its coming.
  auto* const plugin = static_cast<IServPlugin*>(created);
  status = plugin->Init(nullptr);
  if (status == win_error::success) {
    status = plugin->Start();
    if (status == win_error::success) {
      if (void* const facet = plugin->QueryInterface(id)) {
        releaser->adopt(plugin);
        return {std::move(releaser), facet};
      }
      status = win_error::gen_failure;
      plugin->Stop();
    }
    plugin->UnInit();
  }
  destroy(name, plugin->QueryInterface(IID_IZvBaseInterface));
  return {};
}

}  // namespace zv::framework::details
