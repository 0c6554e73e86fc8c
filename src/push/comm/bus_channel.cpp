#include "push/comm/bus_channel.h"

#include "frame/get_msgbus.h"
#include "frame/msgbus/IBusCore.h"

namespace cloud::comm {

bus_channel get_channel(const char* name) {
  IBus* const bus = find_msgbus();
  IBusCore* const core = bus != nullptr ? bus->Core() : nullptr;
  IBusChannel* const channel = core != nullptr ? core->GetChannel(name) : nullptr;
  if (channel == nullptr) return {};
  return {bus, channel};
}

}  // namespace cloud::comm
