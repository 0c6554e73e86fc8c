#include "push/comm/sending.h"

#include <utility>

#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "frame/msgbus/IBusChannel.h"
#include "push/comm/bus_channel.h"
#include "push/comm/bus_message.h"
#include "push/comm/serializers.h"

namespace cloud::comm {
namespace {

/// Sends what `write_to` makes of a new message.
template <class WriteTo>
std::uint32_t send(const char* channel_name, WriteTo write_to) {
  const bus_channel channel = get_channel(channel_name);
  if (!channel) return win_error::not_connected;
  const bus_message message = create_message(*channel.bus);
  if (!message) return win_error::gen_failure;

  write_to(*message);
  const bus_message sent = share(*message);
  channel.channel->Send(sent.get());
  return win_error::success;
}

/// Whether a reply came, and says that all is well. What else it says doesn't matter.
bool is_granted(IBusChannel& channel, IBusMessage& message) {
  IBusMessage* reply = nullptr;
  if (channel.SendAndWait(&message, &reply, register_timeout) != 0 || reply == nullptr)
    return false;
  const bus_message owned(reply);
  return owned->GetInt("err") == 0;
}

template <class F>
std::unique_ptr<handle<F>> send_register(const push_register& request, F* callback, void* context) {
  const bus_channel channel = get_channel(actions_channel);
  if (!channel) return nullptr;
  const bus_message message = create_message(*channel.bus);
  if (!message) return nullptr;
  write(*message, request);

  // Before the message leaves: what the server delivers at once must find someone.
  std::unique_ptr<handle<F>> receiving;
  if (callback != nullptr) receiving = start_receiving_events(callback, context);

  const bus_message sent = share(*message);
  if (!is_granted(*channel.channel, *sent)) receiving.reset();
  return receiving;
}

}  // namespace

std::uint32_t notify_push_event(const push::event_info& event) {
  return send(events_channel, [&](IBusMessage& message) { write(message, event); });
}

std::uint32_t notify_push_command(const push::command_info& command) {
  return send(events_channel, [&](IBusMessage& message) { write(message, command); });
}

void notify_push_server_up() {
  send(events_channel, write_push_server_up);
}

std::unique_ptr<handle<event_receiver>> send_push_register_events(event_receiver* callback,
                                                                  void* context,
                                                                  const connect_source& source,
                                                                  const connect_destination& dest) {
  return send_register(push_register{source, push_topic::events, dest}, callback, context);
}

std::unique_ptr<handle<command_receiver>> send_push_register_commands(
    command_receiver* callback, void* context, const connect_source& source,
    const connect_destination& dest) {
  return send_register(push_register{source, push_topic::commands, dest}, callback, context);
}

void send_push_unregister(std::int32_t topic, const connect_source& source,
                          const connect_destination& dest) {
  const push_unregister request{source, topic, dest};
  send(actions_channel, [&](IBusMessage& message) { write(message, request); });
}

void send_push_command_done(const std::string& id, const std::string& status,
                            const connect_source& source, const connect_destination& dest) {
  const push_command_done request{source, dest, id, status};
  send(actions_channel, [&](IBusMessage& message) { write(message, request); });
}

std::string get_default_app_id() {
  return get_product_app_id();
}

}  // namespace cloud::comm
