#pragma once

#include "_base/abi.h"
#include "cloud/request_records.h"

inline constexpr IID IID_IConnectRequestsCompatibility = {
    0x32e0cede, 0x89d7, 0xaa0f, {0x80, 0x4b, 0x24, 0x8a, 0x4c, 0xd0, 0xdf, 0x04}};

/// The older face of the same object, from before a caller could choose: `request.source` goes out
/// as the caller wrote it.
class IConnectRequestsCompatibility {
 public:
  virtual cloud::request_status* resolve(cloud::request_status* result,
                                         const cloud::connect_request& request,
                                         cloud::request_reply& reply) = 0;

 protected:
  ~IConnectRequestsCompatibility() = default;
};
