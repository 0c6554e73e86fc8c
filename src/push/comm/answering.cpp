#include "push/comm/answering.h"

#include <string>

#include "push/comm/bus_channel.h"
#include "push/comm/bus_message.h"
#include "push/comm/parsers.h"
#include "push/comm/serializers.h"

namespace cloud::comm {
namespace {

// None of the push components' own methods is; the rule is shared by all who answer on the bus.
bool wants_message_of_its_own(IBusMessage& request) {
  std::string method;
  if (request.HasField("method", 0)) method = get_text(request, "method").c_str();
  return method.find("async") != method.npos;
}

}  // namespace

void answer(IBusMessage& request, const char* module, const char* method, std::int32_t err,
            const connect_source& source, const connect_destination& dest) {
  const bool is_sent = wants_message_of_its_own(request);
  // A direct reply isn't sent on the channel, yet comes from its bus.
  const bus_channel channel = get_channel(is_sent ? events_channel : actions_channel);
  if (!channel) return;
  const bus_message reply = create_message(*channel.bus);
  if (!reply) return;

  write_reply(*reply, module, method, err, source, dest);
  if (!is_sent) {
    request.SetReply(reply.get());
    return;
  }
  const bus_message sent = share(*reply);
  channel.channel->Send(sent.get());
}

}  // namespace cloud::comm
