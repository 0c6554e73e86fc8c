#include "push/comm/bus_message.h"

#include "frame/msgbus/IBusCore.h"

namespace cloud::comm {

bus_message create_message(IBus& bus) {
  IBusCore* const core = bus.Core();
  return bus_message(core != nullptr ? core->CreateMessage(0) : nullptr);
}

bus_message share(IBusMessage& message) {
  message.AddRef();
  return bus_message(&message);
}

}  // namespace cloud::comm
