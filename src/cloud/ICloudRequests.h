#pragma once

#include <cstdint>

#include "_base/abi.h"
#include "cloud/request_records.h"
#include "cloud/upload_observer.h"
#include "frame/servplugin.h"

namespace cloud {

inline constexpr IID IID_ICloudRequests = {
    0x103e24c1, 0xbdf1, 0xbd3e, {0xdf, 0x4a, 0x70, 0x50, 0x46, 0x81, 0x10, 0xd4}};

/// The way to the cloud, to be walked only between Init and UnInit. Any thread may call; resolve
/// blocks until the answer is there, and requests don't wait for one another.
///
/// Across the module's edge the status of a request goes through a pointer; the forms that return
/// it are for callers in C++.
class ICloudRequests : public zv::framework::servplugin<true> {
 public:
  // clang-format off
  ABI_OVERLOADS_3(
      virtual std::uint32_t resolve(const upload_request& request, upload_observer* observer) = 0;,
      virtual request_status* resolve(request_status* result, const technology_request& request,
                                      request_reply& reply) = 0;,
      virtual request_status* resolve(request_status* result, const connect_request& request,
                                      request_reply& reply) = 0;)
  // clang-format on
  virtual std::uint32_t set_proxy(const proxy_settings& settings, proxy_target target) = 0;
  virtual std::uint32_t disable_proxy(proxy_target target) = 0;
  virtual bool is_cloud_up() = 0;

  request_status resolve(const technology_request& request, request_reply& reply) {
    request_status status;
    return *resolve(&status, request, reply);
  }
  request_status resolve(const connect_request& request, request_reply& reply) {
    request_status status;
    return *resolve(&status, request, reply);
  }

 protected:
  ~ICloudRequests() = default;
};

}  // namespace cloud
