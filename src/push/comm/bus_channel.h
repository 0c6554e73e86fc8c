#pragma once

#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusChannel.h"

namespace cloud::comm {

inline constexpr char actions_channel[] = "connect.actions";  ///< from clients to the server
inline constexpr char events_channel[] = "connect.events";    ///< from the server to all clients

inline constexpr char register_listener[] = "push_register";
inline constexpr char unregister_listener[] = "push_unregister";
inline constexpr char command_done_listener[] = "push_command_done";
inline constexpr char client_listener[] = "push_client";

/// A channel and the bus it belongs to: both or neither.
struct bus_channel {
  IBus* bus = nullptr;
  IBusChannel* channel = nullptr;

  explicit operator bool() const noexcept { return channel != nullptr; }
};

/// Empty where the process has no bus, or the bus no such channel. Nothing is logged.
bus_channel get_channel(const char* name);

}  // namespace cloud::comm
