#pragma once

#include <memory>

#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusMessage.h"

namespace cloud::comm {

struct release_message {
  void operator()(IBusMessage* message) const noexcept { message->Release(); }
};

/// One reference on a message.
using bus_message = std::unique_ptr<IBusMessage, release_message>;

/// A new message of that bus; empty if it has none to give.
bus_message create_message(IBus& bus);
/// A further reference on `message`.
bus_message share(IBusMessage& message);

}  // namespace cloud::comm
