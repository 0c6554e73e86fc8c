#include "guardian/dummy_circuit_breaker.h"

namespace cloud::guardian {

void dummy_circuit_breaker::process_request_succeded(const char*) {}
void dummy_circuit_breaker::process_request_server_error(const char*, const request_failure&) {}
void dummy_circuit_breaker::process_request_server_error(const char*) {}
bool dummy_circuit_breaker::IsSendAllowed(const std::string&) {
  return true;
}

}  // namespace cloud::guardian
