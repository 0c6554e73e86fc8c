#include "cloud/CirrelResolver.h"

#include "_base/win_error.h"
#include "cloud/server_answer.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"

namespace cloud {

namespace {

constexpr request_status success{0, win_error::success};
constexpr request_status missing_data{1, win_error::internal_error};
constexpr request_status invalid_request{1, win_error::invalid_data};

constexpr std::uint32_t client_library_failed = 2;
constexpr std::uint32_t longest_port = 65535;

const char* null_if_empty(const text& value) {
  return value.IsEmpty() ? nullptr : value.c_str();
}

/// A target beyond the known ones is one of the services.
proxy_target known(proxy_target target) {
  return target == proxy_target::connect || target == proxy_target::technology
             ? target
             : proxy_target::per_service;
}

/// Gives an answer back, blank: what it says is private, and the library will use the memory again.
class response_holder {
 public:
  response_holder(const cirrel_client* client, cirrel_response* response) noexcept
      : client_(client), response_(response) {}
  response_holder(const response_holder&) = delete;
  response_holder& operator=(const response_holder&) = delete;
  ~response_holder() {
    wipe(response_->text, response_->size);
    client_->zvcirrel_free_response(response_);
  }

 private:
  const cirrel_client* client_;
  cirrel_response* response_;
};

std::uint32_t key(proxy_target target) {
  return static_cast<std::uint32_t>(target);
}

}  // namespace

CirrelResolver::CirrelResolver(cirrel_client* client, void* instance)
    : connect_pair{client, instance} {
  // No settings, or broken ones, mean that nothing has a server of its own.
  if (auto settings = read_services_settings()) {
    categories = std::move(settings.value().categories);
    services = std::move(settings.value().services);
  }

  configure_category("connect", connect_pair);
  create_client_instance(technology_pair.client, technology_pair.instance);
  configure_category("technology", technology_pair);
}

CirrelResolver::~CirrelResolver() {
  destroy_client_instance(technology_pair.client, technology_pair.instance);
  const std::lock_guard guard(instances_mutex);
  for (auto& [service, pair] : instances) destroy_client_instance(pair.client, pair.instance);
}

std::uint32_t CirrelResolver::resolve(const upload_request& request, upload_observer* observer) {
  const wchar_t* const scope = L"cloud::CirrelResolver::resolve";
  const trace_scope trace(scope);
  if (request.path.IsEmpty()) return win_error::gen_failure;

  client_pair pair;
  if (!choose_instance(request.service, technology_pair, pair)) return win_error::internal_error;

  // The library keeps these for the whole instance, so concurrent uploads on one share whatever was
  // set last. Its interface offers nothing better.
  pair.client->zvcirrel_set_option(pair.instance, ZVCIRREL_OPT_UPLOAD_A,
                                   std::uint32_t{request.option_a});
  pair.client->zvcirrel_set_option(pair.instance, ZVCIRREL_OPT_UPLOAD_B,
                                   std::uint32_t{request.option_b});
  pair.client->zvcirrel_set_option(pair.instance, ZVCIRREL_OPT_UPLOAD_TIMEOUT, request.timeout);

  const cirrel_upload_request upload{request.service.c_str(), request.path.c_str(),
                                     null_if_empty(request.signature), null_if_empty(request.meta)};
  LOG_LINE(logging::progress, scope)
      << L"service: " << request.service << L" signature: " << request.signature << L" meta: "
      << request.meta << L" path: " << request.path;
  return pair.client->zvcirrel_file_upload(pair.instance, &upload, upload_cbk, observer);
}

request_status CirrelResolver::resolve(const technology_request& request, request_reply& reply) {
  const wchar_t* const scope = L"cloud::CirrelResolver::resolve";
  const trace_scope trace(scope);
  if (!technology_pair.is_complete() || request.type != request_type::technology) {
    LOG_LINE(logging::failure, scope)
        << L"missing data for req type technology " << static_cast<std::uint32_t>(request.type);
    return missing_data;
  }
  LOG_LINE(logging::progress, scope)
      << L"service: " << request.service << L" request: " << request.message;
  return ask(technology_pair, request.service, request.timeout, request.message.view(),
             answer_mode::technology, reply);
}

request_status CirrelResolver::resolve(const connect_request& request, request_reply& reply) {
  const wchar_t* const scope = L"cloud::CirrelResolver::resolve";
  const trace_scope trace(scope);
  if (!connect_pair.is_complete() || request.type != request_type::connect) {
    LOG_LINE(logging::failure, scope)
        << L"missing data for req type connect " << static_cast<std::uint32_t>(request.type);
    return missing_data;
  }
  const std::string envelope = generate_request_json(request.source, request.request_method,
                                                     request.message, request.destination);
  if (envelope.empty()) return invalid_request;
  LOG_LINE(logging::progress, scope)
      << L"service: " << request.service << L" request: " << envelope;
  return ask(connect_pair, request.service, request.timeout, envelope, answer_mode::connect, reply);
}

request_status CirrelResolver::ask(client_pair fallback, const text& service, std::uint32_t timeout,
                                   std::string_view body, answer_mode mode, request_reply& reply) {
  client_pair pair;
  if (!choose_instance(service, fallback, pair)) return missing_data;

  const cirrel_ask_request question{service.c_str(), timeout, 1, body.data(),
                                    static_cast<std::uint32_t>(body.size())};
  cirrel_response* response = nullptr;
  const std::uint32_t error = pair.client->zvcirrel_ask(pair.instance, &question, &response);
  if (error != 0) {
    LOG_LINE(logging::progress, L"cloud::CirrelResolver::resolve")
        << L"cirrel ask failed with code " << error;
    return {client_library_failed, error};
  }
  return parse_server_response(response, mode, reply);
}

void CirrelResolver::configure_category(const char* category, client_pair pair) const {
  if (has_server(category)) {
    configure_instance(pair, categories.find(category)->second, category);
  } else {
    LOG_LINE(logging::progress, L"cloud::CirrelResolver::CirrelResolver")
        << L"No separate server set for " << category << L" services.";
  }
}

void CirrelResolver::configure_instance(client_pair pair, const std::string& server,
                                        const std::string& name) {
  const wchar_t* const scope = L"cloud::CirrelResolver::configure_instance";
  if (server.empty()) {
    LOG_LINE(logging::failure, scope) << L"No separate server set for " << name << L" services.";
    return;
  }
  LOG_LINE(logging::progress, scope)
      << L"Set server " << server << L" for " << name << L" services.";
  if (!pair.is_complete()) return;  // every request of it is refused anyway

  // Both texts say connect whatever the name is, and are meant to.
  std::uint32_t error =
      pair.client->zvcirrel_set_option(pair.instance, ZVCIRREL_OPT_LOCAL_CLOUD, server.c_str());
  if (error != 0) {
    LOG_LINE(logging::failure, scope)
        << L"Could not set local cloud for connect services, err: " << error;
    return;
  }
  error = pair.client->zvcirrel_set_option(pair.instance, ZVCIRREL_OPT_SSL, 1);
  if (error != 0) {
    LOG_LINE(logging::failure, scope)
        << L"Could not set SSL on for connect services, err: " << error;
  }
}

std::uint32_t CirrelResolver::get_service_instance(std::string_view service, client_pair& pair) {
  const auto entry = services.find(service);
  if (entry == services.end()) return win_error::not_found;

  const std::lock_guard guard(instances_mutex);
  // The place is made first: an instance that found none would be lost. It stays when the instance
  // can't be had, and is taken by the next attempt.
  const auto place = instances.try_emplace(entry->first).first;
  if (place->second.is_complete()) {
    pair = place->second;
    return win_error::success;
  }
  create_client_instance(pair.client, pair.instance);
  if (!pair.is_complete()) return win_error::internal_error;
  place->second = pair;
  configure_instance(pair, entry->second, entry->first);

  const std::lock_guard proxies_guard(proxies_mutex);
  if (const auto proxy = proxies.find(key(proxy_target::per_service)); proxy != proxies.end()) {
    apply_proxy(proxy->second, pair, ZVCIRREL_OPT_LOCAL_CLOUD_PROXY);
  }
  return win_error::success;
}

bool CirrelResolver::choose_instance(const text& service, client_pair fallback, client_pair& pair) {
  const std::uint32_t status = get_service_instance(service.view(), pair);
  if (status == win_error::not_found) pair = fallback;
  // A service with an instance of its own never goes elsewhere, not even when it can't be made.
  return (status == win_error::success || status == win_error::not_found) && pair.is_complete();
}

std::string CirrelResolver::generate_request_json(const connect_source& source, const text& method,
                                                  const text& message,
                                                  const connect_destination& destination) {
  zv::JsonObject params;
  if (!source.app_id.IsEmpty() || !source.device_id.IsEmpty() || !source.user_token.IsEmpty()) {
    zv::JsonNull connect_source;
    connect_source.Pack(__FILE__, __LINE__, "{s:s, s:s, s:s}", "app_id", source.app_id.c_str(),
                        "user_token", source.user_token.c_str(), "device_id",
                        source.device_id.c_str());
    if (!connect_source.IsObject() || !params.SetMember("connect_source", connect_source))
      return {};
  }
  if (!destination.app_id.IsEmpty() || !destination.device_id.IsEmpty()) {
    zv::JsonNull connect_destination;
    connect_destination.Pack(__FILE__, __LINE__, "{s:s, s:s}", "app_id", destination.app_id.c_str(),
                             "device_id", destination.device_id.c_str());
    if (!connect_destination.IsObject() ||
        !params.SetMember("connect_destination", connect_destination))
      return {};
  }

  zv::JsonNull members;
  if (!members.Load(message.c_str(), 0) && !message.IsEmpty()) {
    LOG_LINE(logging::failure, L"cloud::CirrelResolver::generate_request_json")
        << L"request message is not a valid json";
    return {};
  }
  // After the identities, which a member of the same name replaces.
  if (members.IsObject() && !params.SetMembers(members)) return {};

  zv::JsonNull envelope;
  const std::int32_t id = next_request_id++;
  std::string result;
  if (!envelope.Pack(__FILE__, __LINE__, "{s:s, s:s, s:i}", "jsonrpc", "2.0", "method",
                     method.c_str(), "id", id) ||
      !envelope.SetMember("params", params) || !envelope.Dump(result, 0)) {
    return {};
  }
  return result;
}

zv::Json CirrelResolver::convert(cirrel_response* response, answer_mode mode) {
  const wchar_t* const scope = L"cloud::CirrelResolver::convert";
  if (response == nullptr || response->text == nullptr) {
    LOG_LINE(logging::failure, scope) << L"Null response from server";
    return {};
  }
  const client_pair owner = mode == answer_mode::connect ? connect_pair : technology_pair;
  const response_holder holder(owner.client, response);
  LOG_LINE(logging::progress, scope) << L"server response: " << response->text;
  zv::JsonNull answer;
  answer.LoadBuffer(response->text, response->size, 0);
  return answer;
}

request_status CirrelResolver::parse_server_response(cirrel_response* response, answer_mode mode,
                                                     request_reply& reply) {
  const server_answer answer = read_server_answer(convert(response, mode), mode);
  if (answer.status != win_error::success) {
    LOG_LINE(logging::progress, L"cloud::CirrelResolver::parse_server_response")
        << L"ParseServerResponse failed";
    return {1, answer.status};
  }

  std::string result;
  if (answer.result.Dump(result, JSON_ENCODE_ANY)) {
    reply.text.Assign(result.data(), result.size());
  } else if (answer.server_code != 0) {
    reply.text = "";
  } else {
    return {1, win_error::gen_failure};
  }
  reply.code = answer.server_code;
  return success;
}

std::uint32_t CirrelResolver::set_proxy(const proxy_settings& settings, proxy_target target) {
  target = known(target);
  {
    // The first settings since the last disabling stay: they are what later instances get.
    const std::lock_guard guard(proxies_mutex);
    proxies.try_emplace(key(target), settings);
  }
  return for_each_instance(target, [&](client_pair pair, std::uint32_t option) {
    return apply_proxy(settings, pair, option);
  });
}

std::uint32_t CirrelResolver::disable_proxy(proxy_target target) {
  const trace_scope trace(L"cloud::CirrelResolver::disable_proxy");
  target = known(target);
  {
    const std::lock_guard guard(proxies_mutex);
    proxies.erase(key(target));
  }
  return for_each_instance(target, [](client_pair pair, std::uint32_t option) -> std::uint32_t {
    if (pair.client == nullptr) return win_error::invalid_parameter;
    return pair.client->zvcirrel_set_option(pair.instance, option, "", "", "");
  });
}

template <class Apply>
std::uint32_t CirrelResolver::for_each_instance(proxy_target target, Apply apply) {
  if (target != proxy_target::per_service) {
    const bool is_connect = target == proxy_target::connect;
    const bool separate = has_server(is_connect ? "connect" : "technology");
    return apply(is_connect ? connect_pair : technology_pair,
                 separate ? ZVCIRREL_OPT_LOCAL_CLOUD_PROXY : ZVCIRREL_OPT_PROXY);
  }

  std::uint32_t last_error = win_error::success;
  const std::lock_guard guard(instances_mutex);
  for (const auto& [service, pair] : instances) {
    const std::uint32_t error = apply(pair, ZVCIRREL_OPT_LOCAL_CLOUD_PROXY);
    if (error != win_error::success) last_error = error;
  }
  return last_error;
}

std::uint32_t CirrelResolver::apply_proxy(const proxy_settings& settings, client_pair pair,
                                          std::uint32_t option) {
  if (pair.client == nullptr) return win_error::invalid_parameter;
  if (settings.host.IsEmpty() || settings.port > longest_port) return win_error::invalid_data;
  const std::string proxy = std::string(settings.host.view()) + ":" + std::to_string(settings.port);
  return pair.client->zvcirrel_set_option(pair.instance, option, proxy.c_str(),
                                          settings.user.c_str(), settings.password.c_str());
}

std::uint32_t CirrelResolver::upload_cbk(const cirrel_upload_status* status, void* context) {
  const trace_scope trace(L"cloud::CirrelResolver::upload_cbk");
  if (status == nullptr || context == nullptr) return win_error::gen_failure;
  upload_progress progress;
  progress.state = status->state <= 4 ? status->state : 0;
  progress.flag = status->detail != 0;
  progress.value = status->value;
  progress.text = status->text;
  static_cast<upload_observer*>(context)->on_progress(progress);
  return win_error::success;
}

bool CirrelResolver::has_server(std::string_view category) const {
  const auto found = categories.find(category);
  return found != categories.end() && !found->second.empty();
}

}  // namespace cloud
