#pragma once

#include <cstdint>
#include <memory>

#include "cloud/IRequestResolver.h"
#include "cloud/cirrel_client.h"
#include "guardian/ICircuitBreaker.h"
#include "guardian/IRequestObserver.h"

class IServMain;

namespace cloud::guardian {

/// The breaker's place in the chain: nothing is sent that it refuses, and it learns of all that was
/// sent. Keeps nothing from one request to the next.
class guarded_resolver final : public IRequestResolver {
 public:
  /// The arguments of CirrelResolver. The breaker knows the local configuration only; where none
  /// can be built, all requests pass.
  guarded_resolver(cirrel_client* client, void* instance);
  /// The breaker follows the configuration from the cloud as well.
  guarded_resolver(cirrel_client* client, void* instance, IServMain* host);
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

  // Ended from the last to the first. Neither of the others calls the breaker while it ends, so
  // that one may go first.
  std::unique_ptr<IRequestResolver> resolver;
  std::unique_ptr<IRequestObserver> observer;
  std::unique_ptr<ICircuitBreaker> breaker;
};

}  // namespace cloud::guardian
