#include "guardian/guarded_resolver.h"

#include <exception>
#include <string>
#include <utility>

#include "_base/win_error.h"
#include "cloud/CirrelResolver.h"
#include "frame/logger_stream.h"
#include "guardian/circuit_breaker.h"
#include "guardian/dummy_circuit_breaker.h"
#include "guardian/request_error_interpreter.h"

namespace cloud::guardian {

namespace {

constexpr request_status refused{1, win_error::access_denied};

/// Built from what circuit_breaker is built from, or the dummy in its place: a guard in trouble
/// must not stop the traffic. What the breaker had to say of its trouble is in the log by then.
template <class... Arguments>
std::unique_ptr<ICircuitBreaker> make_breaker(Arguments... arguments) {
  try {
    return std::make_unique<circuit_breaker>(arguments...);
  } catch (const std::exception&) {
    return std::make_unique<dummy_circuit_breaker>();
  }
}

}  // namespace

// Both in braces, which keep the order: the resolver stands before the breaker is built.
guarded_resolver::guarded_resolver(cirrel_client* client, void* instance)
    : guarded_resolver{std::make_unique<CirrelResolver>(client, instance), make_breaker()} {}

guarded_resolver::guarded_resolver(cirrel_client* client, void* instance, IServMain* host)
    : guarded_resolver{std::make_unique<CirrelResolver>(client, instance), make_breaker(host)} {}

guarded_resolver::guarded_resolver(std::unique_ptr<IRequestResolver> the_resolver,
                                   std::unique_ptr<ICircuitBreaker> the_breaker)
    : resolver(std::move(the_resolver)),
      observer(std::make_unique<request_error_interpreter>(the_breaker.get())),
      breaker(std::move(the_breaker)) {}

std::uint32_t guarded_resolver::resolve(const upload_request& request, upload_observer* upload) {
  const char* const service = request.service.c_str();
  if (!is_send_allowed(service)) return win_error::access_denied;
  const std::uint32_t result = resolver->resolve(request, upload);
  observer->on_upload_result(service, result);
  return result;
}

request_status guarded_resolver::resolve(const technology_request& request, request_reply& reply) {
  const char* const service = request.service.c_str();
  if (!is_send_allowed(service)) return refused;
  const request_status status = resolver->resolve(request, reply);
  observer->on_technology_result(service, status, reply);
  return status;
}

request_status guarded_resolver::resolve(const connect_request& request, request_reply& reply) {
  const char* const service = request.service.c_str();
  if (!is_send_allowed(service)) return refused;
  const request_status status = resolver->resolve(request, reply);
  observer->on_connect_result(service, request.request_method.c_str(), status, reply);
  return status;
}

std::uint32_t guarded_resolver::set_proxy(const proxy_settings& settings, proxy_target target) {
  return resolver->set_proxy(settings, target);
}

std::uint32_t guarded_resolver::disable_proxy(proxy_target target) {
  return resolver->disable_proxy(target);
}

bool guarded_resolver::is_send_allowed(const char* service) {
  const std::string name = service;
  if (breaker->IsSendAllowed(name)) return true;
  LOG_LINE(logging::warning, L"cloud::guardian::guarded_resolver::is_send_allowed")
      << L"open circuit for service " << name;
  return false;
}

}  // namespace cloud::guardian
