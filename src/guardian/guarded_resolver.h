#pragma once

#include <cstdint>
#include <memory>

#include "cloud/IRequestResolver.h"
#include "cloud/cirrel_client.h"
#include "guardian/ICircuitBreaker.h"
#include "guardian/IRequestObserver.h"

namespace cloud::guardian {

/// Puts the circuit breaker in front of the resolver: asks before each send, and reports each
/// outcome. A refused request reaches neither the resolver nor the observer. Has no state of its
/// own and takes no lock.
class guarded_resolver final : public IRequestResolver {
 public:
  /// The arguments of CirrelResolver.
  guarded_resolver(cirrel_client* client, void* instance);
  /// Of given parts; `breaker` is reported to through an interpreter.
  guarded_resolver(std::unique_ptr<IRequestResolver> resolver,
                   std::unique_ptr<ICircuitBreaker> breaker);

  std::uint32_t resolve(const upload_request& request, upload_observer* upload) override;
  request_status resolve(const technology_request& request, request_reply& reply) override;
  request_status resolve(const connect_request& request, request_reply& reply) override;
  std::uint32_t set_proxy(const proxy_settings& settings, proxy_target target) override;
  std::uint32_t disable_proxy(proxy_target target) override;

 private:
  bool is_send_allowed(const char* service);

  // Destroyed from the last to the first: nothing may report to a breaker that is gone.
  std::unique_ptr<IRequestResolver> resolver;
  std::unique_ptr<IRequestObserver> observer;
  std::unique_ptr<ICircuitBreaker> breaker;
};

}  // namespace cloud::guardian
