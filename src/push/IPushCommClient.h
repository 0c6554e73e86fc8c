#pragma once

#include "_base/abi.h"
#include "push/IPushService.h"

inline constexpr IID IID_IPushServiceClient = {
    0xcd08c9a1, 0x4017, 0xa521, {0xe3, 0x40, 0x81, 0x81, 0x36, 0xf5, 0x20, 0x5a}};

/// The push service as processes without the cloud client have it: over the bus. Delivery is
/// asynchronous and in no fixed order; registrations always give 0.
class IPushCommClient : public IPushService {
 protected:
  ~IPushCommClient() = default;
};
