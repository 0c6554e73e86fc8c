#pragma once

#include "_base/abi.h"
#include "_base/iobservable.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/request_records.h"

inline constexpr IID IID_IConnectRequests = {
    0xaf7c71e6, 0xc767, 0xbb51, {0x06, 0x4b, 0x22, 0xcb, 0xcf, 0xf5, 0xe1, 0xbf}};

/// Requests for the device and its user. Any thread may call; resolve blocks until the
/// answer is there. The observers are those of the cloud's coming up.
class IConnectRequests : public zv::iobservable<cloud::ICloudConnectionObserver*> {
 public:
  /// With `fill_source` the product's application, the device and the user take the place of
  /// whatever `request.source` says; without a known user that is error type 1, code 232, and
  /// `reply` is untouched.
  virtual cloud::request_status* resolve(cloud::request_status* result,
                                         const cloud::connect_request& request,
                                         cloud::request_reply& reply, bool fill_source) = 0;
  virtual bool is_cloud_up() = 0;

  /// The same for callers in C++.
  cloud::request_status resolve(const cloud::connect_request& request, cloud::request_reply& reply,
                                bool fill_source) {
    cloud::request_status status;
    return *resolve(&status, request, reply, fill_source);
  }

 protected:
  ~IConnectRequests() = default;
};
