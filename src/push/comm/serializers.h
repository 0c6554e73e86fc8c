#pragma once

#include <cstdint>

#include "frame/msgbus/IBusMessage.h"
#include "push/comm/records.h"
#include "push/command_info.h"
#include "push/event_info.h"

/// Writes of bus messages, field by field. The order of the fields is part of the messages.
namespace cloud::comm {

void write(IBusMessage& message, const push::event_info& event);
void write(IBusMessage& message, const push::command_info& command);
void write_push_server_up(IBusMessage& message);
// A sender without an application of its own writes the product's default.
void write(IBusMessage& message, const push_register& request);
void write(IBusMessage& message, const push_unregister& request);
void write(IBusMessage& message, const push_command_done& request);

/// The reply to an action: its result, and who had asked for it, an empty application included.
void write_reply(IBusMessage& message, const char* module, const char* method, std::int32_t err,
                 const connect_source& source, const connect_destination& dest);

}  // namespace cloud::comm
