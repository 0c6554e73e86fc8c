#pragma once

#include <cstdint>

#include "cloud/request_records.h"
#include "cloud/upload_observer.h"

namespace cloud {

/// A link of the chain that requests pass on their way out. Synchronous, and called by as many
/// threads as there are requests under way. Does not cross the module's edge.
class IRequestResolver {
 public:
  IRequestResolver() = default;
  IRequestResolver(const IRequestResolver&) = delete;
  IRequestResolver& operator=(const IRequestResolver&) = delete;
  virtual ~IRequestResolver() = default;

  virtual std::uint32_t resolve(const upload_request& request, upload_observer* observer) = 0;
  virtual request_status resolve(const technology_request& request, request_reply& reply) = 0;
  virtual request_status resolve(const connect_request& request, request_reply& reply) = 0;
  virtual std::uint32_t set_proxy(const proxy_settings& settings, proxy_target target) = 0;
  virtual std::uint32_t disable_proxy(proxy_target target) = 0;
};

}  // namespace cloud
