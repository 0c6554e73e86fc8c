#pragma once

#include <string>

#include "guardian/request_failure.h"

namespace cloud::guardian {

/// Learns how requests ended. Any thread may call it. (Like the others of the guardian without a
/// destructor slot it stays inside the module.)
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

/// The judge over each service's traffic.
class ICircuitBreaker : public IRequestStatusObserver {
 public:
  virtual bool IsSendAllowed(const std::string& service) = 0;
};

}  // namespace cloud::guardian
