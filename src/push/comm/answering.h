#pragma once

#include <cstdint>

#include "cloud/request_records.h"
#include "frame/msgbus/IBusMessage.h"

namespace cloud::comm {

/// Replies to `request`, see write_reply. Where the method that the request tells has "async" in
/// its name, the reply goes to all clients, for then its sender isn't waiting. Without a channel or
/// a message to fill there is no reply.
void answer(IBusMessage& request, const char* module, const char* method, std::int32_t err,
            const connect_source& source, const connect_destination& dest);

}  // namespace cloud::comm
