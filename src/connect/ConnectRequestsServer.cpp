#include "connect/ConnectRequestsServer.h"

#include <new>
#include <optional>
#include <string_view>

#include "_base/win_error.h"
#include "cloud/request_records.h"
#include "frame/get_msgbus.h"
#include "frame/get_plugin.h"
#include "frame/logger_stream.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "frame/shield_caller.h"
#include "frame/trace_scope.h"
#include "push/comm/bus_channel.h"
#include "push/comm/bus_message.h"
#include "push/comm/parsers.h"

namespace cloud::connect {

namespace {

constexpr wchar_t init_scope[] = L"cloud::connect::ConnectRequestsServer::Init";
constexpr std::uint32_t default_timeout = 5000;  ///< milliseconds

/// An absent field is none of ours.
bool has(IBusMessage& message, const char* key, std::string_view value) {
  const char* const text = message.GetString(key);
  return text != nullptr && text == value;
}

connect_request read_request(IBusMessage& message) {
  connect_request request;
  request.timeout = default_timeout;
  request.type = request_type::connect;
  request.service = comm::get_text(message, "service");
  request.request_method = comm::get_text(message, "request_method");
  request.source.app_id = comm::get_text(message, "source_app_id");
  request.source.device_id = comm::get_text(message, "source_device_id");
  request.source.user_token = comm::get_text(message, "source_token");
  request.destination.app_id = comm::get_text(message, "dest_app_id");
  request.destination.device_id = comm::get_text(message, "dest_device_id");
  request.message = comm::get_text(message, "message");
  // Whatever the bus gives, for an absent field too: the default above is meant to have no say.
  request.timeout = static_cast<std::uint32_t>(message.GetInt("timeout"));
  return request;
}

void write_reply(IBusMessage& message, const request_status& status, const request_reply& reply) {
  // The code alone decides: a type without a code is a success, and only a failure tells its type.
  if (status.code == win_error::success) {
    message.SetString("reply", reply.text.c_str());
    message.SetInt("err", reply.code);
  } else {
    message.SetInt("err", status.code);
    message.SetInt("error_type", status.error_type);
  }
}

}  // namespace

ConnectRequestsServer::~ConnectRequestsServer() {
  let_go();
}

void* ConnectRequestsServer::QueryInterface(const IID& id) {
  return servplugin::QueryInterface(id);
}

std::uint32_t ConnectRequestsServer::Init(IServMain* host) {
  const trace_scope trace(init_scope);
  let_go();  // what an earlier Init holds, if no UnInit came in between

  if (host == nullptr || servplugin::Init(host) != win_error::success) {
    servplugin::UnInit();
    LOG_LINE(logging::failure, init_scope)
        << L"Failed to init serv plugin; err = " << win_error::invalid_parameter;
    return win_error::invalid_parameter;
  }
  std::uint32_t error = win_error::success;
  try {
    error = init_components();
    if (error == win_error::success && !init_communication()) error = win_error::gen_failure;
  } catch (const std::bad_alloc&) {
    error = win_error::out_of_memory;
  }
  if (error != win_error::success) UnInit();
  return error;
}

std::uint32_t ConnectRequestsServer::UnInit() {
  const trace_scope trace(L"cloud::connect::ConnectRequestsServer::UnInit");
  let_go();
  return servplugin::UnInit();
}

void* ConnectRequestsServer::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t ConnectRequestsServer::init_components() {
  const wchar_t* const name = L"connect_integrator";
  std::uint32_t status = 0;
  connect_requests = zv::framework::get_plugin<IConnectRequests>(plugin_manager, name,
                                                                 IID_IConnectRequests, status);
  if (status != win_error::success) {
    LOG_LINE(logging::failure, L"cloud::connect::ConnectRequestsServer::init_components")
        << L"Failed to get plugin " << name << L" err = " << status;
  }
  return status;
}

bool ConnectRequestsServer::init_communication() {
  bus = get_msgbus();
  if (bus == nullptr) {
    LOG_LINE(logging::failure, init_scope) << L"Failed to get bus";
    return false;
  }
  IBusCore* const core = bus->Core();
  IBusChannel* const channel = core != nullptr ? core->GetChannel(comm::actions_channel) : nullptr;
  if (channel == nullptr) {
    LOG_LINE(logging::failure, init_scope) << L"Failed to get channel " << comm::actions_channel;
    return false;
  }
  subscription = comm::bus_subscription(bus, channel->Subscribe(), std::nullopt);
  if (!subscription) {
    LOG_LINE(logging::failure, init_scope)
        << L"Failed to subscribe to channel " << comm::actions_channel;
    return false;
  }
  // Last, since messages arrive from here on. A refusal isn't looked at, on purpose: the plug-in
  // then stands without ever hearing anything.
  subscription.get()->SetCallback(&ConnectRequestsServer::on_message, this, 0);
  return true;
}

void ConnectRequestsServer::let_go() noexcept {
  subscription.close();  // first: waits for a request under way, which uses all the others
  bus = nullptr;
  connect_requests.reset();
}

void ConnectRequestsServer::on_message(IBusMessage* message, void* context) {
  if (!has(*message, "module", "connect_requests")) return;
  if (!has(*message, "method", "resolve_request")) return;
  // No reply, then, without memory: whoever asked doesn't wait for ever.
  shield_caller([&] { static_cast<ConnectRequestsServer*>(context)->on_request(*message); });
}

void ConnectRequestsServer::on_request(IBusMessage& message) {
  const trace_scope trace(L"cloud::connect::ConnectRequestsServer::on_request");
  const connect_request request = read_request(message);
  request_reply reply;
  static_cast<void>(reply.text.Reserve(text::default_grow_step));  // else whoever writes makes room
  const request_status status = connect_requests->resolve(request, reply, true);

  const comm::bus_message answer = comm::create_message(*bus);
  if (answer == nullptr) return;
  write_reply(*answer, status, reply);
  message.SetReply(answer.get());
}

}  // namespace cloud::connect
