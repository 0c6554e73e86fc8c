#pragma once

#include "guardian/ICircuitBreaker.h"

namespace cloud::guardian {

/// Stands in where no real breaker can be built, so that a broken guardian never stops the traffic:
/// allows everything and learns nothing.
class dummy_circuit_breaker final : public ICircuitBreaker {
 public:
  void process_request_succeded(const char* service) override;
  void process_request_server_error(const char* service, const request_failure& failure) override;
  void process_request_server_error(const char* service) override;
  bool IsSendAllowed(const std::string& service) override;
};

}  // namespace cloud::guardian
