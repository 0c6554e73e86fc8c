#include "push/push_service_server.h"

#include <cstring>
#include <new>

#include "_base/win_error.h"
#include "frame/get_msgbus.h"
#include "frame/get_plugin.h"
#include "frame/logger_stream.h"
#include "frame/shield_caller.h"
#include "frame/trace_scope.h"
#include "push/comm/bus_channel.h"
#include "push/comm/sending.h"

namespace {

constexpr wchar_t register_scope[] = L"push register";
constexpr wchar_t unregister_scope[] = L"push unregister";
constexpr wchar_t command_done_scope[] = L"push command done";

/// What a listener begins with. Its reply echoes who had asked, whatever comes of it.
template <class Action>
push_service_server* begin(const Action& request, Action& response, void* context,
                           const wchar_t* scope) {
  if (context == nullptr) {
    LOG_LINE(logging::failure, scope) << L"no valid context";
    return nullptr;
  }
  response.source = request.source;
  response.dest = request.dest;
  return static_cast<push_service_server*>(context);
}

/// A registration that memory wasn't enough for has failed like any other, and mustn't be counted.
template <class Register>
std::uint32_t error_of(Register call) {
  std::uint32_t error = win_error::out_of_memory;
  shield_caller([&] { error = call(); });
  return error;
}

void log_count(const wchar_t* scope, std::int32_t topic, std::uint32_t count) {
  LOG_LINE(logging::progress, scope) << L"topic: " << topic << L" registered: " << count;
}

}  // namespace

push_service_server::~push_service_server() {
  push_service_server::UnInit();
}

void* push_service_server::QueryInterface(const IID& id) {
  if (id == IID_ibus_observer) return static_cast<ibus_observer*>(this);
  return servplugin::QueryInterface(id);
}

std::uint32_t push_service_server::Init(IServMain* host) {
  UnInit();  // what an earlier Init has taken goes before anything is taken anew
  try {
    return build(host);
  } catch (const std::bad_alloc&) {
    UnInit();
    return win_error::out_of_memory;
  }
}

std::uint32_t push_service_server::build(IServMain* host) {
  const wchar_t* const function = L"push_service_server::Init";
  // The base puts up with a missing host; this plug-in has nothing to do without one.
  std::uint32_t error = host != nullptr ? servplugin::Init(host) : win_error::invalid_parameter;
  if (error != win_error::success) {
    LOG_LINE(logging::failure, function) << L"servplugin::Init err=" << error;
    UnInit();
    return error;
  }
  push_service = zv::framework::get_plugin<IPushService>(plugin_manager, L"connect_integrator",
                                                         IID_IPushService, error);
  if (error != win_error::success) {
    LOG_LINE(logging::failure, function) << L"could not get push service plugin, err: " << error;
    UnInit();
    return error;
  }
  // Its result is dropped, as is meant: a server that can't listen stays loaded.
  init_communication_cbks();
  return win_error::success;
}

std::uint32_t push_service_server::UnInit() {
  if (bus != nullptr) bus->RemoveObserver(this, 0);
  bus = nullptr;
  // Each waits for its listener; only then may the service go, which they call. What is counted
  // stays, and so do the registrations with the service. Meant so: what the service still forwards
  // is published without a look at this object.
  command_done_handle.reset();
  register_handle.reset();
  unregister_handle.reset();
  push_service.reset();
  return servplugin::UnInit();
}

void* push_service_server::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t push_service_server::init_communication_cbks() {
  const wchar_t* const function = L"push_service_server::init_communication_cbks";
  register_handle = cloud::comm::start_receiving_actions(on_push_register, this);
  if (register_handle == nullptr) {
    LOG_LINE(logging::failure, function) << L"could not register push register listener";
    return win_error::gen_failure;
  }
  unregister_handle = cloud::comm::start_receiving_actions(on_push_unregister, this);
  if (unregister_handle == nullptr) {
    LOG_LINE(logging::failure, function) << L"could not register push unregister listener";
    return win_error::gen_failure;
  }
  command_done_handle = cloud::comm::start_receiving_actions(on_push_command_done, this);
  if (command_done_handle == nullptr) {
    LOG_LINE(logging::failure, function) << L"could not register command done listener";
    return win_error::gen_failure;
  }
  bus = get_msgbus();
  if (bus != nullptr) bus->AddObserver(this, 0);
  // Clients that come later are told one by one; this is for those that are there already.
  cloud::comm::notify_push_server_up();
  return win_error::success;
}

void push_service_server::on_new_listener(void*, const char* channel, const char* listener) {
  if (channel == nullptr || listener == nullptr) return;
  if (std::strcmp(channel, cloud::comm::events_channel) == 0 &&
      std::strcmp(listener, cloud::comm::client_listener) == 0) {
    // Without memory the client isn't told, and waits for the server's next start.
    shield_caller(cloud::comm::notify_push_server_up);
  }
}

int push_service_server::on_push_register(cloud::push_register& request,
                                          cloud::push_register& response, void* context) {
  const trace_scope trace(register_scope);
  push_service_server* const server = begin(request, response, context, register_scope);
  if (server == nullptr) return win_error::gen_failure;
  const topic_handler handler = handler_of(request.topic);
  if (handler == nullptr) return win_error::invalid_parameter;
  return static_cast<int>((server->*handler)(request.source, request.dest));
}

int push_service_server::on_push_unregister(cloud::push_unregister& request,
                                            cloud::push_unregister& response, void* context) {
  const trace_scope trace(unregister_scope);
  push_service_server* const server = begin(request, response, context, unregister_scope);
  if (server == nullptr) return win_error::gen_failure;

  const connect_source& source = request.source;
  if (server->should_unregister_app_id_from_topic(source.app_id.c_str(), request.topic,
                                                  unregister_scope)) {
    // Any other topic counts as commands, though none could have been registered. Meant so.
    if (request.topic != cloud::push_topic::events) {
      server->push_service->unregister_push_commands_callback(forward_command, server, source,
                                                              request.dest);
    } else {
      server->push_service->unregister_push_events_callback(forward_event, server, source,
                                                            request.dest);
    }
  }
  return win_error::success;
}

int push_service_server::on_push_command_done(cloud::push_command_done& request,
                                              cloud::push_command_done& response, void* context) {
  const trace_scope trace(command_done_scope);
  push_service_server* const server = begin(request, response, context, command_done_scope);
  if (server == nullptr) return win_error::gen_failure;
  const zv::StringT<char> id(request.id.c_str());
  const zv::StringT<char> status(request.status.c_str());
  server->push_service->set_command_done(id, status, request.source, request.dest);
  return win_error::success;
}

void push_service_server::forward_event(const cloud::push::event_info& event, void* context) {
  if (context != nullptr) cloud::comm::notify_push_event(event);
}

void push_service_server::forward_command(const cloud::push::command_info& command, void* context) {
  if (context != nullptr) cloud::comm::notify_push_command(command);
}

push_service_server::topic_handler push_service_server::handler_of(std::int32_t topic) {
  switch (topic) {
    case cloud::push_topic::events:
      return &push_service_server::register_for_events;
    case cloud::push_topic::commands:
      return &push_service_server::register_for_commands;
    default:
      return nullptr;
  }
}

std::uint32_t push_service_server::register_for_events(const connect_source& source,
                                                       const connect_destination& dest) {
  if (source.app_id.IsEmpty()) return win_error::invalid_data;
  const std::string app_id = source.app_id.c_str();
  if (is_app_id_registered_for_topic(app_id, cloud::push_topic::events)) return win_error::success;

  const std::uint32_t error = error_of([&] {
    return push_service->register_push_events_callback(forward_event, this, source, dest);
  });
  if (error != win_error::success) {
    should_unregister_app_id_from_topic(app_id, cloud::push_topic::events, register_scope);
  }
  return error;
}

std::uint32_t push_service_server::register_for_commands(const connect_source& source,
                                                         const connect_destination& dest) {
  if (source.app_id.IsEmpty()) return win_error::invalid_data;
  const std::string app_id = source.app_id.c_str();
  if (is_app_id_registered_for_topic(app_id, cloud::push_topic::commands)) {
    // All hear of them again, the clients from before as well: there is no way to tell one alone.
    push_service->send_offline_commands(source, forward_command, this);
    return win_error::success;
  }
  const std::uint32_t error = error_of([&] {
    return push_service->register_push_commands_callback(forward_command, this, source, dest);
  });
  if (error != win_error::success) {
    should_unregister_app_id_from_topic(app_id, cloud::push_topic::commands, register_scope);
  }
  return error;
}

bool push_service_server::is_app_id_registered_for_topic(const std::string& app_id,
                                                         std::int32_t topic) {
  const std::lock_guard guard(registrations_lock);
  const std::uint32_t count = ++registrations[{app_id, topic}];
  log_count(register_scope, topic, count);
  return count > 1;
}

bool push_service_server::should_unregister_app_id_from_topic(std::string app_id,
                                                              std::int32_t topic,
                                                              const wchar_t* scope) {
  if (app_id.empty()) app_id = cloud::comm::get_default_app_id();
  const std::lock_guard guard(registrations_lock);
  const auto registration = registrations.find({app_id, topic});
  if (registration == registrations.end()) return false;

  const std::uint32_t count = --registration->second;
  log_count(scope, topic, count);
  if (count != 0) return false;
  registrations.erase(registration);
  return true;
}
