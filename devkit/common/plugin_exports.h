#pragma once

#include <cstdint>
#include <new>

#include "frame/IServPlugin.h"

namespace devkit {

/// What ZvCreateObject and ZvDestroyObject do for one kind of plug-in: an object for each call.

/// 0 with the face `id` of a new object; 13 and no object if it has no such face; 14 without
/// memory.
template <class Plugin>
std::uint32_t create_plugin(const IID& id, void** out) {
  constexpr std::uint32_t invalid_data = 13;
  constexpr std::uint32_t out_of_memory = 14;
  auto* const plugin = new (std::nothrow) Plugin;
  if (plugin == nullptr) return out_of_memory;
  *out = plugin->QueryInterface(id);
  if (*out != nullptr) return 0;
  msvc_abi::destroy(static_cast<IServPlugin*>(plugin));
  return invalid_data;
}

/// `object` is the face IID_IZvBaseInterface, as the owner is bound to give it.
inline void destroy_plugin(void* object) {
  msvc_abi::destroy(static_cast<IServPlugin*>(static_cast<IZvBaseInterface*>(object)));
}

}  // namespace devkit
