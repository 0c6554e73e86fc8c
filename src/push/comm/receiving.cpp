#include "push/comm/receiving.h"

#include <optional>
#include <string>
#include <utility>

#include "frame/logger_stream.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/shield_caller.h"
#include "push/comm/answering.h"
#include "push/comm/bus_channel.h"
#include "push/comm/bus_subscription.h"
#include "push/comm/handle_impl.h"
#include "push/comm/message_names.h"
#include "push/comm/parsers.h"

namespace cloud::comm {
namespace {

/// What is received, and by whom.
struct reception {
  const wchar_t* function;  ///< for the log
  const char* channel;
  const char* listener;  ///< null for none
  bus_callback receiver;
};

template <class F>
const detail::handle_impl<F>& handle_of(void* context) {
  return *static_cast<const detail::handle_impl<F>*>(context);
}

// The bus calls these. What comes while there is no memory for it is lost; an action then has no
// reply, and its sender doesn't wait for ever.

template <class Record, class F>
void receive(IBusMessage* message, void* context) {
  shield_caller([&] {
    Record record;
    if (parse(*message, record)) handle_of<F>(context)(std::as_const(record));
  });
}

void receive_management_event(IBusMessage* message, void* context) {
  shield_caller([&] {
    if (is_push_server_up(*message)) handle_of<management_receiver>(context)();
  });
}

template <class Action, class F>
void receive_action(IBusMessage* message, void* context) {
  shield_caller([&] {
    Action request;
    Action response;
    if (!parse(*message, request)) return;
    const int err = handle_of<F>(context)(request, response);
    answer(*message, response.module, method_of<Action>, err, response.source, response.dest);
  });
}

template <class F>
std::unique_ptr<handle<F>> start_receiving(const reception& what, F* callback, void* context) {
  auto receiving = std::make_unique<detail::handle_impl<F>>(callback, context);
  // Made before the subscription, which could get lost if there were no memory for it.
  std::optional<std::string> listener;
  if (what.listener != nullptr) listener = what.listener;

  const bus_channel channel = get_channel(what.channel);
  if (!channel) {
    LOG_LINE(logging::failure, what.function) << L"could not get channel";
    return nullptr;
  }
  bus_subscription subscription(channel.bus, channel.channel->Subscribe(), std::move(listener));
  if (!subscription) {
    LOG_LINE(logging::failure, what.function) << L"could not get subscription";
    return nullptr;
  }
  // A failure here is not reported, which is meant: the handle is good, but nobody learns of a
  // listener that hears nothing.
  const std::uint32_t error = subscription.get()->SetCallback(what.receiver, receiving.get(), 0);
  if (error == 0 && what.listener != nullptr) {
    IBusChannel* const announced_on = subscription.get()->GetChannel();
    if (announced_on != nullptr) channel.bus->AddListener(announced_on->GetName(), what.listener);
  }
  receiving->keep(std::move(subscription));
  return receiving;
}

template <class Record, class F>
std::unique_ptr<handle<F>> start_receiving_pushes(F* callback, void* context) {
  return start_receiving(
      {L"cloud::comm::start_receiving_events", events_channel, nullptr, receive<Record, F>},
      callback, context);
}

template <class Action, class F>
std::unique_ptr<handle<F>> start_receiving_action(F* callback, void* context) {
  return start_receiving({L"cloud::comm::start_receiving_actions", actions_channel,
                          method_of<Action>, receive_action<Action, F>},
                         callback, context);
}

}  // namespace

std::unique_ptr<handle<event_receiver>> start_receiving_events(event_receiver* callback,
                                                               void* context) {
  return start_receiving_pushes<push::event_info>(callback, context);
}

std::unique_ptr<handle<command_receiver>> start_receiving_events(command_receiver* callback,
                                                                 void* context) {
  return start_receiving_pushes<push::command_info>(callback, context);
}

std::unique_ptr<handle<management_receiver>> start_receiving_management_events(
    management_receiver* callback, void* context) {
  return start_receiving({L"cloud::comm::start_receiving_management_events", events_channel,
                          client_listener, receive_management_event},
                         callback, context);
}

std::unique_ptr<handle<register_receiver>> start_receiving_actions(register_receiver* callback,
                                                                   void* context) {
  return start_receiving_action<push_register>(callback, context);
}

std::unique_ptr<handle<unregister_receiver>> start_receiving_actions(unregister_receiver* callback,
                                                                     void* context) {
  return start_receiving_action<push_unregister>(callback, context);
}

std::unique_ptr<handle<command_done_receiver>> start_receiving_actions(
    command_done_receiver* callback, void* context) {
  return start_receiving_action<push_command_done>(callback, context);
}

}  // namespace cloud::comm
