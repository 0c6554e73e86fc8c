#pragma once

#include "guardian/ICircuitBreaker.h"

namespace cloud::guardian {

/// The breaker without circuits: traffic matters more than the guarding of it.
class dummy_circuit_breaker final : public ICircuitBreaker {
 public:
  void process_request_succeded(const char* service) override;
  void process_request_server_error(const char* service, const request_failure& failure) override;
  void process_request_server_error(const char* service) override;
  bool IsSendAllowed(const std::string& service) override;
};

}  // namespace cloud::guardian
