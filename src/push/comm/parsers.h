#pragma once

#include "frame/msgbus/IBusMessage.h"
#include "push/comm/records.h"
#include "push/command_info.h"
#include "push/event_info.h"

/// Reads of bus messages. Each gives false, and leaves its record as it was, for a message of
/// another kind: many kinds share a channel. Fields that are absent read as empty texts, or as
/// whatever the bus gives for an absent number.
namespace cloud::comm {

bool parse(IBusMessage& message, push::event_info& event);
bool parse(IBusMessage& message, push::command_info& command);
/// Whether the message says that the push server has come up.
bool is_push_server_up(IBusMessage& message);
bool parse(IBusMessage& message, push_register& request);
bool parse(IBusMessage& message, push_unregister& request);
bool parse(IBusMessage& message, push_command_done& request);

/// A field's text; empty if it is absent.
zv::StringT<char> get_text(IBusMessage& message, const char* key);

}  // namespace cloud::comm
