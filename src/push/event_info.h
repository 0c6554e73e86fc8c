#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/StringT.h"

namespace cloud::push {

/// An event on its way to the applications that asked for it. Texts are UTF-8.
struct event_info {
  zv::StringT<char> name;
  zv::StringT<char> params;  ///< JSON
  zv::StringT<char> destination_app_id;
  zv::StringT<char> destination_device_id;
  std::int64_t timestamp = 0;  ///< the cloud's
};
static_assert(offsetof(event_info, destination_app_id) == 16 &&
              offsetof(event_info, timestamp) == 32);
static_assert(sizeof(event_info) == 40);

/// Runs under a lock of whoever delivers. It must neither register nor unregister anything, and
/// must leave the completion of commands to another thread: with some deliverer each of these would
/// wait for itself.
using event_callback = void (*)(const event_info& event, void* context);

}  // namespace cloud::push
