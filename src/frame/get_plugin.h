#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "_base/win_error.h"
#include "frame/IServMain.h"
#include "frame/mgr_plugin_releaser.h"
#include "frame/plugin_handle.h"

namespace zv::framework {

/// A plug-in of the host, by name. Empty unless `status` is 0. `manager` must outlive the handle.
template <class T>
plugin_handle<T> get_plugin(IServPluginManager* manager, const wchar_t* name, const IID& id,
                            std::uint32_t& status) {
  // Made first, so that a plug-in in hand can't be lost for lack of memory.
  auto releaser = std::make_unique<details::mgr_plugin_releaser>(manager, name);
  void* out = nullptr;
  status = manager->get_plugin(name, id, &out);
  if (status == 0 && out == nullptr) status = win_error::gen_failure;
  if (status != 0) return {};
  return {std::move(releaser), static_cast<T*>(out)};
}

}  // namespace zv::framework
