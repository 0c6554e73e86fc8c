#pragma once

#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>

#include "frame/IServPlugin.h"

namespace devkit {

/// What ZvCreateObject and ZvDestroyObject do for one kind of plug-in: an object for each call.

/// 0 with the face `id` of a new object; 13 and no object if it has no such face; 14 without
/// memory; 1359 if it can't be made, the reason being told on standard error. Whatever else its
/// `creation_failure` gives is answered as it is.
template <class Plugin>
std::uint32_t create_plugin(const IID& id, void** out) noexcept {
  constexpr std::uint32_t invalid_data = 13;
  constexpr std::uint32_t out_of_memory = 14;
  constexpr std::uint32_t internal_error = 1359;
  const auto destroy = [](Plugin* plugin) { msvc_abi::destroy(static_cast<IServPlugin*>(plugin)); };
  try {
    std::unique_ptr<Plugin, decltype(destroy)> plugin(new Plugin, destroy);
    if (const std::uint32_t failure = plugin->creation_failure(); failure != 0) return failure;
    *out = plugin->QueryInterface(id);
    if (*out == nullptr) return invalid_data;
    static_cast<void>(plugin.release());
    return 0;
  } catch (const std::bad_alloc&) {
    return out_of_memory;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "a plug-in of the kit can't be made: %s\n", error.what());
    return internal_error;
  }
}

/// `object` is the face IID_IZvBaseInterface, as the owner is bound to give it.
inline void destroy_plugin(void* object) {
  msvc_abi::destroy(static_cast<IServPlugin*>(static_cast<IZvBaseInterface*>(object)));
}

}  // namespace devkit
