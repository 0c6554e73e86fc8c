#include "push/comm/parsers.h"

#include <cstring>

#include "push/comm/message_names.h"

namespace cloud::comm {
namespace {

bool has_text(IBusMessage& message, const char* key, const char* expected) {
  if (!message.HasField(key, 0)) return false;
  // Null, if the field is a number.
  const char* const text = message.GetString(key);
  return text != nullptr && std::strcmp(text, expected) == 0;
}

bool is_push_message(IBusMessage& message, const char* method) {
  return has_text(message, "module", push_module) && has_text(message, "method", method);
}

connect_source get_source(IBusMessage& message) {
  return {get_text(message, "source_app_id"), get_text(message, "source_device_id"),
          get_text(message, "source_token")};
}

connect_destination get_destination(IBusMessage& message) {
  return {get_text(message, "dest_device_id"), get_text(message, "dest_app_id")};
}

template <class Registration>
bool parse_registration(IBusMessage& message, Registration& request) {
  if (!is_push_message(message, method_of<Registration>)) return false;
  request.source = get_source(message);
  request.topic = static_cast<std::int32_t>(message.GetInt("topic"));
  request.dest = get_destination(message);
  return true;
}

}  // namespace

bool parse(IBusMessage& message, push::event_info& event) {
  if (!is_push_message(message, method_of<push::event_info>)) return false;
  event.name = get_text(message, "name");
  event.destination_app_id = get_text(message, "destination_app_id");
  event.destination_device_id = get_text(message, "destination_device_id");
  event.timestamp = message.GetInt("timestamp");
  event.params = get_text(message, "params");
  return true;
}

bool parse(IBusMessage& message, push::command_info& command) {
  if (!is_push_message(message, method_of<push::command_info>)) return false;
  command.name = get_text(message, "name");
  command.id = get_text(message, "id");
  command.timestamp = message.GetInt("timestamp");
  command.destination_app_id = get_text(message, "destination_app_id");
  command.params = get_text(message, "params");
  return true;
}

bool is_push_server_up(IBusMessage& message) {
  return is_push_message(message, push_server_up_method);
}

bool parse(IBusMessage& message, push_register& request) {
  return parse_registration(message, request);
}

bool parse(IBusMessage& message, push_unregister& request) {
  return parse_registration(message, request);
}

bool parse(IBusMessage& message, push_command_done& request) {
  if (!is_push_message(message, method_of<push_command_done>)) return false;
  request.source = get_source(message);
  request.id = get_text(message, "id").c_str();
  request.status = get_text(message, "status").c_str();
  request.dest = get_destination(message);
  return true;
}

zv::StringT<char> get_text(IBusMessage& message, const char* key) {
  return message.GetString(key);
}

}  // namespace cloud::comm
