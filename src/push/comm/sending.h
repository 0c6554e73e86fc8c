#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "push/comm/receiving.h"

/// Messages to the others on the bus. Any thread may call; nothing is kept or tried again.
namespace cloud::comm {

/// How long a registration waits for its answer, in milliseconds.
inline constexpr std::uint32_t register_timeout = 5000;

// To all clients: 0; 2250 without the channel; 31 without a message to fill.
std::uint32_t notify_push_event(const push::event_info& event);
std::uint32_t notify_push_command(const push::command_info& command);
void notify_push_server_up();

/// Registers `source` with the server and waits for its answer, having subscribed before, so that
/// nothing is missed in between. Without a callback there is no subscription, and the handle is
/// empty whatever came of it; else it is empty if the server didn't answer or refused.
std::unique_ptr<handle<event_receiver>> send_push_register_events(event_receiver* callback,
                                                                  void* context,
                                                                  const connect_source& source,
                                                                  const connect_destination& dest);
std::unique_ptr<handle<command_receiver>> send_push_register_commands(
    command_receiver* callback, void* context, const connect_source& source,
    const connect_destination& dest);

// Sent off; nobody hears whether it arrived.
void send_push_unregister(std::int32_t topic, const connect_source& source,
                          const connect_destination& dest);
void send_push_command_done(const std::string& id, const std::string& status,
                            const connect_source& source, const connect_destination& dest);

/// The product's application identifier in UTF-8, possibly empty.
std::string get_default_app_id();

}  // namespace cloud::comm
