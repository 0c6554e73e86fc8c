#pragma once

#include "_base/waiting.h"
#include "support/ScriptedConnectRequests.h"

namespace support {

/// Keeps requests from getting an answer for as long as it lives, and with them the worker that
/// waits for a listing: it would replay what a test has just pushed, and write to the log. Where
/// the cloud refuses commands it is needed all the more: they leave their table without its lock,
/// as is meant, and no listing may look there meanwhile. Made before the first listing is asked
/// for.
class HeldListings {
 public:
  explicit HeldListings(ScriptedConnectRequests& requests) {
    requests.while_resolving([gate = gate_](const ResolvedRequest&) { gate.wait(); });
  }
  HeldListings(const HeldListings&) = delete;
  HeldListings& operator=(const HeldListings&) = delete;
  ~HeldListings() { let_go(); }

  void let_go() { gate_.open(); }

 private:
  const waiting::Gate gate_;
};

}  // namespace support
