#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "frame/IServMain.h"
#include "frame/exported_plugin_releaser.h"
#include "frame/get_plugin.h"
#include "frame/plugin_handle.h"

namespace zv::framework {

namespace details {

/// The untyped body of load_exported_plugin.
std::pair<std::unique_ptr<exported_plugin_releaser>, void*> load_exported(const wchar_t* path,
                                                                          const wchar_t* name,
                                                                          const IID& id,
                                                                          std::uint32_t& status);

}  // namespace details

/// Loads the library at `path`, creates its plug-in `name`, drives it through Init (without a host)
/// and Start, and asks it for `id`. Empty on failure, everything being wound back from where it
/// stopped; `status` then tells what went wrong, and is 0 otherwise.
template <class T>
plugin_handle<T> load_exported_plugin(const wchar_t* path, const wchar_t* name, const IID& id,
                                      std::uint32_t& status) {
  auto [releaser, plugin] = details::load_exported(path, name, id, status);
  return {std::move(releaser), static_cast<T*>(plugin)};
}

/// From the host if there is one, from the library otherwise.
template <class T>
plugin_handle<T> get_any_plugin(IServPluginManager* manager, const wchar_t* path,
                                const wchar_t* name, const IID& id, std::uint32_t& status) {
  if (manager != nullptr) return get_plugin<T>(manager, name, id, status);
  return load_exported_plugin<T>(path, name, id, status);
}

}  // namespace zv::framework
