#pragma once

#include <cstdint>

#include "_base/abi.h"
#include "cloud/request_records.h"
#include "cloud/upload_observer.h"
#include "frame/servplugin.h"

namespace cloud {

inline constexpr IID IID_ICloudRequestsCompatibility = {
    0xd80babec, 0x918e, 0xb735, {0x33, 0x45, 0x7d, 0xe8, 0x81, 0x28, 0x31, 0x12}};

/// The older, shorter face of the same object: its life-cycle operations are the object's own.
class ICloudRequestsCompatibility : public zv::framework::servplugin<true> {
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

 protected:
  ~ICloudRequestsCompatibility() = default;
};

}  // namespace cloud
