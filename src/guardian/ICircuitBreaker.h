#pragma once

#include <string>

#include "guardian/request_failure.h"

namespace cloud::guardian {

/// Hears the outcome of each request. Any thread may call it.
class IRequestStatusObserver {
 public:
  IRequestStatusObserver() = default;
  IRequestStatusObserver(const IRequestStatusObserver&) = delete;
  IRequestStatusObserver& operator=(const IRequestStatusObserver&) = delete;
  virtual ~IRequestStatusObserver() = default;

  /// (Spelled so in every interface of the product.)
  virtual void process_request_succeded(const char* service) = 0;
  virtual void process_request_server_error(const char* service,
                                            const request_failure& failure) = 0;
  virtual void process_request_server_error(const char* service) = 0;
};

/// Decides, service by service, whether a request may leave the machine.
class ICircuitBreaker : public IRequestStatusObserver {
 public:
  virtual bool IsSendAllowed(const std::string& service) = 0;
};

}  // namespace cloud::guardian
