#include "push/comm/serializers.h"

#include "push/comm/message_names.h"
#include "push/comm/sending.h"

namespace cloud::comm {
namespace {

void set_text(IBusMessage& message, const char* key, const text& value) {
  message.SetString(key, value.c_str());
}

void write_name(IBusMessage& message, const char* module, const char* method) {
  message.SetString("module", module);
  message.SetString("method", method);
}

/// All of a sender but its application.
void write_identity(IBusMessage& message, const connect_source& source) {
  set_text(message, "source_device_id", source.device_id);
  set_text(message, "source_token", source.user_token);
}

void write_destination(IBusMessage& message, const connect_destination& dest) {
  set_text(message, "dest_app_id", dest.app_id);
  set_text(message, "dest_device_id", dest.device_id);
}

/// What every action begins with.
template <class Action>
void write_action(IBusMessage& message, const Action& request) {
  write_name(message, request.module, method_of<Action>);
  if (request.source.app_id.IsEmpty()) {
    message.SetString("source_app_id", get_default_app_id().c_str());
  } else {
    set_text(message, "source_app_id", request.source.app_id);
  }
  write_identity(message, request.source);
  write_destination(message, request.dest);
}

}  // namespace

void write(IBusMessage& message, const push::event_info& event) {
  write_name(message, push_module, method_of<push::event_info>);
  set_text(message, "name", event.name);
  message.SetInt("timestamp", event.timestamp);
  set_text(message, "destination_app_id", event.destination_app_id);
  set_text(message, "destination_device_id", event.destination_device_id);
  set_text(message, "params", event.params);
}

void write(IBusMessage& message, const push::command_info& command) {
  write_name(message, push_module, method_of<push::command_info>);
  set_text(message, "name", command.name);
  message.SetInt("timestamp", command.timestamp);
  set_text(message, "id", command.id);
  set_text(message, "params", command.params);
  // Unlike an event, a command names no device; that is meant.
  set_text(message, "destination_app_id", command.destination_app_id);
}

void write_push_server_up(IBusMessage& message) {
  write_name(message, push_module, push_server_up_method);
}

void write(IBusMessage& message, const push_register& request) {
  write_action(message, request);
  message.SetInt("topic", request.topic);
}

void write(IBusMessage& message, const push_unregister& request) {
  write_action(message, request);
  message.SetInt("topic", request.topic);
}

void write(IBusMessage& message, const push_command_done& request) {
  write_action(message, request);
  message.SetString("id", request.id.c_str());
  message.SetString("status", request.status.c_str());
}

void write_reply(IBusMessage& message, const char* module, const char* method, std::int32_t err,
                 const connect_source& source, const connect_destination& dest) {
  // Twice, and both are meant: what all replies begin with first, the module that answers then.
  message.SetString("module", "connect_requests");
  message.SetInt("err", err);
  write_name(message, module, method);
  set_text(message, "source_app_id", source.app_id);
  write_identity(message, source);
  write_destination(message, dest);
}

}  // namespace cloud::comm
