// What comes in from the cloud: events, commands, listings; and what became of commands.

#include <algorithm>
#include <utility>

#include "_base/win_error.h"
#include "_base/zvjson/parsed_text.h"
#include "_base/zvjson/zvjson.h"
#include "frame/logger_stream.h"
#include "frame/shield_caller.h"
#include "push/push_gate.h"
#include "push/push_service.h"

namespace cloud::push {

namespace {

constexpr const char* commands_service = "connect/commands";
constexpr std::uint32_t commands_timeout = 5000;

zv::StringT<char> text_of(const std::string& text) {
  return zv::StringT<char>(std::string_view(text));
}

/// Empty if it is absent or no text.
std::string text_member(const zv::Json& object, const char* key) {
  std::string text;
  object.GetMember(key, text);
  return text;
}

std::int64_t number_member(const zv::Json& object, const char* key) {
  json_int_t number = 0;
  object.GetMember(key, number);
  return number;
}

/// The value as JSON text; empty if it is neither object nor array.
zv::StringT<char> json_text(const zv::Json& value) {
  return text_of(zv::ParsedText(value.RawValue()));
}

/// `object` holds the command, which is `app_id`'s.
command_info read_command(const zv::Json& object, const std::string& app_id,
                          std::int64_t timestamp) {
  zv::JsonNull params;
  object.GetMember("command_params", params);
  return {text_of(app_id), text_of(text_member(object, "command")),
          text_of(text_member(object, "command_id")), json_text(params), timestamp};
}

bool is_same_command(const command_info& a, const command_info& b) {
  return a.name.view() == b.name.view() && a.id.view() == b.id.view() &&
         a.destination_app_id.view() == b.destination_app_id.view();
}

template <class Entries, class Info>
void call_each(const Entries& entries, const Info& info) {
  for (const auto& entry : entries) entry.callback(info, entry.context);
}

}  // namespace

void push_service::push_event(const cirrel_response* response, void* context) {
  if (context == nullptr || response == nullptr || response->text == nullptr) return;
  const push_gate::visit visit(context);
  if (!visit) return;
  // Without memory it is lost, as if it had never arrived; a command comes back with the next
  // listing.
  shield_caller([&] { static_cast<push_service*>(context)->deliver(*response); });
}

void push_service::deliver(const cirrel_response& response) {
  const wchar_t* const function = L"cloud::push::push_service::push_event";
  zv::JsonNull root;
  root.LoadBuffer(response.text, response.size, 0);
  LOG_LINE(logging::progress, function)
      << L"response: " << std::string_view(response.text, response.size);
  zv::JsonNull fields;
  if (!root.IsObject() || !root.GetMember("app_fields", fields)) return;

  zv::JsonNull target;
  std::string app_id;
  std::string device_id;
  if (fields.GetMember("connect_target", target)) {
    app_id = text_member(target, "app_id");
    device_id = text_member(target, "device_id");
  }
  LOG_LINE(logging::progress, function) << L"destination app: " << app_id;

  const std::string event = text_member(fields, "event");
  const std::int64_t timestamp = number_member(fields, "timestamp");
  zv::JsonNull params;
  if (!fields.GetMember("event_params", params)) return;

  if (event == "command") {
    deliver_command(app_id, read_command(params, app_id, timestamp));
  } else {
    deliver_event(app_id, {text_of(event), json_text(params), text_of(app_id), text_of(device_id),
                           timestamp});
  }
}

void push_service::deliver_command(const std::string& app_id, const command_info& command) {
  // Before any callback, since that may complete the command at once; and without the offline lock
  // during the callbacks, for the same reason.
  store(app_id, command);
  const std::lock_guard guard(commands_lock_);
  const auto found = commands_.find(app_id);
  if (found != commands_.end()) call_each(found->second, command);
}

void push_service::deliver_event(const std::string& app_id, const event_info& event) {
  const std::lock_guard guard(events_lock_);
  const auto found = events_.find(app_id);
  if (found != events_.end()) call_each(found->second, event);
}

void push_service::on_internal_event(const event_info& event) {
  if (event.name.view() != "push_delivery_latency") return;
  zv::JsonNull params;
  std::string latency_id;
  params.Load(event.params.c_str(), 0);
  if (!params.GetMember("latency_id", latency_id)) {
    LOG_LINE(logging::failure, L"cloud::push::push_service::on_internal_event") << L"no latency_id";
    return;
  }
  telemetry_.post_push_event_received_karma_event(latency_id);
}

void push_service::OnNetworkAvailable() {
  if (network_ready_.exchange(1) == 1) {
    LOG_LINE(logging::progress, L"cloud::push::push_service::OnNetworkAvailable")
        << L"not first cloud up cbk";
    return;
  }
  // What there is no memory for reaches the cloud with the next change of the user.
  shield_caller([this] {
    std::unique_lock guard(identity_lock_);
    connect_source identity = identity_;
    guard.unlock();
    refresh_push_listeners(std::move(identity));
  });
}

void push_service::get_offline_commands(const std::string& app_id) {
  const wchar_t* const function = L"cloud::push::push_service::get_offline_commands";
  if (network_ready_ == 0) {
    LOG_LINE(logging::failure, function) << L"Postpone list command until network is ready";
    return;
  }
  LOG_LINE(logging::progress, function) << L"app_id: " << app_id;
  worker_.Submit(
      "resolve_request",
      [this, app_id] { resolve_request(commands_service, "list", std::string(), app_id); }, [] {});
}

void push_service::resolve_request(const char* service, const char* request_method,
                                   const std::string& message, const std::string& app_id) {
  // What is done with the answers; that of any other method is of no interest.
  static const std::map<std::string, reply_handler, std::less<>> handlers = {
      {"list", &push_service::list_commands}};
  const wchar_t* const function = L"cloud::push::push_service::resolve_request";

  connect_request request;
  request.service = service;
  request.timeout = commands_timeout;
  request.request_method = request_method;
  request.message = message.c_str();
  request_reply reply;
  const request_status status = connect_requests_->resolve(request, reply, true);
  if (status.code != 0) {
    LOG_LINE(logging::failure, function)
        << L"Could not resolve " << request_method << L"  request, err: " << status.code
        << L" type: " << status.error_type;
    return;
  }
  if (reply.code != 0) {
    LOG_LINE(logging::failure, function)
        << L"Could not resolve " << request_method << L"  request, connect err: " << reply.code;
    return;
  }
  const auto handler = handlers.find(request_method);
  if (handler == handlers.end()) return;
  (this->*handler->second)(std::string(reply.text.view()), app_id);
}

void push_service::list_commands(const std::string& reply, const std::string& app_id) {
  const wchar_t* const function = L"cloud::push::push_service::list_commands";
  zv::JsonNull listing;
  listing.LoadBuffer(reply.data(), reply.size(), 0);
  LOG_LINE(logging::progress, function) << L"result: " << reply;
  if (!listing.IsArray()) return;

  for (std::size_t index = 0; index < listing.Size(); ++index) {
    zv::JsonNull element;
    if (!listing.GetItem(index, element) || !element.IsObject()) continue;
    // 32 bits of the time, as a listing has always been read; a push keeps all 64. Meant so.
    const auto timestamp = static_cast<std::int32_t>(number_member(element, "timestamp"));
    const command_info command = read_command(element, app_id, timestamp);
    LOG_LINE(logging::progress, function) << L"offline cmd: " << command.name << L" for app_id: "
                                          << app_id << L" " << command.destination_app_id;
    store(app_id, command);
  }

  // Everything that is kept, what was delivered before included: at least once is what is promised.
  connect_source source;
  source.app_id = text_of(app_id);
  const std::lock_guard guard(commands_lock_);
  const auto found = commands_.find(app_id);
  if (found == commands_.end()) return;
  for (const auto& entry : found->second) {
    send_offline_commands(source, entry.callback, entry.context);
  }
}

void push_service::store(const std::string& app_id, const command_info& command) {
  if (command.id.IsEmpty()) return;
  const std::lock_guard guard(offline_lock_);
  std::list<command_info>& kept = offline_[app_id];
  const auto is_same = [&](const command_info& other) { return is_same_command(command, other); };
  if (std::none_of(kept.begin(), kept.end(), is_same)) kept.push_back(command);
}

void push_service::send_offline_commands(const connect_source& source,
                                         const command_callback& callback, void* context) {
  const std::lock_guard guard(offline_lock_);
  for (const command_info& command : offline_[std::string(source.app_id.view())]) {
    LOG_LINE(logging::progress, L"cloud::push::push_service::send_offline_commands")
        << L"name: " << command.name << L" app_id: " << command.destination_app_id << L" "
        << source.app_id;
    callback(command, context);
  }
}

void push_service::set_command_done(const zv::StringT<char>& id, const zv::StringT<char>& status,
                                    const connect_source& source, const connect_destination&) {
  const wchar_t* const function = L"cloud::push::push_service::set_command_done";
  const auto sender = get_auth_data(source);
  if (!sender) {
    LOG_LINE(logging::failure, function) << L"No auth data";
    return;
  }
  zv::JsonNull outcome;
  std::string message;
  if (!outcome.Pack(__FILE__, __LINE__, "{s:s, s:s}", "command_id", id.c_str(), "command_status",
                    status.c_str()) ||
      !outcome.Dump(message, 0)) {
    // The command stays: a completion that can't be told to the cloud is none.
    LOG_LINE(logging::failure, function) << L"Could not make the message of a completed command";
    return;
  }
  // Gone for good, whatever the cloud will say: a request that fails brings nothing back.
  if (!remove_command(id, sender.value())) return;
  resolve_request(commands_service, "complete", message, std::string(sender.value().app_id.view()));
}

bool push_service::remove_command(const zv::StringT<char>& id, const connect_source& sender) {
  const wchar_t* const function = L"cloud::push::push_service::remove_command";
  const std::lock_guard guard(offline_lock_);
  if (offline_.empty()) {
    LOG_LINE(logging::progress, function) << L"no offline cmd";
    return false;
  }
  const auto kept = offline_.find(std::string(sender.app_id.view()));
  if (kept == offline_.end()) {
    LOG_LINE(logging::progress, function) << L"not found cmds for app_id ";
    return false;
  }
  std::list<command_info>& commands = kept->second;
  const auto has_id = [&](const command_info& command) { return command.id.view() == id.view(); };
  // One node goes, however many matched: of commands that share an identifier stale copies stay
  // behind. That is meant to be so.
  const auto rest = std::remove_if(commands.begin(), commands.end(), has_id);
  if (rest == commands.end()) return false;
  commands.erase(rest);
  return true;
}

}  // namespace cloud::push
