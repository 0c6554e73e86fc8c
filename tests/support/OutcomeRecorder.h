#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "guardian/ICircuitBreaker.h"

namespace support {

/// A breaker that lets through what it is told to and records each outcome as a line:
/// "success svc", "failure svc", "failure svc 0 20011 method". Any thread may call it.
class OutcomeRecorder : public cloud::guardian::ICircuitBreaker {
 public:
  void process_request_succeded(const char* service) override {
    add("success " + std::string(service));
  }
  void process_request_server_error(const char* service, const request_failure& failure) override {
    add("failure " + std::string(service) + " " + std::to_string(failure.field) + " " +
        failure.value + " " + failure.method);
  }
  void process_request_server_error(const char* service) override {
    add("failure " + std::string(service));
  }
  bool IsSendAllowed(const std::string& service) override {
    const std::lock_guard lock(mutex_);
    asked_.push_back(service);
    return allowed_;
  }

  void allow(bool allowed) {
    const std::lock_guard lock(mutex_);
    allowed_ = allowed;
  }
  std::vector<std::string> outcomes() const {
    const std::lock_guard lock(mutex_);
    return outcomes_;
  }
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(outcomes_, {});
  }
  /// The services asked for, in order.
  std::vector<std::string> asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
  }

 private:
  void add(std::string outcome) {
    const std::lock_guard lock(mutex_);
    outcomes_.push_back(std::move(outcome));
  }

  mutable std::mutex mutex_;
  bool allowed_ = true;
  std::vector<std::string> outcomes_;
  std::vector<std::string> asked_;
};

}  // namespace support
