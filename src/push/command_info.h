#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/StringT.h"

namespace cloud::push {

/// A command: like an event, but kept until some application has completed it. Texts are UTF-8.
struct command_info {
  zv::StringT<char> destination_app_id;
  zv::StringT<char> name;
  zv::StringT<char> id;
  zv::StringT<char> params;    ///< JSON
  std::int64_t timestamp = 0;  ///< the cloud's; 32 bits of it if the command came in a listing
};
static_assert(offsetof(command_info, name) == 8 && offsetof(command_info, id) == 16);
static_assert(offsetof(command_info, params) == 24 && offsetof(command_info, timestamp) == 32);
static_assert(sizeof(command_info) == 40);

/// Runs under a lock of whoever delivers. It must neither register nor unregister anything. Where
/// the deliverer is the process with the cloud client, a command that comes anew is handed out
/// under a lock that its completion needs, so it is completed from another thread; the client that
/// all other processes have takes the completion on the spot. The same command may come more than
/// once.
using command_callback = void (*)(const command_info& command, void* context);

}  // namespace cloud::push
