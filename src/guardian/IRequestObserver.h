#pragma once

#include <cstdint>

#include "cloud/request_records.h"

namespace cloud::guardian {

/// Told of each request that was sent. Any thread may call it.
class IRequestObserver {
 public:
  IRequestObserver() = default;
  IRequestObserver(const IRequestObserver&) = delete;
  IRequestObserver& operator=(const IRequestObserver&) = delete;
  virtual ~IRequestObserver() = default;

  virtual void on_upload_result(const char* service, std::uint32_t status) = 0;
  virtual void on_connect_result(const char* service, const char* method,
                                 const request_status& status, const request_reply& reply) = 0;
  virtual void on_technology_result(const char* service, const request_status& status,
                                    const request_reply& reply) = 0;
};

}  // namespace cloud::guardian
